// Badges, progress and attention: what applications publish for their tiles reaches the model
// through its badge providers, and the dock windows redraw at most once per frame however fast
// applications send. Also the decorations' part of what scripts see of a dock.
#include "shell/app_delegate.h"

#include "dock/dock_badge_overlay.h"
#include "dock/dock_window_controller.h"
#include "model/dock_badge.h"

#include <QCursor>
#include <QScreen>
#include <QTimer>

namespace wharf {

namespace {

// A badge change is shown in the next frame; a flood is applied once per frame.
constexpr int framePeriodMs = 16;

} // namespace

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
    badgeTimer = new QTimer(this);
    badgeTimer->setSingleShot(true);
    connect(badgeTimer, &QTimer::timeout, this, [this] {
        sinceBadgeRefresh.start();
        dockModel->refreshBadges();
    });
    subscriptions.push_back(launcherEntries->changed.add([this](const QString&) { scheduleBadgeRefresh(); }));
    // Badges change no layout and no window's clearance: only the badge layers redraw.
    subscriptions.push_back(dockModel->onBadgesChange.add([this] {
        for (auto& dock : dockControllers)
            dock->dockView().reloadBadges();
    }));

    // Programs that published before the dock started.
    std::vector<LauncherEntries::RunningApplication> running;
    for (const DockItem& item : dockModel->items()) {
        const auto& app = item.runningApplication;
        if (app && app->processIdentifier && app->bundleIdentifier)
            running.push_back({*app->bundleIdentifier, *app->processIdentifier});
    }
    launcherEntries->query(running);
}

void AppDelegate::scheduleBadgeRefresh()
{
    if (badgeTimer->isActive())
        return;
    const qint64 since = sinceBadgeRefresh.isValid() ? sinceBadgeRefresh.elapsed() : framePeriodMs;
    badgeTimer->start(int(std::max<qint64>(0, framePeriodMs - since)));
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
