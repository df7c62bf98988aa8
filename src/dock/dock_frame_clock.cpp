#include "dock/dock_frame_clock.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace wharf {

void DockFrameClock::start(double now, double refreshRate)
{
    const double rate = std::isfinite(refreshRate) ? std::max(60.0, refreshRate) : 60.0;
    framePeriod = 1.0 / rate;
    slot = now;
}

void DockFrameClock::drewFrame(double now)
{
    // Slots follow one another a period apart, which keeps the average rate exact. A frame drawn
    // late (the main thread was busy, or the timer waited for input that did not come) leaves the
    // next most of a period, rather than drawing it at once or the missed ones back to back.
    slot = std::max(slot + framePeriod, now + 0.8 * framePeriod);
}

int DockFrameClock::nextInterval(double now)
{
    drewFrame(now);
    // While input was drawing frames the timer keeps waiting a little past the slot, so that input
    // that was only late takes the cadence back (see input()).
    const double wait = std::exchange(inputDrew, false) ? 0.25 * framePeriod : 0;
    return std::max(1, int(std::lround((slot + wait - now) * 1000)));
}

DockFrameClock::InputStep DockFrameClock::input(double now)
{
    // Input a little before the slot draws it, so that a pointer moving at about the display's
    // rate, unevenly, draws on its own events; a pointer reporting a thousand times a second
    // still draws once a slot.
    const bool draw = now >= slot - 0.2 * framePeriod;
    if (draw) {
        drewFrame(now);
        inputDrew = true;
    }
    // The timer waits a little past the slot, and past a period after input that drew, so input
    // arriving each frame keeps it from firing at all. Input a moment after a timer frame hands
    // the cadence back the same way: otherwise, once one input is late, the timer keeps firing
    // just before each one and both wake the dock every frame until their phases drift a whole
    // frame apart.
    const double wait = (draw ? std::max(slot, now + framePeriod) : slot) + 0.25 * framePeriod;
    return {draw, std::max(1, int(std::lround((wait - now) * 1000)))};
}

} // namespace wharf
