// Badges, progress and attention: what applications publish for their tiles reaches the model
// through its badge providers, and the dock windows redraw at most once per frame however fast
// applications send. Also the decorations' part of what scripts see of a dock.
#include "shell/app_delegate.h"

#include "dock/dock_badge_overlay.h"
#include "dock/dock_window_controller.h"
#include "model/dock_badge.h"

#include <QCursor>
#include <QScreen>

namespace wharf {

void AppDelegate::badgeProviders(DockModel::Providers& providers) const
{
    providers.badgeSettingsProvider = [] { return DockBadgeSettings::read(); };
    if (!launcherEntries)
        return;
    const LauncherEntries* entries = launcherEntries.get();
    providers.badgeLabelProvider = [entries](const QString& identity) {
        return DockBadge::rawLabel(entries->entry(identity));
    };
    providers.badgeStatusProvider = [entries](const QString& identity) {
        return DockBadge::status(entries->entry(identity));
    };
}

void AppDelegate::wireBadges()
{
    if (!launcherEntries)
        return;
    // Entries change at most once a frame: each change is applied at once.
    subscriptions.push_back(launcherEntries->changed.add([this] { dockModel->refreshBadges(); }));
    // Badges change no layout and no window's clearance: only the badge layers redraw.
    subscriptions.push_back(dockModel->onBadgesChange.add([this] {
        for (auto& dock : dockControllers)
            dock->dockView().reloadBadges();
    }));
    // Only the applications with tiles are listened to; one that gets a tile, or starts, is asked
    // for what it published before.
    subscriptions.push_back(dockModel->onChange.add([this] { watchLauncherEntries(); }));
    watchLauncherEntries();
}

void AppDelegate::watchLauncherEntries()
{
    std::vector<LauncherEntries::Application> applications;
    for (const DockItem& item : dockModel->items()) {
        const auto& app = item.runningApplication;
        if (const auto desktopID = dockModel->desktopID(item))
            applications.push_back({*desktopID, app ? app->processIdentifiers : std::vector<pid_t>()});
    }
    launcherEntries->watch(applications);
}

void AppDelegate::showDividerMenu()
{
    for (auto& dock : dockControllers) {
        DockView& view = dock->dockView();
        if (!dock->isMapped())
            continue;
        const auto divider = view.dividerFrame();
        view.showApplicationMenu(divider ? view.mapToGlobal(divider->center()) : QCursor::pos());
        return;
    }
}

void fillDecorations(DockSnapshot& snapshot, const DockView& view)
{
    const DockHoverLabel& label = view.hoverLabelView();
    if (label.isVisible()) {
        snapshot.hoverLabel = label.globalFrame();
        snapshot.hoverLabelText = label.text();
    }
    if (const auto divider = view.dividerFrame())
        snapshot.divider = divider->translated(view.mapToGlobal(QPoint(0, 0)));
    snapshot.menuOpen = view.isMenuTracking();
    const DockBadgeOverlay& overlay = view.badgeOverlay();
    const QPointF origin = view.mapToGlobal(QPointF(0, 0));
    for (const auto& mark : overlay.marks()) {
        DockSnapshot::Badge badge;
        badge.id = mark.id;
        if (!mark.label.isEmpty()) {
            badge.label = DockBadge::display(mark.label);
            badge.frame = DockBadge::frame(mark.label, mark.icon).translated(origin);
        }
        badge.progress = mark.progress;
        badge.urgent = mark.urgent;
        badge.indicator = mark.indicator + origin;
        snapshot.badges.push_back(std::move(badge));
    }
    snapshot.pulsing = overlay.isPulsing();
}

} // namespace wharf
