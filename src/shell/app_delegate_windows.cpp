// Other programs' windows: keeping them clear of the resting dock, and the poll of minimized
// windows.
#include "shell/app_delegate.h"

#include "dock/dock_panel.h"
#include "dock/dock_window_controller.h"
#include "settings/dock_preferences.h"

#include <QPointer>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace wharf {

bool windowListChanged(const std::vector<DockWindow>& stored, const std::vector<DockWindow>& scanned)
{
    return !std::equal(stored.begin(), stored.end(), scanned.begin(), scanned.end(),
                       [](const DockWindow& a, const DockWindow& b) { return a.id == b.id; });
}

void AppDelegate::wireWindows()
{
    startWindowTimer();
}

void AppDelegate::stopWindows()
{
    if (windowTimer)
        windowTimer->stop();
}

void AppDelegate::updateWindowAvoidance()
{
    std::vector<AvoidanceDisplay> displays;
    for (QScreen* screen : orderedScreens()) {
        AvoidanceDisplay display;
        if (const auto id = DockWindowController::displayIdentifier(screen->name()); id != 0)
            display.displayID = id;
        display.bounds = screen->geometry();
        display.visibleFrame = screen->availableGeometry();
        displays.push_back(display);
    }
    std::vector<AvoidanceDock> docks;
    for (const auto& dock : dockControllers) {
        // Full-screen state is not tracked yet: the normal dock is the active one everywhere.
        if (dock->dockView().isFullScreenOverlay())
            continue;
        docks.push_back({dock->displayID, false, dock->dockView().restingContentHeight()});
    }
    avoidance = avoidanceRegions(displays, docks);
    avoidanceEnabled = preferences->keepWindowsAboveDock() && !preferences->autoHide();

    // While avoidance is in force the resting band is reserved, so that maximized and newly
    // placed windows stay clear of the icons.
    for (auto& dock : dockControllers) {
        const DockView& view = dock->dockView();
        const double height = view.restingContentHeight();
        const bool reserves = avoidanceEnabled && !view.isFullScreenOverlay() && std::isfinite(height);
        dock->setBottomReservation(reserves ? int(std::ceil(std::clamp(height, 0.0, double(DockPanel::height)))) : 0);
    }
}

void AppDelegate::setWindowScanner(WindowScanner scanner)
{
    windowScanner = std::move(scanner);
    if (launched)
        startWindowTimer();
}

void AppDelegate::startWindowTimer()
{
    if (!windowScanner || windowTimer || terminated)
        return;
    windowTimer = new QTimer(this);
    windowTimer->setInterval(2000);
    connect(windowTimer, &QTimer::timeout, this, &AppDelegate::pollWindows);
    windowTimer->start();
}

void AppDelegate::pollWindows()
{
    if (!windowScanner)
        return;
    const QPointer<AppDelegate> self(this);
    windowScanner([self](std::vector<DockWindow> windows) {
        if (!self || !windowListChanged(self->minimized, windows))
            return;
        self->minimized = std::move(windows);
        for (auto& dock : self->dockControllers)
            dock->dockView().reload();
        self->updateWindowAvoidance();
    });
}

} // namespace wharf
