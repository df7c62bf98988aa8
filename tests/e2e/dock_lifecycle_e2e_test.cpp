// The wharf process: single instance, unknown arguments, termination by signal and by D-Bus, no display.
#include "dock_e2e_client.h"

#include <gtest/gtest.h>

#include <csignal>

namespace wharf::e2e {
namespace {

// A second instance is turned away, by the bus or without one by the lock, and leaves the first
// alone. Arguments Wharf does not know (a session manager's, a bad watchdog's) still start the dock.
TEST(DockLifecycle, ASecondInstanceIsTurnedAwayOddArgumentsStartTheDockSignalsAndQuitEndItAndWithoutADisplayItExitsWithOne)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString address = session.environment().value("DBUS_SESSION_BUS_ADDRESS");
    for (const bool bus : {false, true}) {
        SCOPED_TRACE(bus ? "session bus" : "no session bus: the lock");
        session.setEnv("DBUS_SESSION_BUS_ADDRESS", bus ? address : "disabled:");
        QProcess* first = session.start(WHARF_BINARY);
        QString firstOutput;
        ASSERT_TRUE(waitForLog(*first, firstOutput, "Wharf ready.", 15000)) << firstOutput.toStdString();
        const QString conf = wharfSettingsFile(session);
        // The first start saves its pins (and the view its resting size) soon after: wait until the
        // file holds still.
        QByteArray settings;
        ASSERT_TRUE(waitFor([&] {
            const QByteArray now = readFile(conf);
            const bool settled = !now.isEmpty() && now == settings;
            settings = now;
            return settled;
        }, 10000, 500));

        const RunResult second = session.run(WHARF_BINARY, {}, 15000);
        EXPECT_FALSE(second.timedOut) << "the second instance ran in full";
        EXPECT_EQ(second.exitCode, 0);
        EXPECT_TRUE(second.err.contains("already running")) << second.err.toStdString();
        EXPECT_FALSE(second.err.contains("Wharf ready")) << "the second instance built nothing";
        EXPECT_EQ(readFile(conf), settings);
        EXPECT_EQ(first->state(), QProcess::Running);
        EXPECT_EQ(E2eSession::stop(first), 0);
    }

    const struct {
        const char* name;
        QStringList args;
        int signal; // 0: the D-Bus Quit method
    } rows[] = {
        {"SIGTERM", {"--no-such-option"}, SIGTERM},
        {"SIGINT", {"stray"}, SIGINT},
        {"Quit over D-Bus", {"--dock-watchdog", "not-a-pid", "/tmp/backup"}, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        QProcess* wharf = session.startWharf(row.args);
        ASSERT_NE(wharf, nullptr) << "did not start the dock";
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
        EXPECT_TRUE(err.contains("Wharf stopped.")) << err.toStdString();
        EXPECT_FALSE(err.contains("Restore failed")) << err.toStdString();
        EXPECT_FALSE(session.bus().interface()->isServiceRegistered("com.tamberly.Wharf").value());
    }

    // Without a display the dock and the listing say so and exit with 1.
    const struct {
        QStringList args;
        const char* display; // nullptr: unset
        const char* platform;
        const char* message;
    } displayless[] = {
        {{}, ":9999", "", "cannot open the X display \":9999\""},
        {{}, nullptr, "", "DISPLAY is not set"},
        {{"--list-items"}, ":9999", "", ":9999"},
        {{"--list-items"}, ":9999", "offscreen", ":9999"},
    };
    for (const auto& row : displayless) {
        SCOPED_TRACE((row.args.join(' ') + " " + row.platform).toStdString());
        if (row.display)
            session.setEnv("DISPLAY", row.display);
        else
            session.unsetEnv("DISPLAY");
        session.setEnv("QT_QPA_PLATFORM", row.platform);
        const RunResult result = session.run(WHARF_BINARY, row.args, 15000);
        EXPECT_FALSE(result.timedOut);
        EXPECT_FALSE(result.crashed) << result.err.toStdString();
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.err.contains(row.message)) << result.err.toStdString();
        EXPECT_TRUE(result.out.isEmpty()) << result.out.toStdString();
    }
}

} // namespace
} // namespace wharf::e2e
