// The tick's spacing: the average rate follows the display, whole-millisecond timers or not.
#include "dock/dock_frame_clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace wharf {
namespace {

// Runs `ticks` frames on a simulated clock that fires each timer exactly when asked.
double elapsedFor(double refreshRate, int ticks)
{
    DockFrameClock clock;
    double now = 100;
    clock.start(now, refreshRate);
    for (int i = 0; i < ticks; ++i)
        now += clock.nextInterval(now) / 1000.0;
    return now - 100;
}

TEST(DockFrameClock, AverageRateFollowsTheDisplayAndALateTickLeavesTheNextFrameMostOfAPeriod)
{
    // 59.94 Hz rounds up to the 60 floor; an unknown rate counts as 60.
    const std::pair<double, double> rates[] = {{59.94, 60}, {144, 144}, {std::nan(""), 60}};
    for (const auto& [refreshRate, expectedRate] : rates)
        EXPECT_NEAR(elapsedFor(refreshRate, int(expectedRate) * 10), 10.0, 0.002) << refreshRate;

    DockFrameClock clock;
    clock.start(0, 60);
    // The tick comes 3.5 frames late: the missed frames are not fired back to back, and the
    // next one is not drawn at once either.
    const int interval = clock.nextInterval(3.5 / 60);
    EXPECT_GE(interval, 13);
    EXPECT_LE(interval, 17);
}

// Feeds input at the given times to a clock whose timer fires exactly when asked; counts the
// frames each draws and every wakeup, and checks that no two frames come within half a period.
struct Frames {
    int onInput = 0;
    int byTimer = 0;
    int wakeups = 0;
    double last = -1;
    double timerFires = 0;
};
Frames feed(DockFrameClock& clock, const std::vector<double>& inputs)
{
    Frames run;
    clock.start(0, 60);
    const auto frame = [&](double at) {
        EXPECT_GE(at - run.last, 0.5 * clock.period()) << "a second frame within one, at " << at;
        run.last = at;
    };
    for (const double input : inputs) {
        for (; run.timerFires <= input; ++run.byTimer, ++run.wakeups) {
            frame(run.timerFires);
            run.timerFires += clock.nextInterval(run.timerFires) / 1000.0;
        }
        const auto step = clock.input(input);
        ++run.wakeups;
        if (step.draw) {
            frame(input);
            ++run.onInput;
        }
        run.timerFires = input + step.interval / 1000.0;
    }
    return run;
}

TEST(DockFrameClock, InputDrawsTheFramesAtTheDisplaysRateAndKeepsTheTimerFromFiring)
{
    DockFrameClock clock;
    const double period = 1.0 / 60;
    // Input a little slower than the display, as xdotool or a 60 Hz pointer gives it, at an
    // uneven pace, with one event lost. After the timer draws the lost one's frame, the input
    // must draw the rest instead of arriving just after the timer's frame each time.
    std::vector<double> inputs{0.001};
    for (int event = 1; event < 120; ++event)
        inputs.push_back(inputs.back() + period * (event % 2 ? 0.95 : 1.1));
    inputs.erase(inputs.begin() + 30);
    Frames run = feed(clock, inputs);
    EXPECT_LE(run.byTimer, 2) << "the first frame, at once, and the lost input's";
    EXPECT_LE(run.wakeups, 121);

    // Input stops: the timer takes over about a period apart, after waiting a little for more.
    const double fired = run.timerFires;
    const double next = fired + clock.nextInterval(fired) / 1000.0;
    EXPECT_NEAR((fired - run.last) / period, 1.25, 0.07);
    EXPECT_NEAR((next - fired) / period, 1.0, 0.1);

    // A pointer reporting a thousand times a second still draws 60 frames a second.
    inputs.clear();
    for (int ms = 1; ms <= 2000; ++ms)
        inputs.push_back(ms / 1000.0);
    run = feed(clock, inputs);
    EXPECT_NEAR(run.onInput + run.byTimer, 120, 2);
}

} // namespace
} // namespace wharf
