#include "e2e_session.h"

#include <gtest/gtest.h>

using wharf::e2e::E2eOptions;
using wharf::e2e::E2eSession;

// The harness itself: what a broken session would not make every other test fail on.
TEST(E2eSession, HonoursItsOptionsAndKeepsTheCallersDesktopOut)
{
    // What the caller's desktop would otherwise hand down to every program of the session.
    qputenv("XDG_CONFIG_HOME", "/callers/config");
    qputenv("QT_SCALE_FACTOR", "3");
    E2eOptions options;
    options.screen = QSize(1024, 768);
    options.windowManager = false;
    options.compositor = false;
    E2eSession session(options);
    qunsetenv("XDG_CONFIG_HOME");
    qunsetenv("QT_SCALE_FACTOR");
    WHARF_REQUIRE_SESSION(session);

    EXPECT_TRUE(session.environment().value("HOME").startsWith(session.root()));
    EXPECT_EQ(session.environment().value("XDG_CONFIG_HOME"), session.configHome());
    EXPECT_FALSE(session.environment().contains("QT_SCALE_FACTOR"));
    EXPECT_EQ(session.environment().value("DISPLAY"), session.display());
    EXPECT_EQ(session.xprop({"-root", "_NET_SUPPORTING_WM_CHECK"}).indexOf("window id"), -1);
    EXPECT_EQ(session.screenshot().size(), QSize(1024, 768));
}

TEST(E2eSession, TeardownStopsEverythingItStarted)
{
    pid_t xtermPid = 0;
    {
        E2eSession session;
        WHARF_REQUIRE_SESSION(session);
        // A shell that forks a grandchild: the process group is what teardown must reach.
        session.start("sh", {"-c", "xterm -geometry 20x5+0+0 & wait"});
        ASSERT_TRUE(session.waitForClientWindow("xterm"));
        const auto windows = session.clientWindows("xterm");
        ASSERT_FALSE(windows.empty());
        const QString pid = session.xprop({"-id", QString::number(windows.front()), "_NET_WM_PID"});
        xtermPid = pid.section('=', 1).trimmed().toInt();
        ASSERT_GT(xtermPid, 0) << pid.toStdString();
        ASSERT_TRUE(E2eSession::processAlive(xtermPid));
    }
    EXPECT_TRUE(E2eSession::waitFor([&] { return !E2eSession::processAlive(xtermPid); }, 3000));
}
