// The dock windows' wiring: two per display (normal and full-screen overlay), rebuilt when
// displays come, go or move.
#include "shell/app_delegate.h"

#include "dock/dock_full_screen_state.h"
#include "dock/dock_panel.h"
#include "dock/dock_window_controller.h"
#include "settings/dock_preferences.h"

#include <QCursor>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPointer>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <ctime>

Q_DECLARE_LOGGING_CATEGORY(lcLifecycle)

namespace wharf {

std::vector<QScreen*> AppDelegate::orderedScreens()
{
    std::vector<QScreen*> screens;
    if (QScreen* primary = QGuiApplication::primaryScreen())
        screens.push_back(primary);
    for (QScreen* screen : QGuiApplication::screens()) {
        if (std::find(screens.begin(), screens.end(), screen) == screens.end())
            screens.push_back(screen);
    }
    return screens;
}

std::vector<std::size_t> distinctDisplayAreas(const std::vector<QRect>& areas)
{
    std::vector<std::size_t> kept;
    for (std::size_t i = 0; i < areas.size(); ++i) {
        if (areas[i].isEmpty())
            continue;
        const bool shared = std::any_of(kept.begin(), kept.end(),
                                        [&](std::size_t k) { return areas[k].intersects(areas[i]); });
        if (!shared)
            kept.push_back(i);
    }
    return kept;
}

std::vector<QScreen*> AppDelegate::dockScreens() const
{
    const std::vector<QScreen*> screens = orderedScreens();
    std::vector<QRect> areas;
    for (QScreen* screen : screens)
        areas.push_back(screen->geometry());
    // Without allDisplays, the first (primary) display only.
    const bool all = preferences->allDisplays();
    std::vector<QScreen*> chosen;
    for (const std::size_t index : distinctDisplayAreas(areas)) {
        chosen.push_back(screens[index]);
        if (!all)
            break;
    }
    return chosen;
}

void AppDelegate::wireDocks()
{
    connect(qApp, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
        watchScreen(screen);
        scheduleRebuild();
    });
    connect(qApp, &QGuiApplication::screenRemoved, this, &AppDelegate::scheduleRebuild);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, &AppDelegate::scheduleRebuild);
    for (QScreen* screen : QGuiApplication::screens())
        watchScreen(screen);
    rebuildDocks();
}

void AppDelegate::rebuildDocks()
{
    rebuildPending = false;
    closeStack(); // its tile is about to go
    applied.showsAllDisplays = preferences->allDisplays();
    for (auto& dock : dockControllers)
        dock->close();
    dockControllers.clear();

    const std::vector<QScreen*> screens = dockScreens();
    // The displays changed: a full-screen window may cover another display now, or none.
    fullScreen->refresh();

    const QPointer<AppDelegate> self(this);
    DockViewContext context;
    context.model = dockModel.get();
    context.preferences = preferences;
    context.minimizedWindows = [self] { return self ? self->minimized : std::vector<DockWindow>{}; };
    context.fullScreenState = fullScreen.get();
    context.menuTracking = [self] { return self && self->isMenuTracking(); };
    context.actions = interactionActions();
    context.applicationMenu = [self](QWidget* parent) { return self ? self->makeMenu(parent) : nullptr; };
    if (appearance) {
        DesktopAppearance* desktop = appearance.get();
        context.platformIsDark = [desktop] { return desktop->isDark(); };
        context.reduceMotion = [desktop] { return desktop->reduceMotion(); };
    }
    for (QScreen* screen : screens) {
        for (const bool overlay : {false, true}) {
            auto dock = std::make_unique<DockWindowController>(screen, context, overlay, windowSystem.get());
            dock->dockView().onFrameRendered = [this](int) {
                if (++frames == 1) {
                    // Benchmarks compare this with the time they started the process.
                    timespec now{};
                    clock_gettime(CLOCK_REALTIME, &now);
                    qCDebug(lcLifecycle, "First frame at %lld us", static_cast<long long>(now.tv_sec) * 1000000
                                                                        + now.tv_nsec / 1000);
                }
            };
            dock->onFullScreenChanged = [this] { updateWindowAvoidance(); };
            dockControllers.push_back(std::move(dock));
        }
    }
    updateWindowAvoidance();
}

void AppDelegate::relayoutDocks()
{
    for (auto& dock : dockControllers) {
        DockView& view = dock->dockView();
        view.markLayoutDirty();
        view.tick();
        view.update();
    }
}

void AppDelegate::scheduleRebuild()
{
    // Display changes arrive in bursts (one per screen and property); rebuild once.
    if (rebuildPending || !launched || terminated)
        return;
    rebuildPending = true;
    QTimer::singleShot(0, this, [this] {
        if (rebuildPending)
            rebuildDocks();
    });
}

void AppDelegate::watchScreen(QScreen* screen)
{
    connect(screen, &QScreen::geometryChanged, this, &AppDelegate::scheduleRebuild, Qt::UniqueConnection);
    connect(screen, &QScreen::availableGeometryChanged, this, &AppDelegate::updateWindowAvoidance,
            Qt::UniqueConnection);
}

void AppDelegate::focusDock(std::uint32_t eventTime)
{
    if (dockControllers.empty())
        return;
    const QPoint pointer = QCursor::pos();
    DockWindowController* target = dockControllers.front().get();
    for (auto& dock : dockControllers) {
        // On a display that shows a full-screen window the overlay dock takes the keyboard.
        QScreen* display = dock->screen();
        if (display && display->geometry().contains(pointer)
            && dock->dockView().isFullScreenOverlay() == fullScreen->contains(display->name())) {
            target = dock.get();
            break;
        }
    }
    if (target->dockView().isFullScreenOverlay())
        target->dockView().tick(); // maps the overlay before it takes the focus
    target->dockView().beginKeyboardNavigation(eventTime);
}

std::vector<DockSnapshot> AppDelegate::dockSnapshots() const
{
    std::vector<DockSnapshot> out;
    for (const auto& dock : dockControllers) {
        const DockView& view = dock->dockView();
        DockSnapshot snapshot;
        snapshot.display = dock->displayName();
        snapshot.overlay = view.isFullScreenOverlay();
        snapshot.mapped = dock->isMapped();
        snapshot.frame = dock->panel().geometry();
        for (const DockEntry& entry : view.entries())
            snapshot.entryIDs.push_back(entry.identifier());
        for (const QRectF& frame : view.tileFrames())
            snapshot.tiles.push_back(frame.translated(view.pos()));
        snapshot.hoveredIndex = view.hoveredIndex();
        snapshot.hiddenAmount = view.hiddenAmount();
        snapshot.fullScreen = view.isInFullScreenSpace();
        snapshot.keyboardIndex = view.keyboardIndex();
        snapshot.drop = view.pendingDrop();
        snapshot.drag = view.ownDrag();
        fillDecorations(snapshot, view);
        out.push_back(std::move(snapshot));
    }
    return out;
}

} // namespace wharf
