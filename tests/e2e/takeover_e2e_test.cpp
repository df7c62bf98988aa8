// The wharf executable taking over the real Dash to Dock settings (keyfile backend) in a private
// desktop session: quitting, kill -9 of Wharf or of its helper, a second Wharf of the same user
// and the command-line restore.
#include "dock_e2e_client.h"

#include "takeover/crash_recovery_support.h"

#include <QFile>

#include <gtest/gtest.h>

#include <csignal>

namespace wharf::e2e {
namespace {

using test::DockValues;

const DockValues userValues = test::DriverHome::userValues();

// A desktop session whose user has Dash to Dock with values of their own; `sharing` makes it a
// second login of the same user (the same files).
class TakeoverDesktop {
public:
    explicit TakeoverDesktop(const TakeoverDesktop* sharing = nullptr)
    {
        session.setEnv("GSETTINGS_SCHEMA_DIR", qEnvironmentVariable("GSETTINGS_SCHEMA_DIR"));
        const E2eSession& home = sharing ? sharing->session : session;
        session.setEnv("HOME", home.home());
        session.setEnv("XDG_CONFIG_HOME", home.configHome());
        session.setEnv("XDG_DATA_HOME", home.dataHome());
        keyfile = home.configHome() + "/glib-2.0/settings/keyfile";
        backupPath = home.dataHome() + "/wharf/system-dock-backup.plist";
        if (!sharing)
            test::writeKeyfileValues(keyfile, userValues);
    }
    DockValues values() const { return test::readKeyfileValues(keyfile, test::dashToDockKeys()); }
    // Starts wharf and waits until it has hidden the dock and finished launching (`log` holds
    // what it wrote so far); returns its helper's pid.
    qint64 startHiding(QProcess*& wharf, QString& log)
    {
        wharf = session.startWharf();
        if (!wharf)
            return 0;
        qint64 helper = 0;
        waitFor([&] {
            log += QString::fromUtf8(wharf->readAllStandardError());
            const auto helpers = test::recoveryHelpers(backupPath);
            helper = helpers.size() == 1 && values() != userValues ? helpers.first() : 0;
            return helper != 0 && log.contains("Wharf ready");
        });
        return log.contains("native Dock replaced: true") ? helper : 0;
    }
    bool restoredAndHelperGone() const
    {
        return waitFor([&] {
            return !QFile::exists(backupPath) && test::recoveryHelpers(backupPath).isEmpty() && values() == userValues;
        });
    }

    E2eSession session;
    QString keyfile;
    QString backupPath;
};

class TakeoverE2eTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(test::dashToDockSchemaAvailable()) << test::missingSchemaHint;
        WHARF_REQUIRE_SESSION(desktop.session);
        ASSERT_EQ(desktop.values(), userValues);
    }
    static QString stopped(QProcess* wharf)
    {
        ::kill(pid_t(wharf->processId()), SIGTERM);
        wharf->waitForFinished(10000);
        return QString::fromUtf8(wharf->readAllStandardError());
    }
    TakeoverDesktop desktop;
};

TEST_F(TakeoverE2eTest, QuitAndCrashesGiveBackExactlyWhatTheUserHadAndASecondWharfOfTheSameUserIsTurnedAway)
{
    QProcess* wharf = nullptr;
    QString log;
    ASSERT_GT(desktop.startHiding(wharf, log), 0) << log.toStdString();
    log += stopped(wharf);
    EXPECT_TRUE(log.contains("Wharf stopped.")) << log.toStdString();
    EXPECT_FALSE(log.contains("Restore failed")) << log.toStdString();
    EXPECT_TRUE(desktop.restoredAndHelperGone());

    // kill -9 of Wharf: its helper restores.
    ASSERT_GT(desktop.startHiding(wharf, log), 0);
    wharf->kill();
    EXPECT_TRUE(desktop.restoredAndHelperGone());

    // kill -9 of the helper: Wharf restores at once and keeps running.
    const qint64 helper = desktop.startHiding(wharf, log);
    ASSERT_GT(helper, 0);
    ::kill(pid_t(helper), SIGKILL);
    EXPECT_TRUE(desktop.restoredAndHelperGone());
    EXPECT_EQ(wharf->state(), QProcess::Running);
    EXPECT_FALSE(stopped(wharf).contains("Restore failed"));
    EXPECT_EQ(desktop.values(), userValues);

    // SIGTERM the moment the name is on the bus, while Wharf is still launching.
    wharf = desktop.session.startWharf();
    ASSERT_NE(wharf, nullptr);
    ::kill(pid_t(wharf->processId()), SIGTERM);
    ASSERT_TRUE(wharf->waitForFinished(10000));
    EXPECT_EQ(wharf->exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(wharf->exitCode(), 0);
    EXPECT_TRUE(desktop.restoredAndHelperGone());

    // A second Wharf of the same user is turned away, but the command line restores.
    QProcess* first = nullptr;
    QString firstLog;
    ASSERT_GT(desktop.startHiding(first, firstLog), 0) << firstLog.toStdString();
    const DockValues hidden = desktop.values();

    TakeoverDesktop other(&desktop);
    WHARF_REQUIRE_SESSION(other.session);
    QProcess* second = other.session.startWharf();
    ASSERT_NE(second, nullptr);
    // Its takeover fails with the alert "Another Wharf session already manages the system Dock.";
    // dismissing it lets the launch go on with the takeover turned off.
    const QStringList alert{"search", "--onlyvisible", "--name", "^Wharf$"};
    ASSERT_TRUE(waitFor([&] { return !other.session.xdotool(alert).out.isEmpty(); }));
    other.session.xdotool(alert + QStringList{"windowactivate", "--sync", "key", "--clearmodifiers", "Return"});
    QString err;
    ASSERT_TRUE(waitForLog(*second, err, "native Dock replaced: false"));
    EXPECT_EQ(storedSetting(desktop.session, "replaceSystemDock"), QVariant(false));
    err += stopped(second);
    EXPECT_TRUE(err.contains("Restore failed: The system Dock is managed by another running Wharf session."))
        << err.toStdString();
    EXPECT_EQ(desktop.values(), hidden);

    // The command line restores even while a Wharf holds the dock: the user asked for it.
    RunResult run = desktop.session.run(WHARF_BINARY, {"--restore-system-dock"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "Original system Dock preferences restored.\n");
    EXPECT_TRUE(desktop.restoredAndHelperGone());
    EXPECT_FALSE(stopped(first).contains("Restore failed"));
    run = desktop.session.run(WHARF_BINARY, {"--restore-system-dock"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "Original system Dock preferences restored.\n");
}

} // namespace
} // namespace wharf::e2e
