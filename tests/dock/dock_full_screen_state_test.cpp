// Which displays show a full-screen window, and how often the stacking order is read.
#include "dock/dock_full_screen_state.h"
#include "doubles/fake_window_stacking.h"
#include "support/wait_for.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

const std::vector<DockFullScreenState::Display> twoDisplays{
    {"LEFT", QRect(0, 0, 1920, 1080)},
    {"RIGHT", QRect(1920, 0, 1920, 1080)},
};
const QString left = "LEFT", right = "RIGHT";

TEST(DockFullScreenState, TheTopmostWindowOfEachDisplayDecides)
{
    const StackedWindow leftFull{QRect(0, 0, 1920, 1080), true}, bothFull{QRect(0, 0, 3840, 1080), true},
        leftSmall{QRect(100, 100, 600, 400), false}, rightSmall{QRect(2000, 100, 600, 400), false},
        leftShort{QRect(0, 0, 1920, 1000), true}, straddling{QRect(1800, 100, 300, 300), false};
    const struct {
        const char* name;
        std::vector<StackedWindow> windows; // bottom to top
        std::set<QString> expected;
    } rows[] = {
        {"no windows", {}, {}},
        {"full screen, another display's window above it", {leftFull, rightSmall}, {left}},
        {"a window above it on the same display", {leftFull, leftSmall}, {}},
        {"full screen above an ordinary window", {leftSmall, leftFull}, {left}},
        {"full screen that leaves part of the display", {leftShort}, {}},
        {"a window straddling both displays on top", {bothFull, straddling}, {}},
        {"full screen over both displays", {bothFull}, {left, right}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DockFullScreenState::fullScreenDisplays(row.windows, twoDisplays), row.expected) << row.name;
}

TEST(DockFullScreenState, ReadsAtMostEveryIntervalButAtOnceOnADesktopOrDisplayChange)
{
    FakeWindowStacking stacking;
    double clock = 100;
    std::vector<DockFullScreenState::Display> displays = twoDisplays;
    DockFullScreenState state({&stacking, [&] { return displays; }, [&] { return clock; }});
    ASSERT_EQ(stacking.reads, 1) << "read once at creation";
    int notified = 0;
    const auto subscription = state.onChange.add([&] { ++notified; });

    stacking.windows = {{QRect(0, 0, 1920, 1080), true}};
    clock += 0.01;
    for (int i = 0; i < 5; ++i)
        stacking.changed.notify();
    EXPECT_EQ(stacking.reads, 1) << "a burst within the interval waits";
    ASSERT_TRUE(waitFor([&] { return stacking.reads == 2; }));
    EXPECT_TRUE(state.contains(left)) << "the burst ends in one read";

    stacking.windows.clear();
    stacking.desktopChanged.notify();
    EXPECT_EQ(stacking.reads, 3) << "a desktop change does not wait";
    EXPECT_FALSE(state.contains(left));

    // A display that goes away takes its full-screen state with it.
    stacking.windows = {{QRect(0, 0, 3840, 1080), true}};
    displays.pop_back();
    state.refresh();
    EXPECT_EQ(state.displays(), std::set<QString>{left});
    state.refresh();
    EXPECT_EQ(notified, 3) << "told only when the set changes";
}

} // namespace
} // namespace wharf
