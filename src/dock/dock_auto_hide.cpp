#include "dock/dock_auto_hide.h"

namespace wharf {

bool DockAutoHide::advance(double, bool) { return false; }

} // namespace wharf
