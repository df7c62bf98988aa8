#pragma once

namespace wharf {

// Auto-hide and the full-screen overlay dock: how far the dock is hidden and whether the overlay
// takes part in the tick at all. The tick asks it first, then lets it move `hiddenAmount`
// toward its target from the hover state.
class DockAutoHide {
public:
    explicit DockAutoHide(bool fullScreenOverlay) : overlay(fullScreenOverlay) {}

    // False while the dock has nothing to do this step (the overlay outside a full-screen space).
    bool takesPart() const { return !overlay; }
    // True when the tick must not return early even though nothing moved (a hiding dock watches
    // the pointer and the clock).
    bool keepsTicking() const { return false; }
    // Moves hiddenAmount toward its target; true while it has not reached it.
    bool advance(double dt, bool pointerInside);

    double hiddenAmount() const { return hidden; }

private:
    bool overlay = false;
    double hidden = 0; // 0 = fully shown, 1 = fully hidden
};

} // namespace wharf
