#include "dock/dock_frame_clock.h"

#include <algorithm>
#include <cmath>

namespace wharf {

void DockFrameClock::start(double now, double refreshRate)
{
    const double rate = std::isfinite(refreshRate) ? std::max(60.0, refreshRate) : 60.0;
    framePeriod = 1.0 / rate;
    deadline = now;
}

int DockFrameClock::nextInterval(double now)
{
    deadline += framePeriod;
    // A tick that came late by whole frames skips them rather than firing them back to back.
    if (deadline <= now)
        deadline += std::ceil((now - deadline) / framePeriod + 1e-9) * framePeriod;
    return std::max(1, int(std::lround((deadline - now) * 1000)));
}

DockFrameClock::InputStep DockFrameClock::input(double now, double lastFrame)
{
    // The timer waits a little over a frame after the last one, so input arriving each frame keeps
    // it from firing at all. Input a moment after a timer frame hands the cadence back the same
    // way: otherwise, once one input is late, the timer keeps firing just before each one and both
    // wake the dock every frame until their phases drift a whole frame apart.
    const bool draw = now - lastFrame >= 0.8 * framePeriod;
    const double from = draw ? now : lastFrame;
    deadline = from + framePeriod;
    return {draw, std::max(1, int(std::lround((from + 1.25 * framePeriod - now) * 1000)))};
}

} // namespace wharf
