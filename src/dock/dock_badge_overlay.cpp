#include "dock/dock_badge_overlay.h"

namespace wharf {

void DockBadgeOverlay::redisplay(const std::vector<DockTile*>&) {}

} // namespace wharf
