#include "dock/dock_view.h"

#include "dock/dock_full_screen_state.h"
#include "dock/dock_divider_view.h"
#include "dock/dock_geometry.h"
#include "dock/dock_panel.h"
#include "dock/dock_layout.h"
#include "dock/dock_panel.h"
#include "dock/dock_tile.h"
#include "dock/dock_view_accessible.h"
#include "model/dock_model.h"
#include "settings/dock_appearance.h"
#include "settings/dock_preferences.h"

#include <QAccessible>
#include <QEnterEvent>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace wharf {

namespace {

QRectF pixelAligned(const QRectF& r, double scale)
{
    const auto round = [scale](double v) { return std::round(v * scale) / scale; };
    return QRectF(round(r.x()), round(r.y()), round(r.width()), round(r.height()));
}

std::vector<QString> identifiers(const std::vector<DockEntry>& entries)
{
    std::vector<QString> ids;
    ids.reserve(entries.size());
    for (const auto& entry : entries)
        ids.push_back(entry.identifier());
    return ids;
}

} // namespace

DockView::DockView(DockViewContext ctx, bool isFullScreenOverlay, QWidget* parent)
    : QWidget(parent), context(std::move(ctx)), overlay(isFullScreenOverlay), autoHide(isFullScreenOverlay),
      drawing(std::make_unique<DockViewRenderer>())
{
    installDockAccessibility();
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setAutoFillBackground(false);
    setMouseTracking(true);
    setAcceptDrops(true); // files from other programs, and the dock's own tiles
    setAccessibleName(QStringLiteral("Wharf"));
    timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, this, [this] {
        tick();
        if (ticking)
            timer->start(frameClock.nextInterval(now()));
    });
    lastTickTime = now();
    autoHide.interacted(lastTickTime);
    if (context.fullScreenState)
        fullScreenSubscription = context.fullScreenState->onChange.add([this] { ensureTicking(); });
    // Created before the first reload; the badge layer stays above the divider.
    divider.setView(new DockDividerView(*this));
    const auto repaint = [this](const QRegion& area) { repaintArea(area); };
    badges = new DockBadgeOverlay(this, repaint, [this] { return now(); });
    hoverLabel = DockHoverLabel(this, repaint);
    reload();
}

DockView::~DockView() = default;

// --- Sources ---

