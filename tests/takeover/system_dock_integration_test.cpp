#include "takeover/system_dock_integration.h"

#include "platform/x11/dash_to_dock_native_dock.h"
#include "takeover/process_identity.h"
#include "doubles/fake_native_dock.h"
#include "takeover_test_support.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace wharf {
namespace {

using test::DockValues;

// What the user had: some keys set to their own values, the rest never touched.
const DockValues userValues{
    {QStringLiteral("dock-fixed"), NativeDockValue{QStringLiteral("b"), QStringLiteral("true")}},
    {QStringLiteral("autohide"), std::nullopt},
    {QStringLiteral("intellihide"), NativeDockValue{QStringLiteral("b"), QStringLiteral("true")}},
    {QStringLiteral("show-delay"), NativeDockValue{QStringLiteral("d"), QStringLiteral("0.33000000000000002")}},
    {QStringLiteral("require-pressure-to-show"), std::nullopt},
};

DockValues hidingValues()
{
    DockValues values;
    for (const NativeDockKey& key : DashToDockNativeDock::hidingKeys())
        values.insert(key.name, key.hidingValue);
    return values;
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs = 10000)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents();
        QThread::msleep(5);
    }
    return true;
}

bool running(qint64 pid)
{
    return pid > 0 && processStart(static_cast<pid_t>(pid)).has_value();
}

class SystemDockIntegrationTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(test::dashToDockSchemaAvailable()) << test::missingSchemaHint;
        QDir(DockPreferenceTransaction::defaultDirectory()).removeRecursively();
        // Through the process's own settings backend, which the code under test reads too.
        DashToDockNativeDock dock;
        for (auto it = userValues.cbegin(); it != userValues.cend(); ++it)
            ASSERT_TRUE(it.value() ? dock.write(it.key(), *it.value()) : dock.reset(it.key()));
        ASSERT_TRUE(dock.synchronize());
        ASSERT_EQ(stored(), userValues);
    }
    static DockValues stored() { return test::readKeyfileValues(test::defaultKeyfile(), test::dashToDockKeys()); }
    static QString backupPath() { return DockPreferenceTransaction::defaultDirectory() + QStringLiteral("/system-dock-backup.plist"); }
    static QByteArray backupBytes()
    {
        QFile file(backupPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // A backup of the user's values as a process that has ended would have left it.
    static void leaveBackupOfEndedProcess(qint32 pid, const QString& start)
    {
        auto dock = std::make_unique<DashToDockNativeDock>();
        DockPreferenceTransaction transaction(*dock);
        ASSERT_FALSE(transaction.withLock([&]() -> DockFailure {
            auto captured = transaction.capture();
            captured.value().ownerPID = pid;
            captured.value().ownerStart = start;
            if (auto failure = transaction.writeBackup(captured.value()))
                return failure;
            return transaction.setHidden();
        }));
    }
};

TEST_F(SystemDockIntegrationTest, EnableThenRestoreGivesBackTheUsersValuesExactly)
{
    SystemDockIntegration integration;
    ASSERT_TRUE(integration.nativeDockAvailable());
    ASSERT_FALSE(integration.enable());
    EXPECT_TRUE(integration.isEnabled());
    EXPECT_EQ(stored(), hidingValues());
    const qint64 helper = integration.watchdogPid();
    EXPECT_TRUE(running(helper));
    EXPECT_TRUE(QFile::exists(backupPath()));

    // Enabling again changes nothing and starts no second helper.
    ASSERT_FALSE(integration.enable());
    EXPECT_EQ(integration.watchdogPid(), helper);

    ASSERT_FALSE(integration.restore());
    EXPECT_FALSE(integration.isEnabled());
    EXPECT_EQ(stored(), userValues);
    EXPECT_FALSE(QFile::exists(backupPath()));
    // The helper notices the backup is gone and leaves without touching anything.
    EXPECT_TRUE(waitFor([&] { return !running(helper); }));
    EXPECT_EQ(stored(), userValues);
    EXPECT_FALSE(integration.lastError);
}

TEST_F(SystemDockIntegrationTest, SecondSessionCanNeitherEnableNorRestore)
{
    SystemDockIntegration first;
    ASSERT_FALSE(first.enable());
    SystemDockIntegration second;
    EXPECT_EQ(second.enable(), DockIntegrationError{QStringLiteral("Another Wharf session already manages the system Dock.")});
    EXPECT_EQ(second.restore(), DockIntegrationError{QStringLiteral("The system Dock is managed by another running Wharf session.")});
    EXPECT_EQ(second.lastError, QStringLiteral("The system Dock is managed by another running Wharf session."));
    EXPECT_FALSE(second.isEnabled());
    EXPECT_EQ(stored(), hidingValues());
    ASSERT_FALSE(first.restore());
    EXPECT_EQ(stored(), userValues);
}

TEST_F(SystemDockIntegrationTest, HelperEndingWhileEnabledRestoresAtOnce)
{
    SystemDockIntegration integration;
    QStringList reported;
    integration.onIntegrationError = [&](const QString& message) { reported.append(message); };
    ASSERT_FALSE(integration.enable());
    ASSERT_EQ(kill(static_cast<pid_t>(integration.watchdogPid()), SIGKILL), 0);
    EXPECT_TRUE(waitFor([&] { return !integration.isEnabled(); }));
    EXPECT_EQ(stored(), userValues);
    EXPECT_FALSE(QFile::exists(backupPath()));
    EXPECT_TRUE(reported.isEmpty());
}

TEST_F(SystemDockIntegrationTest, HelperThatCannotStartRollsBack)
{
    // The helper only watches the backup of the standard location; any other one makes it leave.
    QTemporaryDir elsewhere;
    SystemDockIntegration integration(std::make_unique<DashToDockNativeDock>(), elsewhere.path());
    const DockIntegrationError expected{QStringLiteral("The Dock recovery helper could not start. Your system Dock has not been hidden.")};
    EXPECT_EQ(integration.enable(), expected);
    EXPECT_EQ(integration.lastError, expected.message);
    EXPECT_FALSE(integration.isEnabled());
    EXPECT_EQ(stored(), userValues);
    EXPECT_FALSE(QFile::exists(elsewhere.filePath(QStringLiteral("system-dock-backup.plist"))));
}

TEST_F(SystemDockIntegrationTest, FailedRollbackNamesBothFailuresAndKeepsTheBackup)
{
    QTemporaryDir elsewhere;
    auto fake = std::make_unique<FakeNativeDock>();
    fake->restartOutput = QStringLiteral("busy");
    SystemDockIntegration integration(std::move(fake), elsewhere.path());
    const QString path = elsewhere.filePath(QStringLiteral("system-dock-backup.plist"));
    EXPECT_EQ(integration.enable(),
              DockIntegrationError{QStringLiteral("Could not enable Wharf: The Dock recovery helper could not start. Your system Dock "
                                                  "has not been hidden. Restoration also needs attention: Could not restart the "
                                                  "system Dock: busy The original preferences remain saved at ")
                                   + path + QLatin1Char('.')});
    EXPECT_TRUE(QFile::exists(path));
}

TEST_F(SystemDockIntegrationTest, NoNativeDockMeansNothingToHide)
{
    QTemporaryDir elsewhere;
    auto fake = std::make_unique<FakeNativeDock>();
    fake->installed = false;
    FakeNativeDock& dock = *fake;
    SystemDockIntegration integration(std::move(fake), elsewhere.path());
    EXPECT_FALSE(integration.nativeDockAvailable());
    EXPECT_FALSE(integration.enable());
    EXPECT_TRUE(integration.isEnabled());
    EXPECT_EQ(integration.watchdogPid(), 0);
    EXPECT_TRUE(dock.writes.isEmpty());
    EXPECT_FALSE(integration.restore());
    EXPECT_FALSE(integration.isEnabled());
    EXPECT_FALSE(SystemDockIntegration::noNativeDockMessage().isEmpty());
}

TEST_F(SystemDockIntegrationTest, CreationRecoversStaleBackupsAndReportsBadOnes)
{
    const qint32 ended = test::endedProcessPid();
    const test::OtherProcess other;
    const QString ownStart = *processStart(getpid());
    for (const qint32 pid : {ended, other.pid()}) {
        leaveBackupOfEndedProcess(pid, ownStart);
        ASSERT_EQ(stored(), hidingValues());
        const SystemDockIntegration integration;
        EXPECT_FALSE(integration.lastError) << pid;
        EXPECT_EQ(stored(), userValues) << pid;
        EXPECT_FALSE(QFile::exists(backupPath())) << pid;
    }

    leaveBackupOfEndedProcess(ended, ownStart);
    QFile file(backupPath());
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    QByteArray edited = file.readAll().replace("autohide", "autohid3");
    file.seek(0);
    file.write(edited);
    file.close();
    const SystemDockIntegration integration;
    EXPECT_EQ(integration.lastError, QStringLiteral("The saved Dock preferences could not be validated; they have been preserved at ")
                                         + backupPath() + QLatin1Char('.'));
    EXPECT_EQ(backupBytes(), edited);
    EXPECT_EQ(stored(), hidingValues());
}

struct SelfRun {
    int exitCode = -1;
    QString out;
    QString err;
};

SelfRun runSelf(const QStringList& args)
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), args);
    process.waitForFinished(20000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
}

