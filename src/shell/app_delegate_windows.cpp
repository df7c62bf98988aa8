// The delegate's side of window control: minimized windows in the dock, activating their tiles,
// and keeping other windows clear of the resting dock.
#include "shell/app_delegate.h"

#include "dock/dock_panel.h"
#include "dock/dock_window_controller.h"
#include "settings/dock_preferences.h"
#include "windows/dock_avoidance_region.h"

#include <QPointer>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace wharf {

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
        // A display that shows a full-screen window keeps no band clear.
        if (dock->dockView().isFullScreenOverlay())
            continue;
        docks.push_back({dock->displayID, dock->dockView().isInFullScreenSpace(),
                         dock->dockView().restingContentHeight()});
    }
    const auto regions = avoidanceRegions(displays, docks);
    const bool enabled = preferences->keepWindowsAboveDock() && !preferences->autoHide();
    if (!windowAvoidance) {
        // Without window control only the band is reserved; nothing watches or moves windows.
        std::function<std::unique_ptr<WindowMover>()> makeMover;
        if (WindowControl* control = windowControl.get())
            makeMover = [control] { return control->makeMover(); };
        windowAvoidance = std::make_unique<DockWindowAvoidance>(std::move(makeMover));
        windowAvoidance->reserveBand = [this](std::uint32_t displayID, double height) {
            for (auto& dock : dockControllers) {
                if (dock->displayID == displayID && !dock->dockView().isFullScreenOverlay())
                    dock->setBottomReservation(int(std::ceil(std::clamp(height, 0.0, double(DockPanel::height)))));
            }
        };
    }
    if (!terminated)
        windowAvoidance->update(regions, enabled, docks);
}

bool windowListChanged(const std::vector<DockWindow>& stored, const std::vector<DockWindow>& scanned)
{
    return !std::equal(stored.begin(), stored.end(), scanned.begin(), scanned.end(),
                       [](const DockWindow& a, const DockWindow& b) { return a.id == b.id; });
}

void AppDelegate::stopWindows()
{
    if (windowTimer)
        windowTimer->stop();
    if (windowAvoidance)
        windowAvoidance->stop();
}

void AppDelegate::wireWindows()
{
    if (windowControl && !windowManager) {
        windowManager = std::make_unique<WindowManager>(*windowControl);
        Workspace* desktop = workspace.get();
        windowManager->owners = [desktop] {
            std::vector<WindowOwner> owners;
            for (const RunningApplicationRef& app : desktop->runningApplications()) {
                if (app->isRegular)
                    owners.push_back({app->key, app->localizedName, app->processIdentifiers, app->windows});
            }
            return owners;
        };
        const QPointer<AppDelegate> self(this);
        windowManager->onIntegrationError = [self](const QString& message) {
            if (self)
                self->integrationError(message);
        };
        windowEvents = windowControl->windowsChanged.add([self] {
            if (self)
                self->pollWindows();
        });
        WindowManager* manager = windowManager.get();
        setWindowScanner([manager](auto deliver) { manager->scan(std::move(deliver)); },
                         windowControl->watchesChanges());
    }
    startWindowTimer();
    // The first list, before any window changes.
    pollWindows();
}

void AppDelegate::setWindowScanner(WindowScanner scanner, bool watched)
{
    windowScanner = std::move(scanner);
    windowsWatched = watched;
    if (launched)
        startWindowTimer();
}

void AppDelegate::startWindowTimer()
{
    // Only a scanner nobody tells about changes needs the poll.
    if (!windowScanner || windowsWatched || windowTimer || terminated)
        return;
    windowTimer = new QTimer(this);
    windowTimer->setInterval(2000);
    connect(windowTimer, &QTimer::timeout, this, &AppDelegate::pollWindows);
    windowTimer->start();
}

void AppDelegate::pollWindows()
{
    if (!windowScanner || terminated)
        return;
    if (windowScanRunning) {
        // Changes during a scan may have been read too late; look again once it is back.
        windowScanPending = true;
        return;
    }
    windowScanRunning = true;
    windowScanPending = false;
    const QPointer<AppDelegate> self(this);
    windowScanner([self](std::vector<DockWindow> windows) {
        if (!self)
            return;
        self->windowScanRunning = false;
        if (windowListChanged(self->minimized, windows)) {
            self->minimized = std::move(windows);
            for (auto& dock : self->dockControllers)
                dock->dockView().reload();
            self->updateWindowAvoidance();
        }
        if (self->windowScanPending)
            self->pollWindows();
    });
}

bool AppDelegate::activateEntry(const QString& id, std::uint32_t eventTime)
{
    if (isFolderTile(id))
        return openStack(id);
    const QString prefix = QStringLiteral("window-");
    if (!id.startsWith(prefix)) {
        if (!dockModel->item(id))
            return false;
        // On the next turn: an alert it may show must not hold up the click or a D-Bus reply.
        const QPointer<AppDelegate> self(this);
        QTimer::singleShot(0, this, [self, id, eventTime] {
            if (!self)
                return;
            if (const auto item = self->dockModel->item(id))
                self->dockModel->activate(*item, eventTime);
        });
        return true;
    }
    if (!windowManager)
        return false;
    bool ok = false;
    const std::uint32_t windowID = id.mid(prefix.size()).toUInt(&ok);
    const auto window = std::find_if(minimized.begin(), minimized.end(),
                                     [&](const DockWindow& w) { return w.id == windowID; });
    if (!ok || window == minimized.end())
        return false;
    windowManager->focus(*window);
    return true;
}

std::vector<DockWindow> AppDelegate::windowsOfItem(const QString& id) const
{
    if (!windowManager)
        return {};
    for (const DockItem& item : dockModel->items()) {
        const auto& app = item.runningApplication;
        if (item.id == id && app)
            return windowManager->windows(app->key);
    }
    return {};
}

bool AppDelegate::minimizeEntry(const QString& id)
{
    const QString prefix = QStringLiteral("window-");
    bool ok = false;
    const std::uint32_t windowID = id.startsWith(prefix) ? id.mid(prefix.size()).toUInt(&ok) : 0;
    if (!windowManager || !ok)
        return false;
    for (const DockItem& item : dockModel->items()) {
        for (const DockWindow& window : windowsOfItem(item.id)) {
            if (window.id == windowID) {
                // On the next turn, as Activate: an alert it raises must not hold up the caller.
                QTimer::singleShot(0, this, [self = QPointer<AppDelegate>(this), window] {
                    if (self && self->windowManager)
                        self->windowManager->minimize(window);
                });
                return true;
            }
        }
    }
    return false;
}

} // namespace wharf