double DockView::now() const
{
    if (context.uptime)
        return context.uptime();
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

std::optional<QPointF> DockView::pointerInView()
{
    // Motion events keep it current without a round trip to the server, or while they are paused,
    // what the window system followed of them; otherwise the window system is asked. All are in
    // the window's own coordinates: a window manager that frames the dock can leave Qt's idea of
    // where the window sits stale, which would misplace a pointer mapped from the screen.
    if (pointerEvents && (motionPaused || confirmingPointer) && followPointer) {
        if (const auto moved = followPointer())
            lastEventPointer = *moved;
    }
    if (pointerEvents)
        return toLayoutPoint(lastEventPointer, height());
    const auto reading = readPointer ? readPointer() : std::nullopt;
    if (!reading)
        return std::nullopt;
    return toLayoutPoint(reading->position, height());
}

double DockView::backingScale() const
{
    const double scale = devicePixelRatioF();
    return std::isfinite(scale) && scale > 0 ? scale : 1.0;
}

bool DockView::dark() const
{
    const bool platformDark = context.platformIsDark && context.platformIsDark();
    const auto appearance = context.preferences ? context.preferences->dockAppearance() : DockAppearance::automatic;
    return isDark(appearance, platformDark);
}

bool DockView::reducesMotion() const { return context.reduceMotion && context.reduceMotion(); }

double DockView::magnification() const
{
    if (reducesMotion() || !context.preferences)
        return 1.0;
    return context.preferences->magnification();
}

double DockView::baseIconSize() const
{
    return context.preferences ? context.preferences->iconSize() : DockPreferences::defaultIconSize;
}

double DockView::preferredDockWidth() const
{
    const int count = int(entryList.size());
    // Before the window has its size there is nothing to derive the icon size from.
    if (width() <= 16 || count == 0)
        return 0;
    const double resting = context.preferences ? context.preferences->restingIconSize() : 0;
    const double fraction = context.preferences ? context.preferences->dockWidthFraction()
                                                : DockPreferences::defaultDockWidthFraction;
    const auto result = DockLayout::preferredDockWidth(count, width(), resting, fraction, separator);
    // Only a shown view has its real width; a size derived before that is not worth keeping.
    if (result.derivedRestingIconSize && context.preferences && isVisible())
        context.preferences->setRestingIconSize(*result.derivedRestingIconSize);
    return result.width;
}

std::vector<QRectF> DockView::layoutFrames(std::optional<double> pointerX, double magnificationFactor) const
{
    return layoutFrames(pointerX, magnificationFactor, baseIconSize(), preferredDockWidth());
}

std::vector<QRectF> DockView::layoutFrames(std::optional<double> pointerX, double magnificationFactor,
                                           double baseSize, double dockWidth) const
{
    return DockLayout::frames(int(entryList.size()), width(), baseSize, magnificationFactor, pointerX,
                              DockLayout::influence, dockWidth, separator);
}

double DockView::hideDistance() const
{
    // Only a hiding dock needs it; reading the setting every frame is not free.
    return hiddenAmount() > 0 ? DockLayout::hideDistance(frames, magnification()) : 0.0;
}

// --- Entries ---

QIcon DockView::iconOfApplication(const QString& key) const
{
    if (!context.model || key.isEmpty())
        return {};
    for (const auto& item : context.model->items()) {
        const auto& app = item.runningApplication;
        if (app && app->key == key)
            return app->icon.isNull() ? item.icon : app->icon;
    }
    return {};
}

std::vector<DockEntry> DockView::assembleEntries() const
{
    std::vector<DockEntry> result;
    if (context.model) {
        for (const auto& item : context.model->items()) {
            if (item.kind != DockItem::Kind::trash)
                result.push_back(DockEntry::fromItem(item));
        }
    }
    if (context.minimizedWindows) {
        for (const auto& window : context.minimizedWindows())
            result.push_back(DockEntry::fromWindow(window, iconOfApplication(window.appKey)));
    }
    if (context.model) {
        // The Trash is always last, after the minimized windows.
        for (const auto& item : context.model->items()) {
            if (item.kind == DockItem::Kind::trash)
                result.push_back(DockEntry::fromItem(item));
        }
    }
    return result;
}

void DockView::reload()
{
    std::vector<DockEntry> newEntries = assembleEntries();

    // A reflection is kept only while its entry shows the very same icon object.
    QHash<QString, qint64> oldIcons;
    for (const auto& entry : entryList)
        oldIcons.insert(entry.identifier(), entry.icon().cacheKey());
    QSet<QString> newIDs;
    for (const auto& entry : newEntries) {
        const QString id = entry.identifier();
        newIDs.insert(id);
        const auto old = oldIcons.constFind(id);
        if (old == oldIcons.constEnd() || *old != entry.icon().cacheKey())
            drawing->dropReflection(id);
    }
    for (auto it = oldIcons.constBegin(); it != oldIcons.constEnd(); ++it) {
        if (!newIDs.contains(it.key()))
            drawing->dropReflection(it.key());
    }

    running.clear();
    std::vector<bool> applicationFlags;
    for (const auto& entry : newEntries) {
        const auto* item = entry.item();
        running.push_back(item && item->runningApplication);
        applicationFlags.push_back(entry.isApplication());
    }
    separator = DockLayout::separatorIndex(applicationFlags);
    layoutDirty = true;

    const auto oldIDs = identifiers(entryList);
    const auto ids = identifiers(newEntries);
    if (oldIDs == ids) {
        entryList = std::move(newEntries);
        for (size_t i = 0; i < tileList.size(); ++i)
            tileList[i]->setEntry(entryList[i]);
        keepSelectionInRange();
        notifyAccessibility();
        repaintScene();
        badges->redisplay(tileList, interaction.activeDragID, hiddenAmount() * hideDistance());
        ensureTicking();
        return;
    }

    // Membership changed: slots captured for a drag no longer match the row.
    interaction.reorderSlot.reset();
    interaction.reorderSlots.clear();
    QHash<QString, DockTile*> oldTiles;
    for (auto* tile : tileList)
        oldTiles.insert(tile->entry().identifier(), tile);
    QHash<QString, QRectF> oldFrames;
    if (frames.size() == entryList.size()) {
        for (size_t i = 0; i < frames.size(); ++i)
            oldFrames.insert(oldIDs[i], frames[i]);
    }
    const double t = now();
    // The first layout shows the dock at rest: the frames from before the view had its real
    // size are no place to animate from.
    const bool animate = restedOnce && !frames.empty() && !reducesMotion();

    for (auto* tile : tileList) {
        const QString id = tile->entry().identifier();
        if (newIDs.contains(id))
            continue;
        if (animate)
            animation.retire(tile->entry(), tile->frame, t);
        oldTiles.remove(id);
        tile->deleteLater();
    }
    animation.forgetAppearingExcept(newIDs);
    const size_t oldCount = entryList.size();
    entryList = std::move(newEntries);

    const auto resting = layoutFrames(std::nullopt, 1.0);
    const auto starting = DockRowAnimation::startingFrames(ids, oldFrames, resting, animate);
    frames = starting;
    drawnFrames = frames;
    targets = resting;

    const double offset = hiddenAmount() * hideDistance();
    std::vector<DockTile*> newTiles;
    newTiles.reserve(entryList.size());
    for (size_t i = 0; i < entryList.size(); ++i) {
        DockTile* tile = oldTiles.value(ids[i]);
        if (tile) {
            tile->setEntry(entryList[i]);
        } else {
            tile = new DockTile(entryList[i], this);
            if (animate)
                animation.appear(*tile);
        }
        if (i < starting.size())
            tile->frame = starting[i].translated(0, -offset);
        newTiles.push_back(tile);
    }
    tileList = std::move(newTiles);
    animation.beginMembershipChange(t, animate, entryList.size() < oldCount, starting, tileList);

    hover.clear();
    animating = true;
    keepSelectionInRange();
    notifyAccessibility();
    repaintScene();
    badges->redisplay(tileList, interaction.activeDragID, hiddenAmount() * hideDistance());
    ensureTicking();
}

void DockView::reloadBadges()
{
    if (!context.model)
        return;
    QHash<QString, const DockItem*> items;
    for (const auto& item : context.model->items())
        items.insert(item.id, &item);
    bool changed = false;
    for (size_t i = 0; i < entryList.size() && i < tileList.size(); ++i) {
        const DockItem* shown = entryList[i].item();
        const DockItem* now = shown ? items.value(shown->id) : nullptr;
        if (!now || (now->badge == shown->badge && now->progress == shown->progress && now->urgent == shown->urgent))
            continue;
        entryList[i] = DockEntry::fromItem(*now);
        tileList[i]->setEntry(entryList[i]);
        changed = true;
    }
    if (!changed)
        return;
    notifyAccessibility();
    badges->redisplay(tileList, interaction.activeDragID, hiddenAmount() * hideDistance());
}

// --- Animation ---

void DockView::start()
{
    started = true;
    ensureTicking();
    tick();
}

void DockView::stop()
{
    started = false;
    stopTicking();
    stacks.close();
    hoverLabel.hide();
}

void DockView::ensureTicking()
{
    if (!started || ticking)
        return;
    ticking = true;
    const QScreen* display = screen();
    const double t = now();
    frameClock.start(t, display ? display->refreshRate() : 60.0);
    // Resume as if the timer had kept running, so the first step after idling is not a jump.
    lastTickTime = t - frameClock.period();
    // The first frame comes with the next turn of the event loop, after whatever else this
    // event changes; input arriving first draws it instead.
    timer->start(0);
}

void DockView::tickOnPointerMotion()
{
    if (!ticking)
        return;
    const auto step = frameClock.input(now());
    if (step.draw)
        tick();
    if (ticking)
        timer->start(step.interval);
}

void DockView::stopTicking()
{
    ticking = false;
    timer->stop();
    // Nothing would read the pointer any more.
    resumeMotionEvents();
    confirmingPointer = false;
}

void DockView::resumeMotionEvents()
{
    if (!std::exchange(motionPaused, false))
        return;
    if (pauseMotionEvents)
        pauseMotionEvents(false);
}

void DockView::stopTickingWhenIdle(const std::optional<QPointF>& pointer)
{
    if (animating || layoutDirty || !animation.retiring().empty() || autoHide.keepsTicking())
        return;
    // A pointer in the hover zone where the window gets no events for it must be polled, or
    // nothing would notice it leave: outside the input region, or (without a compositor, where
    // the window is clipped to what is drawn) after a Leave over a transparent pixel. Anywhere
    // else, motion events or a reload wake the timer again.
    // A hidden or inactive dock has nothing to follow there.
    if (autoHide.active() && hiddenAmount() < 1 && pointer && hover.contains(*pointer)) {
        if (!pointerEvents || !inputArea.current().contains(toWidgetPoint(*pointer, height()).toPoint()))
            return;
    }
    if (motionPaused) {
        // The pointer may move between the last reading and the server resuming the events: one
        // more reading, a frame later, sees such a move.
        resumeMotionEvents();
        confirmingPointer = true;
        return;
    }
    stopTicking();
}

void DockView::setStack(std::function<void()> close)
{
    stacks.closeStack = std::move(close);
    markLayoutDirty(); // the label goes or comes back, and an auto-hiding dock may hide again
}

void DockView::markLayoutDirty()
{
    layoutDirty = true;
    // Settings and appearance changes come this way: they may change the drawing alone.
    repaintScene();
    ensureTicking();
}

void DockView::tick()
{
    const double t = now();
    const double dt = std::clamp(t - lastTickTime, 0.0, 0.1);
    lastTickTime = t;
    const auto pointer = pointerInView();
    // Over the divider's handle Qt follows the motion itself, to show the handle's cursor and tip.
    if (motionPaused && pointerEvents) {
        if (const auto handle = dividerFrame(); handle && handle->contains(lastEventPointer.toPoint()))
            resumeMotionEvents();
    }

    followFullScreen();
    if (!autoHide.takesPart()) {
        animating = false;
        layoutDirty = false;
        stopTicking();
        return;
    }
    if (pointer == lastPointer && !layoutDirty && !animating && !autoHide.keepsTicking()) {
        stopTickingWhenIdle(pointer);
        return;
    }
    lastPointer = pointer;
    layoutDirty = false;

    // Settings are read once per step.
    const double baseSize = baseIconSize();
    const double dockWidth = preferredDockWidth();
    const auto resting = layoutFrames(std::nullopt, 1.0, baseSize, dockWidth);
    const bool wasAnimating = animating;
    // The zone reaches as high as the row stands or is heading: while the row re-forms under a
    // pointer resting on top of a magnified icon, the icons may dip for a few frames, and the
    // pointer must not fall out of the zone and let the row collapse under it.
    const auto placeZone = [&] {
        const auto& row = frames.empty() ? resting : frames;
        hover.setRow(DockLayout::shelfFrame(row), row, targets);
    };
    placeZone();

    // An inactive dock (the normal one on a full-screen display) feels no pointer.
    const bool active = autoHide.active();
    const bool inside = active && pointer && hover.contains(*pointer);
    DockAutoHide::Step hideStep;
    hideStep.now = t;
    hideStep.dt = dt;
    hideStep.hides = context.preferences && context.preferences->autoHide();
    hideStep.inside = inside;
    hideStep.edge = active && pointer && hover.atEdge(*pointer);
    hideStep.keepShown = keepsShown();
    const bool hiding = autoHide.advance(hideStep);

    const auto centre = magnificationCentre(inside ? pointer : std::nullopt, resting);
    targets = centre ? layoutFrames(centre, magnification(), baseSize, dockWidth) : resting;
    // An open stack or menu keeps the row as it stands.
    const bool frozen = stacks.freezesRow() || isMenuTracking();
    if (frozen && frames.size() == targets.size())
        targets = frames;
    interaction.reorderTargets(targets, interaction.activeDragID.isEmpty()
                                            ? std::nullopt
                                            : indexOf(interaction.activeDragID));

    const bool snapping = !restedOnce || reducesMotion() || divider.resizing();
    const auto step = animation.advance(t, dt, snapping, frames, targets, tileList);
    animating = step.animating || hiding;
    drawnFrames = centre ? DockRowAnimation::steadied(frames, drawnFrames, DockLayout::metrics(resting).iconSize,
                                                      backingScale())
                         : frames;
    restedOnce = restedOnce || (!animating && !frames.empty());

    // Settling redraws once more: frames snap to whole pixels and icons to their exact size.
    bool changed = placeTiles() || (wasAnimating && !animating) || step.changed;
    // The handle draws nothing, but Qt repaints what it leaves and enters at every move, past the
    // dock's own frames: it follows the separator once the row is at rest.
    if (!animating || divider.resizing())
        divider.place(frames, separator, hiddenAmount(), hiddenAmount() * hideDistance(), height());
    // The zone follows the row as now placed, so the input region never lags a step behind.
    placeZone();
    // The hovered tile stays while its menu is open; nothing is hovered while a tile is dragged.
    if (!isMenuTracking())
        changed = hover.update(active && interaction.activeDragID.isEmpty() ? pointer : std::nullopt, tileList,
                               hiddenAmount())
            || changed;
    updateInputRegion(pointer);
    // The row, its label and its badges change together: one frame for all.
    collectedRepaint = QRegion();
    collectingRepaint = true;
    hoverLabel.show(hoveredIndex(), tileList,
                    interaction.activeDragID.isEmpty() && !stacks.freezesRow() && hiddenAmount() < 0.3);
    if (changed) {
        repaintScene();
        badges->redisplay(tileList, interaction.activeDragID, hiddenAmount() * hideDistance());
    }
    collectingRepaint = false;
    repaintArea(collectedRepaint);
    tickScene.reset();
    stopTickingWhenIdle(pointer);
}

void DockView::followFullScreen()
{
    const QScreen* display = screen();
    const bool inFullScreen = context.fullScreenState && display
        && context.fullScreenState->contains(display->name());
    if (!autoHide.setFullScreen(inFullScreen))
        return;
    layoutDirty = true;
    animating = true;
    if (overlay) {
        hover.clear();
        hoverLabel.hide();
        if (!inFullScreen)
            stacks.close();
    }
    updateInputRegion(std::nullopt); // an inactive dock takes no mouse from now on
    if (onFullScreenChanged)
        onFullScreenChanged(inFullScreen);
}

bool DockView::keepsShown() const
{
    const auto* panel = qobject_cast<const DockPanel*>(window());
    return stacks.freezesRow() || !interaction.activeDragID.isEmpty() || isMenuTracking()
        || (context.menuTracking && context.menuTracking()) || interaction.keyboardIndex.has_value()
        || (panel && panel->keyboardMode())
        || divider.resizing();
}

std::optional<double> DockView::magnificationCentre(const std::optional<QPointF>& pointerInZone,
                                                    const std::vector<QRectF>& resting) const
{
    if (divider.resizing()) {
        const auto position = divider.magnificationPosition();
        if (!position)
            return std::nullopt;
        const QRectF shelf = DockLayout::shelfFrame(resting);
        return shelf.left() + shelf.width() * *position;
    }
    if (const auto keyboard = interaction.magnificationInput(resting))
        return keyboard;
    if (pointerInZone && interaction.pointerMagnifies())
        return pointerInZone->x();
    return std::nullopt;
}

bool DockView::placeTiles()
{
    bool moved = false;
    const double offset = hiddenAmount() * hideDistance();
    const double scale = backingScale();
    for (size_t i = 0; i < tileList.size() && i < drawnFrames.size(); ++i) {
        DockTile* tile = tileList[i];
        QRectF frame = drawnFrames[i].translated(0, -offset);
        if (animation.anyAppearing() && animation.isAppearing(tile->entry().identifier()) && i < targets.size()) {
            // A tile fading in is drawn at its final size, centred where its slot opens.
            const QSizeF size = targets[i].size();
            frame = QRectF(frame.center().x() - size.width() / 2, frame.y(), size.width(), size.height());
        }
        if (!animating)
            frame = pixelAligned(frame, scale);
        if (frame != tile->frame) {
            tile->frame = frame;
            moved = true;
        }
    }
    return moved;
}

// --- Pointer ---

void DockView::updateInputRegion(const std::optional<QPointF>& pointer)
{
    QRegion region;
    // Only the dock that is active on its display takes the mouse.
    if (autoHide.active()) {
        region = DockInputRegion::compute({&frames, &tileList, &hover, hiddenAmount(),
                                           hiddenAmount() * hideDistance(), double(height())});
    }
    std::optional<QPoint> spot;
    if (pointer)
        spot = toWidgetPoint(*pointer, height()).toPoint();
    if (inputArea.update(region, animating, spot) && onInputRegionChanged)
        onInputRegionChanged();
}

// --- Drawing ---

DockViewRenderer::Scene DockView::currentScene() const
{
    DockViewRenderer::Scene scene;
    scene.viewSize = size();
    scene.devicePixelRatio = backingScale();
    scene.dark = dark();
    scene.offset = hiddenAmount() * hideDistance();
    scene.frames = drawnFrames;
    scene.separatorIndex = separator;
    scene.dropIndex = interaction.dropIndex;
    scene.reordering = interaction.reorderSlot.has_value();
    scene.settled = !animating;
    const auto* panel = qobject_cast<const DockPanel*>(window());
    scene.clearedBackground =
        window()->testAttribute(Qt::WA_TranslucentBackground) && !(panel && panel->hasBackdrop());
    scene.restingIconSize = DockLayout::metrics(targets.empty() ? frames : targets).iconSize;
    // Resolving the palette looks up the window's activation every time: once per change is enough.
    if (!accent)
        accent = palette().color(QPalette::Highlight);
    scene.accent = *accent;
    scene.tiles.reserve(tileList.size());
    const bool dragging = !interaction.activeDragID.isEmpty();
    for (size_t i = 0; i < tileList.size(); ++i) {
        const DockTile* tile = tileList[i];
        scene.tiles.push_back({&tile->entry(), tile->frame, i < drawnFrames.size() ? drawnFrames[i] : tile->frame,
                               tile->alpha, i < running.size() && running[i],
                               dragging && tile->entry().identifier() == interaction.activeDragID,
                               interaction.dropTarget == int(i)});
    }
    for (const auto& icon : animation.retiring())
        scene.retiring.push_back({&icon.entry, icon.frame, QRectF(), icon.alpha, false, false});
    return scene;
}

void DockView::repaintScene()
{
    auto scene = currentScene();
    auto next = drawing->footprint(scene);
    if (collectingRepaint)
        tickScene = std::move(scene);
    const QRegion dirty = DockViewRenderer::changes(painted, next);
    painted = std::move(next);
    repaintArea(dirty);
}

void DockView::repaintArea(const QRegion& area)
{
    if (collectingRepaint)
        collectedRepaint += area;
    else if (!area.isEmpty() && !(paintDirectly && paintDirectly(area)))
        update(area);
}

void DockView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    paintArea(painter, event->region(), false);
}

