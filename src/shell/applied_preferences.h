#pragma once

#include "settings/dock_appearance.h"

namespace wharf {

class DockPreferences;

// What a preferences change asks of the delegate.
struct PreferenceChangeActions {
    bool refreshModel = false;
    bool rebuildDocks = false; // otherwise the docks are only laid out again
};

// The last applied values of the settings that need more than a re-layout, so that a change
// notification that changed none of them refreshes nothing.
struct AppliedPreferences {
    DockAppearance dockAppearance = DockAppearance::automatic;
    bool liveCalendarIcon = false;
    bool alwaysEmptyTrashIcon = false;
    bool showsAllDisplays = true; // kept by rebuildDocks

    static AppliedPreferences current(const DockPreferences& preferences);

    // Stores the new model-affecting values and says what to do about the change.
    PreferenceChangeActions apply(const DockPreferences& preferences);
};

} // namespace wharf
