#pragma once

#include "trash/trash_state.h"

#include <QString>

#include <functional>

namespace wharf {

class Workspace;

// `wharf --list-items`: builds the dock model against `workspace` once from the settings at
// `storePath` and prints its items in dock order, one JSON object per line. It only reads: the
// settings file (and the pins in it) stays byte for byte as it was, an absent one stays absent.
// `failed` is asked once the model is built (a lost display connection, for example);
// `trashState` tells the Trash tile what to show. Returns the process exit code.
int runListItems(Workspace& workspace, const QString& storePath, const std::function<bool()>& failed,
                 const std::function<TrashState()>& trashState = {});

} // namespace wharf
