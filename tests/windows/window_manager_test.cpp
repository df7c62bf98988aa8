#include "windows/window_manager.h"

#include "doubles/fake_window_control.h"
#include "support/wait_for.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

ClientWindow client(std::uint32_t id, pid_t pid, std::optional<QString> title, bool minimized = false,
                    QString className = {})
{
    return {id, pid, std::move(title), std::move(className), minimized};
}

TEST(WindowManagerRead, TitlesOwnerNamesAndAtMost128WindowsOfOneProgramInOrder)
{
    struct Row {
        const char* name;
        ClientWindow window;
        QString title;
        QString appName;
    };
    const std::vector<WindowOwner> owners{{"term", "Terminal", {10}, {}}, {"calc", "Calc", {}, {5, 8}}};
    const std::vector<Row> rows{
        {"trimmed", client(1, 10, "\n  Report\t \r\n"), "Report", "Terminal"},
        {"blank title takes the program's name", client(2, 10, " \n "), "Terminal", "Terminal"},
        {"no title", client(3, 10, std::nullopt), "Terminal", "Terminal"},
        {"unknown owner is named by its class", client(4, 99, std::nullopt, false, "XTerm"), "XTerm", "XTerm"},
        {"no owner, no class", client(6, 98, "x"), "x", "Application"},
        {"no pid: its program lists it", client(5, 0, std::nullopt, false, "XCalc"), "Calc", "Calc"},
        {"listed by another program than its pid's", client(8, 10, std::nullopt), "Calc", "Calc"},
    };
    for (const Row& row : rows) {
        const auto read = WindowManager::readWindows({row.window}, owners);
        ASSERT_EQ(read.size(), 1u) << row.name;
        EXPECT_EQ(read[0].title, row.title) << row.name;
        EXPECT_EQ(read[0].appName, row.appName) << row.name;
        EXPECT_EQ(read[0].id, row.window.id) << row.name;
    }

    std::vector<ClientWindow> windows;
    for (std::uint32_t i = 0; i < 200; ++i)
        windows.push_back(client(1000 + i, 10, "w"));
    windows.insert(windows.begin() + 150, client(7, 20, "other"));
    const auto read = WindowManager::readWindows(windows, {});
    ASSERT_EQ(read.size(), 129u);
    EXPECT_EQ(read[127].id, 1127u);
    EXPECT_EQ(read.back().id, 7u) << "another program's window still counts";
}

class WindowManagerTest : public ::testing::Test {
protected:
    FakeWindowControl control;
    WindowManager manager{control};
    std::vector<QString> reported;

    void SetUp() override
    {
        manager.onIntegrationError = [this](const QString& message) { reported.push_back(message); };
        manager.owners = [] { return std::vector<WindowOwner>{{"term", "Terminal", {10}, {}}}; };
    }
};

// Which windows a scan delivers (the minimized ones, in the window manager's order) is the window
// control end-to-end test's; here, a request made while a scan runs is dropped.
TEST_F(WindowManagerTest, ARequestWhileAScanRunsIsDropped)
{
    control.setWindows({client(1, 10, "a", true)});
    int answers = 0;
    manager.scan([&](std::vector<DockWindow>) { ++answers; });
    manager.scan([&](std::vector<DockWindow>) { ADD_FAILURE() << "a dropped request got an answer"; });
    ASSERT_TRUE(waitFor([&] { return answers > 0; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(control.state->reads, 1);
    EXPECT_FALSE(manager.scanInFlight());
}

// Restoring, raising and minimizing real windows is the window control end-to-end test's; what
// the user hears when the window has closed or the window system refuses is checked here.
TEST_F(WindowManagerTest, FailuresAndClosedWindowsAreReportedInWords)
{
    manager.focus(DockWindow{9, "Old", "term", "Terminal", true});
    EXPECT_TRUE(control.activated.empty()) << "a closed window is left alone";

    control.setWindows({client(1, 10, "Shell", true), client(2, 10, "Log")});
    const auto windows = manager.windows("term");
    ASSERT_EQ(windows.size(), 2u);
    control.failure = WindowControlFailure{WindowControlFailure::Kind::noResponse, 0};
    manager.focus(windows[0]);
    manager.focus(windows[1]);
    control.failure = WindowControlFailure{WindowControlFailure::Kind::other, 42};
    manager.minimize(windows[1]);
    const std::vector<QString> expected{
        "“Terminal” has closed. Its window is no longer available.",
        "Could not restore “Shell”: the application did not respond.",
        "Could not bring “Log” forward: the application did not respond.",
        "Could not minimize “Log”: the system reported a window error 42.",
    };
    EXPECT_EQ(reported, expected);
    EXPECT_EQ(manager.lastError, expected.back());

    control.failure.reset();
    manager.minimize(windows[1]);
    EXPECT_FALSE(manager.lastError) << "a successful action clears the last error";
}

} // namespace
} // namespace wharf
