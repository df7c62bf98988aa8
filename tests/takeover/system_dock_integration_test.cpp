#include "takeover/system_dock_integration.h"

#include "platform/x11/dash_to_dock_native_dock.h"
#include "takeover/process_identity.h"
#include "doubles/fake_native_dock.h"
#include "support/files.h"
#include "support/status_assertions.h"
#include "takeover_test_support.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace wharf {
namespace {

// The pid of a process that has ended and been reaped.
qint32 endedProcessPid()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    ::waitpid(child, nullptr, 0);
    return child;
}

class SystemDockIntegrationTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(test::dashToDockSchemaAvailable()) << test::missingSchemaHint;
        QDir(DockPreferenceTransaction::defaultDirectory()).removeRecursively();
        DashToDockNativeDock dock;
        for (const NativeDockKey& key : dock.managedKeys())
            dock.reset(key.name);
        dock.write("show-delay", {"d", "0.5"});
        dock.synchronize();
        userValues = stored();
    }
    static test::DockValues stored() { return test::readKeyfileValues(test::defaultKeyfile(), test::dashToDockKeys()); }
    static QString backupPath() { return DockPreferenceTransaction::defaultDirectory() + "/system-dock-backup.plist"; }
    static QByteArray backupBytes() { return test::readFile(backupPath()); }
    // Hides the dock with a backup owned by `pid`, as a Wharf that has since died would leave it.
    static void leaveBackupOf(qint32 pid, const QString& start)
    {
        DashToDockNativeDock dock;
        DockPreferenceTransaction transaction(dock);
        ASSERT_SUCCESS(transaction.withLock([&]() -> Status {
            auto captured = transaction.capture();
            captured.value().ownerPID = pid;
            captured.value().ownerStart = start;
            const Status written = transaction.writeBackup(captured.value());
            return written ? transaction.setHidden() : written;
        }));
    }
    struct Run {
        int exitCode = -1;
        QByteArray out, err;
    };
    // This test program is also a recovery helper, like the wharf executable.
    static Run runSelf(const QStringList& args)
    {
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(), args);
        process.waitForFinished(20000);
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
                process.readAllStandardError()};
    }
    test::DockValues userValues;
};

// A second session of the same user is turned away by the takeover end-to-end test.
TEST_F(SystemDockIntegrationTest, AFailedEnableRollsBackAndSaysWhyAndWithoutANativeDockNothingIsHidden)
{
    // The helper watches only the backup in the standard place, so elsewhere it will not start.
    QTemporaryDir elsewhere;
    const QString helperFailed = "The Dock recovery helper could not start. Your system Dock has not been hidden.";
    SystemDockIntegration integration(std::make_unique<DashToDockNativeDock>(), elsewhere.path());
    EXPECT_EQ(integration.enable().failure(), DockIntegrationError{helperFailed});
    EXPECT_EQ(integration.lastError, helperFailed);
    EXPECT_FALSE(integration.isEnabled());
    EXPECT_EQ(stored(), userValues);

    auto fake = std::make_unique<FakeNativeDock>();
    fake->installed = false;
    const FakeNativeDock& dock = *fake;
    SystemDockIntegration without(std::move(fake), elsewhere.path());
    EXPECT_FALSE(without.nativeDockAvailable());
    EXPECT_SUCCESS(without.enable());
    EXPECT_FALSE(without.isEnabled());
    EXPECT_EQ(without.watchdogPid(), 0);
    EXPECT_TRUE(dock.writes.isEmpty());
    EXPECT_SUCCESS(without.restore());
}

TEST_F(SystemDockIntegrationTest, NextStartRestoresStaleBackupsAndReportsBadOnes)
{
    // A live process other than this one, started later than it (start times have a 10 ms grain).
    ::usleep(20'000);
    QProcess other;
    other.start("sleep", {"60"});
    ASSERT_TRUE(other.waitForStarted());
    const QString ownStart = *processStart(getpid());
    // The owner has ended; or its pid now names another process, which started at another time.
    for (const qint32 pid : {endedProcessPid(), qint32(other.processId())}) {
        leaveBackupOf(pid, ownStart);
        ASSERT_NE(stored(), userValues);
        const SystemDockIntegration integration(std::make_unique<DashToDockNativeDock>());
        EXPECT_FALSE(integration.lastError) << pid;
        EXPECT_EQ(stored(), userValues) << pid;
        EXPECT_FALSE(QFile::exists(backupPath())) << pid;
    }
    other.kill();
    other.waitForFinished();

    leaveBackupOf(endedProcessPid(), ownStart);
    const auto hidden = stored();
    const QByteArray edited = backupBytes().replace("autohide", "autohid3");
    ASSERT_TRUE(test::writeFile(backupPath(), edited));
    const QString message = "The saved Dock preferences could not be validated; they have been preserved at "
                            + backupPath() + '.';
    EXPECT_EQ(SystemDockIntegration(std::make_unique<DashToDockNativeDock>()).lastError, message);
    EXPECT_EQ(backupBytes(), edited);
    EXPECT_EQ(stored(), hidden);

    const Run run = runSelf({"--restore-system-dock"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, QByteArray());
    EXPECT_EQ(run.err, ("Wharf restoration failed: " + message + "\n").toUtf8());
    EXPECT_EQ(backupBytes(), edited);
}

TEST_F(SystemDockIntegrationTest, HelperLeavesQuietlyWhenThereIsNothingToWatch)
{
    leaveBackupOf(getpid(), *processStart(getpid()));
    const QByteArray backup = backupBytes();
    const auto hidden = stored();
    const QString own = QString::number(getpid());
    struct Row {
        const char* name;
        QString pid;
        QString path;
        int exitCode;
    };
    const std::vector<Row> rows{
        {"another path", own, backupPath() + ".old", 0},
        // A pid other than the backup's owner's, as an ended or another process's is.
        {"negative pid", "-1", backupPath(), 0},
        // Beyond 32 bits: no helper at all; the program starts normally (here: exit status 3).
        {"beyond 32 bits", "99999999999", backupPath(), 3},
    };
    for (const Row& row : rows) {
        const Run run = runSelf({"--dock-watchdog", row.pid, row.path});
        EXPECT_EQ(run.exitCode, row.exitCode) << row.name;
        EXPECT_EQ(run.out, row.exitCode ? QByteArray("NORMAL START\n") : QByteArray()) << row.name;
    }
    EXPECT_EQ(backupBytes(), backup);
    EXPECT_EQ(stored(), hidden);
}

} // namespace
} // namespace wharf
