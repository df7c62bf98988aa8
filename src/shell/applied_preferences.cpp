#include "shell/applied_preferences.h"

#include "settings/dock_preferences.h"

namespace wharf {

AppliedPreferences AppliedPreferences::current(const DockPreferences& preferences)
{
    return {preferences.dockAppearance(), preferences.liveCalendarIcon(), preferences.alwaysEmptyTrashIcon(),
            preferences.allDisplays()};
}

PreferenceChangeActions AppliedPreferences::apply(const DockPreferences& preferences)
{
    PreferenceChangeActions actions;
    if (const auto appearance = preferences.dockAppearance(); appearance != dockAppearance) {
        dockAppearance = appearance;
        actions.refreshModel = true;
    }
    if (const bool live = preferences.liveCalendarIcon(); live != liveCalendarIcon) {
        liveCalendarIcon = live;
        actions.refreshModel = true;
    }
    if (const bool empty = preferences.alwaysEmptyTrashIcon(); empty != alwaysEmptyTrashIcon) {
        alwaysEmptyTrashIcon = empty;
        actions.refreshModel = true;
    }
    actions.rebuildDocks = preferences.allDisplays() != showsAllDisplays;
    return actions;
}

} // namespace wharf
