#pragma once

#include <limits>

namespace wharf {

// Auto-hide and the full-screen overlay dock: how far the dock is hidden and whether it takes
// part in the tick at all. The tick first tells it whether its display shows a full-screen
// window, then lets it move `hiddenAmount` toward its target from the pointer and the
// conditions that keep the dock shown.
class DockAutoHide {
public:
    // Where a hiding dock stands after the last interaction, in seconds.
    static constexpr double hideDelay = 0.8;

    explicit DockAutoHide(bool fullScreenOverlay) : overlay(fullScreenOverlay) {}

    // The display entered or left a full-screen space; true when that changed anything. The
    // overlay dock enters fully hidden and waits for the pointer at the screen edge.
    bool setFullScreen(bool inFullScreen);
    bool isInFullScreenSpace() const { return fullScreen; }

    // The normal dock off full-screen displays, the overlay dock on them. An inactive dock
    // feels neither hover nor the edge and takes no mouse.
    bool active() const { return overlay == fullScreen; }
    // False while the dock has nothing to do this step (the overlay outside a full-screen space).
    bool takesPart() const { return !overlay || fullScreen; }

    struct Step {
        double now = 0;      // monotonic seconds
        double dt = 0;       // since the previous step, at most 0.1
        bool hides = false;  // the autoHide setting (the overlay dock always hides)
        bool inside = false; // the pointer is in the hover zone
        bool edge = false;   // the pointer is in the strip along the screen edge
        bool keepShown = false; // a stack, menu, drag, keyboard selection or divider session
    };
    // Keeps the dock shown for the hide delay from `now` (creation, a drag over the dock).
    void interacted(double now) { lastInteraction = now; }

    // Moves hiddenAmount toward its target; true while it has not reached it.
    bool advance(const Step& step);

    // True when the tick must go on although nothing moved: a shown dock counting down to hide.
    // A dock held by the pointer or a menu waits for the event that ends the hold instead.
    bool keepsTicking() const { return counting; }

    double hiddenAmount() const { return hidden; }
    double target() const { return goal; }

private:
    bool overlay = false;
    bool fullScreen = false;
    bool awaitingEdge = false;
    bool held = false;     // the last step found the dock held shown
    bool counting = false; // the last step waits for the hide delay to run out
    double hidden = 0;     // 0 = fully shown, 1 = fully hidden
    double goal = 0;
    double lastInteraction = -std::numeric_limits<double>::infinity();
};

} // namespace wharf