void DockView::paint(QPainter& painter, const QRegion& area) { paintArea(painter, area, true); }

void DockView::paintArea(QPainter& painter, const QRegion& area, bool withBadges)
{
    std::optional<DockViewRenderer::Scene> built;
    const auto& scene = tickScene ? *tickScene : built.emplace(currentScene());
    // One pass per rectangle of the repainted area: under a clip of one rectangle QPainter blits
    // an image, under a clip of several it fills spans, and wakes worker threads for a tall one.
    for (const QRect& rect : area) {
        painter.setClipRect(rect);
        drawing->paint(painter, scene, rect);
        if (opaqueEdge && hiddenAmount() > 0 && autoHide.active() && !frames.empty()) {
            // Without a compositor the strip that brings the dock back cannot be clear: a lip, not black.
            const QRectF shelf = hover.shelf();
            const QRectF strip(shelf.left() - 20, height() - 4, shelf.width() + 40, 4);
            QLinearGradient lip(strip.topLeft(), strip.bottomLeft());
            lip.setColorAt(0, dark() ? QColor::fromRgbF(0.62, 0.62, 0.62) : QColor::fromRgbF(0.98, 0.98, 0.98));
            lip.setColorAt(1, dark() ? QColor::fromRgbF(0.06, 0.06, 0.06) : QColor::fromRgbF(0.55, 0.55, 0.55));
            painter.fillRect(strip, lip);
        }
        hoverLabel.paint(painter);
        if (withBadges)
            badges->paint(painter, rect);
    }
    painter.setClipping(false);
    ++framesRendered;
    if (onFrameRendered)
        onFrameRendered(framesRendered);
}

