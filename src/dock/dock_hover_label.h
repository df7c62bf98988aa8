#pragma once

#include <optional>
#include <vector>

namespace wharf {

class DockTile;

// The name label above the hovered tile. The tick hands it the hovered index each step.
class DockHoverLabel {
public:
    void show(std::optional<int> hovered, const std::vector<DockTile*>& tiles);
};

} // namespace wharf
