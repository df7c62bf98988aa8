// The wharf process: single instance, termination by signal and by D-Bus, no display.
#include "dock_e2e_client.h"

#include <gtest/gtest.h>

#include <csignal>

namespace wharf::e2e {
namespace {

TEST(DockLifecycle, SecondInstanceExitsAndLeavesTheFirstUntouched)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    QProcess* first = session.startWharf();
    ASSERT_NE(first, nullptr);
    DockClient client(session);
    const auto before = client.settledDock();
    ASSERT_TRUE(before);

    const RunResult second = session.run(E2eSession::wharfBinary(), {}, 15000);
    EXPECT_FALSE(second.timedOut);
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_TRUE(second.err.contains(QStringLiteral("already running"))) << second.err.toStdString();
    EXPECT_FALSE(second.err.contains(QStringLiteral("Wharf ready"))) << "the second instance built nothing";

    EXPECT_EQ(first->state(), QProcess::Running);
    const auto after = client.settledDock();
    ASSERT_TRUE(after);
    EXPECT_EQ(after->tiles, before->tiles);
    EXPECT_EQ(client.docks().size(), 2u);
    EXPECT_EQ(wharfWindows(session, first->processId()).size(), 2);
}

TEST(DockLifecycle, SignalsAndQuitEndThroughTheShutdownSequence)
{
    const struct {
        const char* name;
        int signal; // 0: the D-Bus Quit method
    } rows[] = {{"SIGTERM", SIGTERM}, {"SIGINT", SIGINT}, {"Quit over D-Bus", 0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        E2eSession session;
        WHARF_REQUIRE_SESSION(session);
        QProcess* wharf = session.startWharf();
        ASSERT_NE(wharf, nullptr);
        DockClient client(session);
        ASSERT_TRUE(client.settledDock());

        if (row.signal)
            ::kill(pid_t(wharf->processId()), row.signal);
        else
            ASSERT_TRUE(client.quit());
        ASSERT_TRUE(wharf->waitForFinished(10000));
        EXPECT_EQ(wharf->exitStatus(), QProcess::NormalExit) << "not killed by the signal";
        EXPECT_EQ(wharf->exitCode(), 0);
        const QString err = QString::fromUtf8(wharf->readAllStandardError());
        EXPECT_TRUE(err.contains(QStringLiteral("Wharf stopped."))) << err.toStdString();
        EXPECT_FALSE(err.contains(QStringLiteral("Restore failed"))) << err.toStdString();
        EXPECT_FALSE(session.bus().interface()->isServiceRegistered(QStringLiteral("com.tamberly.Wharf")).value());
    }
}

TEST(DockLifecycle, WithoutADisplayItSaysSoAndExitsWithOne)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    session.setEnv(QStringLiteral("DISPLAY"), QStringLiteral(":9999"));
    const RunResult result = session.run(E2eSession::wharfBinary(), {}, 15000);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("cannot open the X display \":9999\""))) << result.err.toStdString();
    EXPECT_FALSE(result.crashed);

    session.unsetEnv(QStringLiteral("DISPLAY"));
    const RunResult unset = session.run(E2eSession::wharfBinary(), {}, 15000);
    EXPECT_EQ(unset.exitCode, 1);
    EXPECT_TRUE(unset.err.contains(QStringLiteral("DISPLAY is not set"))) << unset.err.toStdString();
}

} // namespace
} // namespace wharf::e2e
