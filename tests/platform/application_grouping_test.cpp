#include "platform/x11/application_grouping.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace wharf {
namespace {

WindowFacts window(quint32 id, const QString& key, std::optional<pid_t> pid, std::optional<quint64> start = {})
{
    return {.window = id, .groupKey = key, .pid = pid, .startTime = start, .executable = "/usr/bin/" + key,
            .wmInstance = {}, .wmClass = key.toUpper()};
}

QStringList keys(const std::vector<RunningApplication>& apps)
{
    QStringList result;
    for (const auto& app : apps)
        result << app.key;
    return result;
}

// The order must not depend on the window manager's list, which a restart reshuffles:
// every permutation of the input gives the same applications in the same order. (Oldest first
// across a window manager restart is checked with real clients by the workspace end-to-end test.)
TEST(GroupingOrder, IsTheSameWhateverTheWindowManagerListOrder)
{
    const struct {
        const char* name;
        std::vector<WindowFacts> windows;
        QStringList expected;
    } rows[] = {
        {"an application is as old as its oldest process",
         {window(1, "a", 10, 500), window(2, "b", 20, 200), window(3, "a", 11, 100)}, {"a", "b"}},
        {"without a pid after, and by lowest window",
         {window(0x900, "late", std::nullopt), window(0x300, "early", std::nullopt), window(0x500, "known", 5, 999999)},
         {"known", "early", "late"}},
        {"same start time by lowest window", {window(0x20, "b", 2, 7), window(0x10, "a", 1, 7)}, {"a", "b"}},
    };
    const auto byWindow = [](const WindowFacts& a, const WindowFacts& b) { return a.window < b.window; };
    for (const auto& row : rows) {
        std::vector<WindowFacts> windows = row.windows;
        std::sort(windows.begin(), windows.end(), byWindow);
        do {
            EXPECT_EQ(keys(groupApplications(windows, 0)), row.expected) << row.name;
        } while (std::next_permutation(windows.begin(), windows.end(), byWindow));
    }
}

// Interpreted programs as tiles of their own, names and locations, and a window without a pid
// are checked against real clients by the workspace end-to-end test.
TEST(GroupApplications, WindowsOfOneKeyAreOneApplicationWithTheFocusedWindowsProcessOrTheOneKnown)
{
    auto first = window(1, "editor", 10, 1);
    auto second = window(2, "editor", 11, 2);
    second.focusSequence = 5;
    second.hidden = true;
    auto palette = window(3, "editor", 12, 3);
    palette.regular = false; // not a task bar window: its state does not count
    palette.urgent = true;   // but its request for attention does
    const auto apps = groupApplications({first, second, palette}, 2);
    ASSERT_EQ(apps.size(), 1u);
    EXPECT_EQ(apps[0].processIdentifier, 11);
    EXPECT_EQ(apps[0].windows, (std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_TRUE(apps[0].isActive);
    EXPECT_TRUE(apps[0].demandsAttention);
    EXPECT_FALSE(groupApplications({first}, 0)[0].demandsAttention);
    EXPECT_FALSE(apps[0].isHidden) << "one regular window is still shown";
    EXPECT_TRUE(apps[0].isRegular);

    auto onlyPanel = window(4, "panel", 20, 4);
    onlyPanel.regular = false;
    onlyPanel.hidden = true;
    const auto panel = groupApplications({onlyPanel}, 0);
    EXPECT_FALSE(panel[0].isRegular);
    EXPECT_TRUE(panel[0].isHidden);

    auto unknown = window(5, "mixed", std::nullopt);
    unknown.focusSequence = 9;
    EXPECT_EQ(groupApplications({unknown, window(6, "mixed", 42, 1)}, 0)[0].processIdentifier, 42)
        << "the focused window does not know its pid; the other does";
}

RunningApplicationRef snapshot(const QString& key, bool active = false, bool hidden = false, bool asks = false,
                               std::vector<std::uint32_t> windows = {})
{
    RunningApplication app;
    app.key = key;
    app.windows = std::move(windows);
    app.isActive = active;
    app.isHidden = hidden;
    app.demandsAttention = asks;
    return std::make_shared<const RunningApplication>(app);
}

// A quit or a hide on its own is reported by the live workspace end-to-end test.
TEST(ApplicationChange, LaunchesAndQuitsOutrankTheRest)
{
    using N = WorkspaceNotification;
    const std::vector<RunningApplicationRef> before{snapshot("a"), snapshot("b", true)};
    const struct {
        const char* name;
        std::vector<RunningApplicationRef> after;
        std::optional<N> expected;
    } rows[] = {
        {"nothingChanged", {snapshot("a"), snapshot("b", true)}, std::nullopt},
        {"launchAndQuitTogether", {snapshot("b"), snapshot("c")}, N::didLaunchApplication},
        {"hiddenAndActivated", {snapshot("a", true), snapshot("b", false, true)}, N::didActivateApplication},
        {"reordered", {snapshot("b", true), snapshot("a")}, N::didActivateApplication},
        {"asksForAttention", {snapshot("a", false, false, true), snapshot("b", true)}, N::didActivateApplication},
        {"anotherWindow", {snapshot("a", false, false, false, {7}), snapshot("b", true)}, N::didActivateApplication},
    };
    for (const auto& row : rows) {
        std::vector<RunningApplication> after;
        for (const auto& app : row.after)
            after.push_back(*app);
        EXPECT_EQ(applicationChange(before, after), row.expected) << row.name;
    }
    EXPECT_EQ(applicationChange({snapshot("a", false, true)}, {*snapshot("a")}), N::didUnhideApplication);
}

TEST(ChooseNotification, OnePerTurnAndMountsWin)
{
    using N = WorkspaceNotification;
    const struct {
        const char* name;
        TurnEvents events;
        std::optional<N> expected;
    } rows[] = {
        {"nothing", {}, std::nullopt},
        {"mountBeatsEverything", {true, true, true, true, N::didLaunchApplication}, N::didMount},
        {"unmountBeatsApplications", {false, true, false, false, N::didTerminateApplication}, N::didUnmount},
        {"locationsBeatApplications", {false, false, true, true, N::didHideApplication}, N::didChangeLocations},
        {"applicationsBeatWake", {false, false, false, true, N::didHideApplication}, N::didHideApplication},
        {"wake", {false, false, false, true, std::nullopt}, N::didWake},
    };
    for (const auto& row : rows)
        EXPECT_EQ(chooseNotification(row.events), row.expected) << row.name;
}

} // namespace
} // namespace wharf
