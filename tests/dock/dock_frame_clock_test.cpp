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

TEST(DockFrameClock, FramesOnInputEachFrameKeepTheTimerFromFiring)
{
    DockFrameClock clock;
    clock.start(0, 60);
    const double period = clock.period();
    EXPECT_FALSE(clock.frameDueOnInput(period / 2, 0)) << "no second frame within one";
    double last = 0;
    for (int frame = 1; frame <= 20; ++frame) {
        // Input at a mouse's uneven pace around the frame rate.
        const double input = last + period * (frame % 2 ? 0.95 : 1.1);
        ASSERT_TRUE(clock.frameDueOnInput(input, last)) << frame;
        const double timerFires = input + clock.drewOnInput(input) / 1000.0;
        EXPECT_GT(timerFires, input + 1.1 * period) << "the timer would wake before the next input";
        last = input;
    }
    // Input stops: the timer takes over on the frame grid from the last frame drawn.
    const double fired = last + clock.drewOnInput(last) / 1000.0;
    const double next = fired + clock.nextInterval(fired) / 1000.0;
    EXPECT_NEAR((next - last) / period, 2.0, 0.07);
}

} // namespace
} // namespace wharf
