#include "platform/x11/application_grouping.h"

#include <QFileInfo>
#include <QHash>

#include <algorithm>

namespace wharf {

namespace {

struct Group {
    std::vector<const WindowFacts*> windows;
    std::optional<quint64> startTime;
    quint32 lowestWindow = 0;
};

// An unmatched program run by an interpreter or runtime is known by its window class:
// the interpreter is shared by unrelated programs.
std::optional<QString> unmatchedLocation(const std::vector<const WindowFacts*>& windows)
{
    for (const WindowFacts* facts : windows) {
        if (facts->executable.isEmpty())
            continue;
        if (!facts->interpreted)
            return facts->executable;
        const QString name = !facts->wmClass.isEmpty() ? facts->wmClass : facts->wmInstance;
        return name.isEmpty() ? facts->executable : facts->executable + QLatin1Char('#') + name;
    }
    return std::nullopt;
}

RunningApplication makeApplication(const QString& key, const Group& group, quint32 activeWindow)
{
    RunningApplication app;
    app.key = key;
    const WindowFacts* focus = group.windows.front();
    bool anyRegular = false;
    bool allRegularHidden = true;
    for (const WindowFacts* facts : group.windows) {
        app.windows.push_back(facts->window);
        app.isActive = app.isActive || facts->window == activeWindow;
        app.demandsAttention = app.demandsAttention || facts->urgent;
        if (facts->focusSequence > focus->focusSequence)
            focus = facts;
        if (facts->regular) {
            anyRegular = true;
            allRegularHidden = allRegularHidden && facts->hidden;
        }
    }
    app.isRegular = anyRegular;
    app.isHidden = anyRegular ? allRegularHidden
                              : std::all_of(group.windows.begin(), group.windows.end(),
                                            [](const WindowFacts* f) { return f->hidden; });
    app.processIdentifier = focus->pid;
    for (const WindowFacts* facts : group.windows) {
        if (!facts->pid)
            continue;
        if (!app.processIdentifier)
            app.processIdentifier = facts->pid;
        if (std::find(app.processIdentifiers.begin(), app.processIdentifiers.end(), *facts->pid)
            == app.processIdentifiers.end())
            app.processIdentifiers.push_back(*facts->pid);
    }

    if (const DesktopEntryRecord* entry = focus->entry) {
        app.bundleLocation = entry->path;
        app.bundleIdentifier = entry->id;
        app.localizedName = entry->name;
    } else {
        app.bundleLocation = unmatchedLocation(group.windows);
        app.localizedName = !focus->wmClass.isEmpty()    ? focus->wmClass
            : !focus->wmInstance.isEmpty()               ? focus->wmInstance
            : app.bundleLocation                         ? QFileInfo(*app.bundleLocation).fileName()
                                                         : QString();
    }
    return app;
}

} // namespace

std::vector<RunningApplication> groupApplications(const std::vector<WindowFacts>& windows, quint32 activeWindow)
{
    std::vector<QString> keys;
    QHash<QString, Group> groups;
    for (const WindowFacts& facts : windows) {
        if (facts.groupKey.isEmpty())
            continue;
        auto it = groups.find(facts.groupKey);
        if (it == groups.end()) {
            keys.push_back(facts.groupKey);
            it = groups.insert(facts.groupKey, Group{{}, std::nullopt, facts.window});
        }
        Group& group = *it;
        group.windows.push_back(&facts);
        group.lowestWindow = std::min(group.lowestWindow, facts.window);
        if (facts.startTime && (!group.startTime || *facts.startTime < *group.startTime))
            group.startTime = facts.startTime;
    }
    std::stable_sort(keys.begin(), keys.end(), [&](const QString& a, const QString& b) {
        const Group& ga = groups[a];
        const Group& gb = groups[b];
        if (ga.startTime.has_value() != gb.startTime.has_value())
            return ga.startTime.has_value();
        if (ga.startTime && *ga.startTime != *gb.startTime)
            return *ga.startTime < *gb.startTime;
        return ga.lowestWindow < gb.lowestWindow;
    });
    std::vector<RunningApplication> applications;
    applications.reserve(keys.size());
    for (const QString& key : keys)
        applications.push_back(makeApplication(key, groups[key], activeWindow));
    return applications;
}

std::optional<WorkspaceNotification> applicationChange(const std::vector<RunningApplicationRef>& before,
                                                       const std::vector<RunningApplication>& after)
{
    QHash<QString, const RunningApplication*> old;
    for (const auto& app : before)
        old.insert(app->key, app.get());
    QHash<QString, bool> present;
    bool launched = false, activated = false, hid = false, unhid = false;
    bool same = before.size() == after.size();
    for (size_t i = 0; i < after.size(); ++i) {
        const RunningApplication& now = after[i];
        present.insert(now.key, true);
        const RunningApplication* was = old.value(now.key);
        if (!was) {
            launched = true;
            same = false;
            continue;
        }
        activated = activated || (now.isActive && !was->isActive);
        hid = hid || (now.isHidden && !was->isHidden);
        unhid = unhid || (!now.isHidden && was->isHidden);
        same = same && before[i]->key == now.key && was->processIdentifier == now.processIdentifier
            && was->isActive == now.isActive && was->isHidden == now.isHidden && was->isRegular == now.isRegular
            && was->demandsAttention == now.demandsAttention && was->windows == now.windows
            && was->bundleLocation == now.bundleLocation && was->localizedName == now.localizedName
            && was->icon.cacheKey() == now.icon.cacheKey();
    }
    const bool terminated = std::any_of(before.begin(), before.end(),
                                        [&](const RunningApplicationRef& app) { return !present.contains(app->key); });
    if (launched)
        return WorkspaceNotification::didLaunchApplication;
    if (terminated)
        return WorkspaceNotification::didTerminateApplication;
    if (same)
        return std::nullopt;
    if (activated)
        return WorkspaceNotification::didActivateApplication;
    if (hid)
        return WorkspaceNotification::didHideApplication;
    if (unhid)
        return WorkspaceNotification::didUnhideApplication;
    // A new name, icon or order: any refresh will do.
    return WorkspaceNotification::didActivateApplication;
}

std::optional<WorkspaceNotification> chooseNotification(const TurnEvents& events)
{
    if (events.mounted)
        return WorkspaceNotification::didMount;
    if (events.unmounted)
        return WorkspaceNotification::didUnmount;
    if (events.locationsChanged)
        return WorkspaceNotification::didChangeLocations;
    if (events.applicationChange)
        return events.applicationChange;
    if (events.woke)
        return WorkspaceNotification::didWake;
    return std::nullopt;
}

} // namespace wharf
