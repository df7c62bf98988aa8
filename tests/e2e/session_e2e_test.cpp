#include "e2e_session.h"
#include "takeover/process_identity.h"

#include <gtest/gtest.h>

using wharf::e2e::E2eSession;

// The harness itself: what a broken session would not make every other test fail on.
TEST(E2eSession, HonoursItsOptionsKeepsTheCallersDesktopOutAndStopsEverythingItStarted)
{
    pid_t grandchild = 0;
    {
        // What the caller's desktop would otherwise hand down to every program of the session.
        qputenv("XDG_CONFIG_HOME", "/callers/config");
        qputenv("QT_SCALE_FACTOR", "3");
        E2eSession session({.windowManager = false, .compositor = false});
        qunsetenv("XDG_CONFIG_HOME");
        qunsetenv("QT_SCALE_FACTOR");
        WHARF_REQUIRE_SESSION(session);

        EXPECT_TRUE(session.environment().value("HOME").startsWith(session.root()));
        EXPECT_EQ(session.environment().value("XDG_CONFIG_HOME"), session.configHome());
        EXPECT_FALSE(session.environment().contains("QT_SCALE_FACTOR"));
        EXPECT_EQ(session.xprop({"-root", "_NET_SUPPORTING_WM_CHECK"}).indexOf("window id"), -1);

        // A shell that forks a grandchild: the process group is what teardown must reach.
        QProcess* shell = session.start("sh", {"-c", "sleep 600 & echo $!; wait"});
        ASSERT_TRUE(shell->waitForReadyRead(5000));
        grandchild = shell->readLine().trimmed().toInt();
        ASSERT_TRUE(wharf::processStart(grandchild));
    }
    // A zombie, which nobody may reap here, counts as gone.
    EXPECT_TRUE(wharf::e2e::waitFor([&] { return !wharf::processStart(grandchild); }, 3000));
}
