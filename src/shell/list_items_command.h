#pragma once

namespace wharf {

// `wharf --list-items`: builds the dock model against the real desktop once and prints
// its items in dock order, one JSON object per line. Returns the process exit code.
int runListItems(int argc, char** argv);

} // namespace wharf
