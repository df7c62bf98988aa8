#pragma once

#include "trash/trash_state.h"

#include <functional>

namespace wharf {

class DockPreferences;
class Workspace;

// `wharf --list-items`: builds the dock model against `workspace` once and prints its items in
// dock order, one JSON object per line. `failed` is asked once the model is built (a lost
// display connection, for example); `trashState` tells the Trash tile what to show. Returns the
// process exit code.
int runListItems(Workspace& workspace, DockPreferences& preferences, const std::function<bool()>& failed,
                 const std::function<TrashState()>& trashState = {});

} // namespace wharf
