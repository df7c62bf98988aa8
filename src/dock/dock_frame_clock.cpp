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

int DockFrameClock::drewOnInput(double now)
{
    deadline = now + framePeriod;
    return std::max(1, int(std::lround(1.25 * framePeriod * 1000)));
}

} // namespace wharf
