// The tick's spacing: the average rate follows the display, whole-millisecond timers or not.
#include "dock/dock_frame_clock.h"

#include <gtest/gtest.h>

#include <cmath>

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

TEST(DockFrameClock, AverageRateFollowsTheDisplay)
{
    const struct {
        const char* name;
        double refreshRate;
        double expectedRate;
    } rows[] = {
        {"60 Hz", 60, 60},
        {"59.94 Hz rounds up to the 60 floor", 59.94, 60},
        {"144 Hz", 144, 144},
        {"unknown rate", std::nan(""), 60},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const int ticks = int(row.expectedRate) * 10;
        EXPECT_NEAR(elapsedFor(row.refreshRate, ticks), 10.0, 0.002);
    }
}

TEST(DockFrameClock, ALateTickKeepsToTheFrameGrid)
{
    DockFrameClock clock;
    clock.start(0, 60);
    // The tick comes 3.5 frames late: the next one waits for the following frame instead of
    // firing the missed ones back to back.
    const double late = 3.5 / 60;
    const int interval = clock.nextInterval(late);
    EXPECT_GE(interval, 1);
    const double next = late + interval / 1000.0;
    EXPECT_NEAR(next * 60, std::round(next * 60), 0.06) << "on a frame boundary";
    EXPECT_LE(interval, 17);
}

TEST(DockFrameClock, InputEachFrameDrawsTheFramesAndKeepsTheTimerFromFiring)
{
    DockFrameClock clock;
    clock.start(0, 60);
    const double period = clock.period();
    // Input a little slower than the display, as xdotool or a 60 Hz pointer gives it, at an
    // uneven pace, with one event lost. The timer draws the frame after the lost one; the input
    // must draw the rest instead of arriving just after the timer's frame each time.
    double timerFires = clock.nextInterval(0) / 1000.0;
    double lastFrame = 0;
    int timerFrames = 0;
    int wakeups = 0;
    double input = 0;
    for (int event = 1; event <= 120; ++event) {
        input += period * (event % 2 ? 1.0 : 1.05);
        if (event == 30)
            continue;
        for (; timerFires <= input; ++timerFrames, ++wakeups) {
            lastFrame = timerFires;
            timerFires += clock.nextInterval(timerFires) / 1000.0;
        }
        const auto step = clock.input(input, lastFrame);
        ++wakeups;
        if (step.draw) {
            EXPECT_GE(input - lastFrame, 0.75 * period) << "a second frame within one";
            lastFrame = input;
        }
        timerFires = input + step.interval / 1000.0;
    }
    EXPECT_LE(timerFrames, 2);
    EXPECT_LE(wakeups, 123);

    // Input stops: the timer takes over on the frame grid from the last frame drawn.
    const double fired = timerFires;
    const double next = fired + clock.nextInterval(fired) / 1000.0;
    EXPECT_NEAR((next - lastFrame) / period, 2.0, 0.07);
}

} // namespace
} // namespace wharf