void DockView::setOpaqueEdge(bool opaque)
{
    if (opaque == opaqueEdge)
        return;
    opaqueEdge = opaque;
    update();
}

void DockView::notifyAccessibility() { accessibility.announce(*this, tileList, context.accessibilityEvent); }

// --- Events ---

void DockView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    // Unmapped, the dock was not exposed; now it is, with its row as it stands.
    QAccessibleEvent shown(this, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&shown);
}

void DockView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    markLayoutDirty();
}

void DockView::enterEvent(QEnterEvent* event)
{
    pointerEvents = true;
    lastEventPointer = event->position();
    ensureTicking();
    QWidget::enterEvent(event);
}

void DockView::leaveEvent(QEvent* event)
{
    pointerEvents = false;
    resumeMotionEvents();
    ensureTicking();
    QWidget::leaveEvent(event);
}

bool DockView::event(QEvent* event)
{
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ActivationChange)
        accent.reset();
    if (event->type() == QEvent::ScreenChangeInternal || event->type() == QEvent::PaletteChange)
        markLayoutDirty();
    return QWidget::event(event);
}

// --- Queries ---

bool DockView::isFullScreenOverlay() const { return overlay; }
const std::vector<DockEntry>& DockView::entries() const { return entryList; }
std::optional<int> DockView::hoveredIndex() const
{
    // The keyboard selection, while there is one, is what the dock shows as hovered.
    return interaction.keyboardIndex ? interaction.keyboardIndex : hover.index();
}