TEST_F(SystemDockIntegrationTest, CommandLineRestoreAlwaysRestores)
{
    const QString success = QStringLiteral("Original system Dock preferences restored.\n");
    SelfRun run = runSelf({QStringLiteral("--restore-system-dock")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, success);

    // Even the backup of a running session.
    SystemDockIntegration integration;
    ASSERT_FALSE(integration.enable());
    run = runSelf({QStringLiteral("--restore-system-dock")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, success);
    EXPECT_EQ(stored(), userValues);
    EXPECT_FALSE(QFile::exists(backupPath()));

    leaveBackupOfEndedProcess(getpid(), QStringLiteral("0:0"));
    QFile file(backupPath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not a backup");
    file.close();
    run = runSelf({QStringLiteral("--restore-system-dock")});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, QString());
    EXPECT_EQ(run.err, QStringLiteral("Wharf restoration failed: The saved Dock preferences at %1 could not be read: it is not a "
                                      "property list.\n").arg(backupPath()));
    EXPECT_EQ(backupBytes(), QByteArray("not a backup"));
}

TEST_F(SystemDockIntegrationTest, HelperLeavesQuietlyWhenThereIsNothingToWatch)
{
    const qint32 ended = test::endedProcessPid();
    const test::OtherProcess other;
    const QString own = QString::number(getpid());
    leaveBackupOfEndedProcess(getpid(), *processStart(getpid()));
    const QByteArray backup = backupBytes();
    struct Row {
        const char* name;
        QStringList args;
    };
    const std::vector<Row> rows{
        {"another path", {QStringLiteral("--dock-watchdog"), own, backupPath() + QStringLiteral(".old")}},
        {"pid of an ended process", {QStringLiteral("--dock-watchdog"), QString::number(ended), backupPath()}},
        {"negative pid", {QStringLiteral("--dock-watchdog"), QStringLiteral("-1"), backupPath()}},
        {"pid of another live process", {QStringLiteral("--dock-watchdog"), QString::number(other.pid()), backupPath()}},
    };
    for (const Row& row : rows) {
        const SelfRun run = runSelf(row.args);
        EXPECT_EQ(run.exitCode, 0) << row.name;
        EXPECT_EQ(run.out, QString()) << row.name;
    }
    // Not a number: no helper at all, the program starts normally.
    for (const QString& pid : {QStringLiteral("12ab"), QString(), QStringLiteral("99999999999")}) {
        const SelfRun run = runSelf({QStringLiteral("--dock-watchdog"), pid, backupPath()});
        EXPECT_EQ(run.exitCode, 3) << pid.toStdString();
        EXPECT_EQ(run.out, QStringLiteral("NORMAL START\n"));
    }
    EXPECT_EQ(backupBytes(), backup);
    EXPECT_EQ(stored(), hidingValues());
}

} // namespace
} // namespace wharf
