#include "dock/dock_auto_hide.h"

#include <cmath>
#include <limits>

namespace wharf {

namespace {

constexpr double mostlyHidden = 0.8; // from here on only the edge strip reveals the dock
constexpr double snap = 0.005;
constexpr double keptPerFrame = 0.82; // of the remaining distance, at 60 frames per second

} // namespace

bool DockAutoHide::setFullScreen(bool inFullScreen)
{
    if (inFullScreen == fullScreen)
        return false;
    fullScreen = inFullScreen;
    awaitingEdge = inFullScreen && overlay;
    lastInteraction = -std::numeric_limits<double>::infinity();
    held = false;
    if (overlay) {
        hidden = 1;
        goal = 1;
    }
    return true;
}

bool DockAutoHide::advance(const Step& step)
{
    const bool hides = overlay || step.hides;
    // A hold lasts until the step that sees it end: nothing ticks while the pointer rests on a
    // shown dock or a menu is open, and the delay counts from the moment the hold ended.
    if (held)
        lastInteraction = step.now;
    const bool edge = active() && step.edge;
    const bool inside = active() && step.inside;
    if (step.keepShown || edge)
        awaitingEdge = false;
    held = false;
    if (!awaitingEdge) {
        held = step.keepShown || (inside && hidden < mostlyHidden) || (edge && hidden >= mostlyHidden);
        if (held)
            lastInteraction = step.now;
    }

    if (!hides)
        goal = 0;
    else if (awaitingEdge)
        goal = 1;
    else
        goal = step.now - lastInteraction <= hideDelay ? 0 : 1;

    hidden += (goal - hidden) * (1 - std::pow(keptPerFrame, 60 * step.dt));
    if (std::abs(goal - hidden) <= snap)
        hidden = goal;
    counting = hides && goal == 0 && !held;
    return hidden != goal;
}

} // namespace wharf
