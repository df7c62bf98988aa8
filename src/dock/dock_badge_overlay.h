#pragma once

#include <vector>

namespace wharf {

class DockTile;

// The badges drawn above the tiles (counts, progress, attention). Redrawn whenever the row is.
class DockBadgeOverlay {
public:
    void redisplay(const std::vector<DockTile*>& tiles);
};

} // namespace wharf
