#pragma once

#include <functional>

namespace wharf {

class DockPreferences;
class Workspace;

// `wharf --list-items`: builds the dock model against `workspace` once and prints its items in
// dock order, one JSON object per line. `failed` is asked once the model is built (a lost
// display connection, for example). Returns the process exit code.
int runListItems(Workspace& workspace, DockPreferences& preferences, const std::function<bool()>& failed);

} // namespace wharf
