#pragma once

#include <optional>

namespace wharf {

// The divider: the resize handle on the separator. While it is dragged (a resize session) it
// chooses the centre of magnification and the row snaps instead of easing; it moves down with
// the dock.
class DockDivider {
public:
    bool resizing() const { return false; }
    // Fraction of the resting shelf's width where magnification centres during a session.
    std::optional<double> magnificationPosition() const { return std::nullopt; }
    // Follows the separator, moved down by `offset` points.
    void place(double offset);
};

} // namespace wharf
