#include "dock/dock_view.h"

#include "dock/dock_geometry.h"
#include "dock/dock_layout.h"
#include "dock/dock_tile.h"
#include "dock/dock_view_accessible.h"
#include "model/dock_model.h"
#include "settings/dock_appearance.h"
#include "settings/dock_preferences.h"

#include <QAccessible>
#include <QCursor>
#include <QEnterEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace wharf {

namespace {

constexpr double closingDuration = 0.18;
constexpr double openingDuration = 0.35;
constexpr double smoothingTime = 0.075;
constexpr double appearFadeTime = 0.22;
constexpr double retireDuration = 0.1;

double smoothstep(double t) { return t * t * (3 - 2 * t); }

QRectF blend(const QRectF& from, const QRectF& to, double factor)
{
    return QRectF(from.x() + factor * (to.x() - from.x()), from.y() + factor * (to.y() - from.y()),
                  from.width() + factor * (to.width() - from.width()),
                  from.height() + factor * (to.height() - from.height()));
}

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
    : QWidget(parent), context(std::move(ctx)), overlay(isFullScreenOverlay),
      drawing(std::make_unique<DockViewRenderer>())
{
    installDockAccessibility();
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setAutoFillBackground(false);
    setMouseTracking(true);
    setAccessibleName(QStringLiteral("Wharf"));
    timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, &DockView::tick);
    lastTickTime = now();
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

std::optional<QPointF> DockView::pointerInView() const
{
    std::optional<QPointF> global;
    if (context.pointerLocation)
        global = context.pointerLocation();
    else if (pointerEvents)
        global = lastEventPointer; // motion events keep it current; no round trip to the server
    else
        global = QCursor::pos();
    if (!global)
        return std::nullopt;
    return toLayoutPoint(mapFromGlobal(*global), height());
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
    return hiddenAmount > 0 ? DockLayout::hideDistance(frames, magnification()) : 0.0;
}

// --- Entries ---

QIcon DockView::iconForPid(pid_t pid) const
{
    if (!context.model)
        return {};
    for (const auto& item : context.model->items()) {
        const auto& app = item.runningApplication;
        if (app && app->processIdentifier == pid)
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
            result.push_back(DockEntry::fromWindow(window, iconForPid(window.pid)));
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

    runningIDs.clear();
    std::vector<bool> applicationFlags;
    for (const auto& entry : newEntries) {
        if (const auto* item = entry.item(); item && item->runningApplication)
            runningIDs.insert(entry.identifier());
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
        notifyAccessibility();
        repaintScene();
        ensureTicking();
        return;
    }

    // Membership changed.
    QHash<QString, DockTile*> oldTiles;
    for (auto* tile : tileList)
        oldTiles.insert(tile->entry().identifier(), tile);
    QHash<QString, QRectF> oldFrames;
    if (frames.size() == entryList.size()) {
        for (size_t i = 0; i < frames.size(); ++i)
            oldFrames.insert(oldIDs[i], frames[i]);
    }
    const double t = now();
    const bool animate = !frames.empty() && !reducesMotion();

    for (auto* tile : tileList) {
        const QString id = tile->entry().identifier();
        if (newIDs.contains(id))
            continue;
        if (animate)
            retiringIcons.push_back(RetiringIcon{tile->entry(), tile->frame, t, 1.0});
        oldTiles.remove(id);
        tile->deleteLater();
    }
    for (auto it = appearingIDs.begin(); it != appearingIDs.end();) {
        it = newIDs.contains(*it) ? std::next(it) : appearingIDs.erase(it);
    }
    const size_t oldCount = entryList.size();
    entryList = std::move(newEntries);

    const auto resting = layoutFrames(std::nullopt, 1.0);
    std::vector<QRectF> starting;
    if (resting.size() == entryList.size()) {
        starting.reserve(resting.size());
        for (size_t i = 0; i < resting.size(); ++i) {
            const QRectF& target = resting[i];
            const auto old = oldFrames.constFind(ids[i]);
            if (old != oldFrames.constEnd()) {
                starting.push_back(*old);
            } else if (animate) {
                // A newcomer opens from the gap between its old neighbours.
                std::optional<double> leftEdge;
                std::optional<double> rightEdge;
                for (size_t j = i; j-- > 0;) {
                    if (const auto f = oldFrames.constFind(ids[j]); f != oldFrames.constEnd()) {
                        leftEdge = f->right();
                        break;
                    }
                }
                for (size_t j = i + 1; j < ids.size(); ++j) {
                    if (const auto f = oldFrames.constFind(ids[j]); f != oldFrames.constEnd()) {
                        rightEdge = f->left();
                        break;
                    }
                }
                double x = target.center().x();
                if (leftEdge && rightEdge)
                    x = (*leftEdge + *rightEdge) / 2;
                else if (leftEdge)
                    x = *leftEdge;
                else if (rightEdge)
                    x = *rightEdge;
                starting.push_back(QRectF(x, target.y(), 0, 0));
            } else {
                starting.push_back(target);
            }
        }
    }
    frames = starting;
    targets = resting;
    membershipOrigins = starting;
    membershipTransition = animate ? std::optional<Transition>(Transition{t, entryList.size() < oldCount})
                                   : std::nullopt;

    const double offset = hiddenAmount * hideDistance();
    std::vector<DockTile*> newTiles;
    newTiles.reserve(entryList.size());
    for (size_t i = 0; i < entryList.size(); ++i) {
        DockTile* tile = oldTiles.value(ids[i]);
        if (tile) {
            tile->setEntry(entryList[i]);
        } else {
            tile = new DockTile(entryList[i], this);
            if (animate) {
                tile->alpha = 0;
                appearingIDs.insert(ids[i]);
            }
        }
        if (i < starting.size())
            tile->frame = starting[i].translated(0, -offset);
        newTiles.push_back(tile);
    }
    tileList = std::move(newTiles);

    appearanceOrigins.clear();
    for (auto* tile : tileList)
        appearanceOrigins.insert(tile->entry().identifier(), tile->alpha);

    hovered.reset();
    animating = true;
    notifyAccessibility();
    repaintScene();
    ensureTicking();
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
    timer->stop();
}

void DockView::ensureTicking()
{
    if (!started || timer->isActive())
        return;
    double rate = 60;
    if (const QScreen* s = screen())
        rate = std::max(60.0, s->refreshRate());
    const int interval = std::max(1, int(1000.0 / rate));
    // Resume as if the timer had kept running, so the first step after idling is not a jump.
    lastTickTime = now() - interval / 1000.0;
    timer->start(interval);
}

void DockView::stopTickingWhenIdle(const std::optional<QPointF>& pointer)
{
    if (animating || layoutDirty || !retiringIcons.empty())
        return;
    // A pointer resting in the hover zone outside the input region sends no motion events:
    // keep polling it. Anywhere else, motion events or a reload wake the timer again.
    if (pointer && insideHoverZone(*pointer)) {
        if (!currentInputRegion.contains(toWidgetPoint(*pointer, height()).toPoint()))
            return;
    }
    timer->stop();
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

    // The overlay dock shows only inside a full-screen space.
    if (overlay) {
        animating = false;
        layoutDirty = false;
        timer->stop();
        return;
    }
    if (pointer == lastPointer && !layoutDirty && !animating) {
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
    hoverShelf = DockLayout::shelfFrame(frames.empty() ? resting : frames);

    const bool inside = pointer && insideHoverZone(*pointer);
    std::optional<double> pointerX;
    if (inside && activeDragID.isEmpty())
        pointerX = pointer->x();
    const double m = magnification();
    targets = pointerX ? layoutFrames(pointerX, m, baseSize, dockWidth) : resting;

    animating = false;
    if (frames.size() != targets.size())
        frames = targets;

    const bool snapping = reducesMotion();
    double progress = 0;
    if (membershipTransition) {
        const double duration = membershipTransition->closing ? closingDuration : openingDuration;
        progress = smoothstep(std::clamp((t - membershipTransition->started) / duration, 0.0, 1.0));
    }
    const bool fromOrigins = membershipTransition && membershipOrigins.size() == frames.size();
    const double smoothing = 1 - std::exp(-dt / smoothingTime);

    bool changed = false;
    for (size_t i = 0; i < frames.size(); ++i) {
        const QRectF& target = targets[i];
        const QRectF start = fromOrigins ? membershipOrigins[i] : frames[i];
        const double factor = snapping ? 1.0 : fromOrigins ? progress : smoothing;
        QRectF next = blend(start, target, factor);
        if (std::abs(next.x() - target.x()) < 0.1 && std::abs(next.y() - target.y()) < 0.1 &&
            std::abs(next.width() - target.width()) < 0.1)
            next = target;
        else
            animating = true;
        const QRectF& previous = frames[i];
        if (std::abs(next.x() - previous.x()) > 0.02 || std::abs(next.y() - previous.y()) > 0.02 ||
            std::abs(next.width() - previous.width()) > 0.02)
            changed = true;
        frames[i] = next;
    }

    for (auto* tile : tileList) {
        const QString id = tile->entry().identifier();
        if (!appearingIDs.contains(id))
            continue;
        const double before = tile->alpha;
        if (snapping) {
            tile->alpha = 1;
        } else if (membershipTransition) {
            const double a0 = appearanceOrigins.value(id, 0.0);
            // The fade starts after 15 % of the transition.
            const double u = std::clamp((progress - 0.15) / 0.85, 0.0, 1.0);
            tile->alpha = a0 + smoothstep(u) * (1 - a0);
        } else {
            tile->alpha = std::min(tile->alpha + dt / appearFadeTime, 1.0);
        }
        changed = changed || tile->alpha != before;
        if (tile->alpha < 1)
            animating = true;
        else
            appearingIDs.remove(id);
    }

    for (auto it = retiringIcons.begin(); it != retiringIcons.end();) {
        const double u = snapping ? 1.0 : std::min((t - it->started) / retireDuration, 1.0);
        it->alpha = 1 - smoothstep(u);
        changed = true;
        if (u >= 1) {
            it = retiringIcons.erase(it);
        } else {
            animating = true;
            ++it;
        }
    }

    if (membershipTransition) {
        if (progress >= 1 || snapping) {
            membershipTransition.reset();
            membershipOrigins.clear();
        } else {
            animating = true;
        }
    }

    // Settling redraws once more: frames snap to whole pixels and icons to their exact size.
    changed = placeTiles() || (wasAnimating && !animating) || changed;
    changed = updateHovered(pointer) || changed;
    updateInputRegion(pointer);
    if (changed)
        repaintScene();
    stopTickingWhenIdle(pointer);
}

bool DockView::placeTiles()
{
    bool moved = false;
    const double offset = hiddenAmount * hideDistance();
    const double scale = backingScale();
    for (size_t i = 0; i < tileList.size() && i < frames.size(); ++i) {
        DockTile* tile = tileList[i];
        QRectF frame = frames[i].translated(0, -offset);
        if (appearingIDs.contains(tile->entry().identifier()) && i < targets.size()) {
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

bool DockView::insideHoverZone(const QPointF& pointer) const
{
    if (pointer.x() < hoverShelf.left() - 20 || pointer.x() > hoverShelf.right() + 20 || pointer.y() < 0)
        return false;
    if (frames.empty())
        return pointer.y() < 102;
    double top = frames.front().bottom();
    for (const auto& frame : frames)
        top = std::max(top, frame.bottom()); // bottom() is the larger y: the top edge in layout terms
    return pointer.y() < top + 12;
}

QRectF DockView::clickFrame(const DockTile& tile) const
{
    // Below an application icon, down to the screen edge, still counts as the icon.
    if (tile.entry().isApplication())
        return QRectF(tile.frame.x(), 0, tile.frame.width(), std::max(tile.frame.bottom(), 0.0));
    return tile.frame;
}

bool DockView::updateHovered(const std::optional<QPointF>& pointer)
{
    std::optional<int> index;
    if (pointer && hiddenAmount < 0.3 && insideHoverZone(*pointer)) {
        for (size_t i = 0; i < tileList.size(); ++i) {
            if (clickFrame(*tileList[i]).adjusted(-4, 0, 4, 0).contains(*pointer)) {
                index = int(i);
                break;
            }
        }
    }
    if (index == hovered)
        return false;
    hovered = index;
    return true;
}

void DockView::updateInputRegion(const std::optional<QPointF>& pointer)
{
    QRegion region;
    // The overlay dock only ever takes the mouse inside a full-screen space.
    if (!overlay && !frames.empty()) {
        const double offset = hiddenAmount * hideDistance();
        const double h = height();
        if (hiddenAmount < 0.95)
            region += toWidgetRect(DockLayout::shelfFrame(frames).translated(0, -offset), h).toAlignedRect();
        for (const auto* tile : tileList) {
            const QRectF frame = hiddenAmount < 0.3 ? clickFrame(*tile) : tile->frame;
            region += toWidgetRect(frame.adjusted(-3, -2, 3, 2), h).toAlignedRect();
        }
        if (hiddenAmount > 0) {
            const QRectF edge(hoverShelf.left() - 20, 0, hoverShelf.width() + 40, 4);
            region += toWidgetRect(edge, h).toAlignedRect();
        }
    }
    if (region == currentInputRegion)
        return;
    // While the row moves under the pointer, both regions agree about the pointer's spot,
    // which is the only place a click can happen: the window's shape is brought up to date
    // when they disagree there, or once the row settles, instead of on every frame.
    if (animating && pointer) {
        const QPoint spot = toWidgetPoint(*pointer, height()).toPoint();
        if (region.contains(spot) && currentInputRegion.contains(spot))
            return;
    }
    currentInputRegion = region;
    if (onInputRegionChanged)
        onInputRegionChanged();
}

// --- Drawing ---

DockViewRenderer::Scene DockView::currentScene() const
{
    DockViewRenderer::Scene scene;
    scene.viewSize = size();
    scene.devicePixelRatio = backingScale();
    scene.dark = dark();
    scene.offset = hiddenAmount * hideDistance();
    scene.frames = frames;
    scene.separatorIndex = separator;
    scene.dropIndex = dropIndex;
    scene.settled = !animating;
    scene.clearedBackground = window()->testAttribute(Qt::WA_TranslucentBackground);
    scene.restingIconSize = DockLayout::metrics(targets.empty() ? frames : targets).iconSize;
    scene.accent = palette().color(QPalette::Highlight);
    scene.tiles.reserve(tileList.size());
    for (size_t i = 0; i < tileList.size(); ++i) {
        const DockTile* tile = tileList[i];
        const QString id = tile->entry().identifier();
        scene.tiles.push_back({&tile->entry(), tile->frame, i < frames.size() ? frames[i] : tile->frame,
                               tile->alpha, runningIDs.contains(id), !activeDragID.isEmpty() && id == activeDragID});
    }
    for (const auto& icon : retiringIcons)
        scene.retiring.push_back({&icon.entry, icon.frame, QRectF(), icon.alpha, false, false});
    return scene;
}

void DockView::repaintScene()
{
    const QRegion area = drawing->bounds(currentScene());
    const QRegion dirty = area.united(paintedBounds);
    paintedBounds = area;
    if (!dirty.isEmpty())
        update(dirty);
}

void DockView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    drawing->paint(painter, currentScene());
    ++framesRendered;
    if (onFrameRendered)
        onFrameRendered(framesRendered);
}

void DockView::notifyAccessibility()
{
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent event(this, QAccessible::ObjectReorder);
    QAccessible::updateAccessibility(&event);
    for (int i = 0; i < int(tileList.size()); ++i) {
        QAccessibleEvent changed(tileList[size_t(i)], QAccessible::NameChanged);
        QAccessible::updateAccessibility(&changed);
    }
}

// --- Events ---

void DockView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    markLayoutDirty();
}

void DockView::mouseMoveEvent(QMouseEvent* event)
{
    lastEventPointer = event->globalPosition();
    ensureTicking();
    QWidget::mouseMoveEvent(event);
}

void DockView::enterEvent(QEnterEvent* event)
{
    pointerEvents = true;
    lastEventPointer = event->globalPosition();
    ensureTicking();
    QWidget::enterEvent(event);
}

void DockView::leaveEvent(QEvent* event)
{
    pointerEvents = false;
    ensureTicking();
    QWidget::leaveEvent(event);
}

bool DockView::event(QEvent* event)
{
    if (event->type() == QEvent::ScreenChangeInternal || event->type() == QEvent::PaletteChange)
        markLayoutDirty();
    return QWidget::event(event);
}

// --- Queries ---

bool DockView::isFullScreenOverlay() const { return overlay; }
const std::vector<DockEntry>& DockView::entries() const { return entryList; }
std::optional<int> DockView::hoveredIndex() const { return hovered; }
QRegion DockView::inputRegion() const { return currentInputRegion; }
const std::vector<DockTile*>& DockView::tiles() const { return tileList; }
std::optional<int> DockView::separatorIndex() const { return separator; }
bool DockView::isAnimating() const { return animating; }
bool DockView::isTicking() const { return timer->isActive(); }
int DockView::retiringIconCount() const { return int(retiringIcons.size()); }
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