std::optional<DockPendingDrop> DockView::pendingDrop() const
{
    if (!interaction.dropPoint || interaction.draggedURLs.isEmpty())
        return std::nullopt;
    // As the drop would reckon it, with the frames the row has now.
    const int index = entryList.empty() ? 0 : DockInteraction::insertionIndex(interaction.dropPoint->x(), frames);
    return DockPendingDrop{interaction.dropTarget, index, interaction.dropCopies.value_or(false)};
}

std::optional<DockOwnDrag> DockView::ownDrag() const
{
    if (interaction.activeDragID.isEmpty())
        return std::nullopt;
    return DockOwnDrag{interaction.activeDragID, interaction.reorderSlot};
}

QRegion DockView::inputRegion() const { return inputArea.current(); }
const std::vector<DockTile*>& DockView::tiles() const { return tileList; }
std::optional<int> DockView::separatorIndex() const { return separator; }
bool DockView::isAnimating() const { return animating; }
bool DockView::isTicking() const { return ticking; }
int DockView::retiringIconCount() const { return int(animation.retiring().size()); }
const DockViewRenderer& DockView::renderer() const { return *drawing; }

std::vector<QRectF> DockView::tileFrames() const
{
    std::vector<QRectF> result;
    result.reserve(tileList.size());
    for (const auto* tile : tileList)
        result.push_back(toWidgetRect(tile->frame, height()));
    return result;
}

double DockView::restingContentHeight() const
{
    const auto resting = DockLayout::restingFrames(int(entryList.size()), width(), baseIconSize(),
                                                   preferredDockWidth(), separator);
    return DockLayout::restingContentHeight(resting, window() ? backingScale() : 1.0);
}

} // namespace wharf
