#pragma once

namespace wharf {

// Draws the shelf, reflections and tiles of a dock view from cached pixmaps.
class DockViewPainter {
public:
    DockViewPainter() = default;
};

} // namespace wharf
