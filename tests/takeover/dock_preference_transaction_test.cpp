#include "takeover/dock_preference_transaction.h"
#include "takeover/process_identity.h"

#include "doubles/fake_native_dock.h"
#include "takeover_test_support.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace wharf {
namespace {

const NativeDockValue userAutohide{QStringLiteral("b"), QStringLiteral("false")};
const QString validationPrefix = QStringLiteral("The saved Dock preferences could not be validated; they have been preserved at ");

class DockPreferenceTransactionTest : public testing::Test {
protected:
    QTemporaryDir temp;
    FakeNativeDock dock;
    QString folder = temp.filePath(QStringLiteral("nested/wharf"));
    DockPreferenceTransaction transaction{dock, folder};

    DockPreferenceBackup capturedAndSaved()
    {
        auto captured = transaction.capture();
        EXPECT_TRUE(captured.ok());
        EXPECT_FALSE(transaction.writeBackup(captured.value()));
        return captured.value();
    }
    QByteArray fileBytes() const
    {
        QFile file(transaction.backupPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void writeFile(const QByteArray& bytes) const
    {
        QDir().mkpath(folder);
        QFile file(transaction.backupPath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
};

TEST_F(DockPreferenceTransactionTest, HideAndRestoreGiveBackExactlyWhatTheUserHad)
{
    dock.values.insert(QStringLiteral("autohide"), userAutohide);
    const DockPreferenceBackup backup = capturedAndSaved();
    EXPECT_EQ(backup.values.keys(), QStringList{QStringLiteral("autohide")});
    EXPECT_EQ(backup.missing, QStringList{QStringLiteral("show-delay")});
    EXPECT_EQ(backup.ownerPID, getpid());
    EXPECT_EQ(backup.ownerStart, processStart(getpid()));
    EXPECT_EQ(backup.token.size(), 36);

    ASSERT_FALSE(transaction.setHidden());
    EXPECT_EQ(dock.userValue(QStringLiteral("autohide"))->text, QStringLiteral("true"));
    EXPECT_EQ(dock.userValue(QStringLiteral("show-delay"))->text, QStringLiteral("1000.0"));
    EXPECT_EQ(dock.restarts, 1);

    ASSERT_FALSE(transaction.restore(backup));
    EXPECT_EQ(dock.userValue(QStringLiteral("autohide")), userAutohide);
    // Unset before, unset again: not the hiding value, not some default.
    EXPECT_FALSE(dock.userValue(QStringLiteral("show-delay")));
    EXPECT_FALSE(QFile::exists(transaction.backupPath()));
    EXPECT_EQ(dock.restarts, 2);
}

TEST_F(DockPreferenceTransactionTest, BackupIsPrivateAndReadsBackAsWritten)
{
    auto nothing = transaction.readBackup();
    ASSERT_TRUE(nothing.ok());
    EXPECT_FALSE(nothing.value());

    const DockPreferenceBackup backup = capturedAndSaved();
    struct stat info {};
    ASSERT_EQ(stat(QFile::encodeName(transaction.backupPath()).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    ASSERT_EQ(stat(QFile::encodeName(folder).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);

    auto read = transaction.readBackup();
    ASSERT_TRUE(read.ok()) << read.error().message.toStdString();
    EXPECT_EQ(read.value(), backup);
}

TEST_F(DockPreferenceTransactionTest, BadBackupFilesArePreservedAndNeverApplied)
{
    DockPreferenceBackup wrongVersion = capturedAndSaved();
    wrongVersion.version = 2;
    DockPreferenceBackup partial = wrongVersion;
    partial.version = 1;
    partial.missing.clear();
    struct Row {
        const char* name;
        QByteArray bytes;
        QString message;
    };
    const std::vector<Row> rows{
        {"version 2", encodeBackup(wrongVersion), validationPrefix + transaction.backupPath() + QLatin1Char('.')},
        {"one key uncovered", encodeBackup(partial), validationPrefix + transaction.backupPath() + QLatin1Char('.')},
        {"not a property list", QByteArray("garbage"),
         QStringLiteral("The saved Dock preferences at %1 could not be read: it is not a property list.").arg(transaction.backupPath())},
    };
    for (const Row& row : rows) {
        writeFile(row.bytes);
        EXPECT_EQ(transaction.recoverStaleBackup(), DockIntegrationError{row.message}) << row.name;
        EXPECT_EQ(fileBytes(), row.bytes) << row.name;
    }
    EXPECT_TRUE(dock.writes.isEmpty());
}

TEST_F(DockPreferenceTransactionTest, InvalidSavedValueStopsRestoreBeforeAnyWrite)
{
    DockPreferenceBackup backup = capturedAndSaved();
    const QByteArray file = fileBytes();
    struct Row {
        const char* name;
        QByteArray value;
    };
    const std::vector<Row> rows{
        {"not a one-element array", QByteArray("bplist00garbage")},
        {"type the key does not take", encodeDockValue({QStringLiteral("s"), QStringLiteral("'yes'")})},
    };
    for (const Row& row : rows) {
        backup.values.insert(QStringLiteral("show-delay"), row.value);
        backup.missing.clear();
        EXPECT_EQ(transaction.restore(backup),
                  DockIntegrationError{QStringLiteral("The saved value for show-delay is invalid. The backup was preserved.")})
            << row.name;
    }
    EXPECT_TRUE(dock.writes.isEmpty());
    EXPECT_EQ(fileBytes(), file);
}

TEST_F(DockPreferenceTransactionTest, FailuresKeepTheBackup)
{
    const DockPreferenceBackup backup = capturedAndSaved();
    const DockIntegrationError unsaved{
        QStringLiteral("The system could not save the Dock preferences. Check that Wharf can write user preferences.")};

    dock.failSync = true;
    EXPECT_EQ(transaction.capture().error(), unsaved);
    EXPECT_EQ(transaction.setHidden(), unsaved);
    EXPECT_EQ(transaction.restore(backup), unsaved);
    dock.failSync = false;

    dock.failWrites = true;
    EXPECT_EQ(transaction.restore(backup), unsaved);
    dock.failWrites = false;

    dock.restartOutput = QStringLiteral("\n  dock: permission denied \n");
    const DockIntegrationError restart{QStringLiteral("Could not restart the system Dock: dock: permission denied")};
    EXPECT_EQ(transaction.setHidden(), restart);
    EXPECT_EQ(transaction.restore(backup), restart);
    // The values are back, but the file stays until the dock has been restarted.
    EXPECT_FALSE(dock.userValue(QStringLiteral("autohide")));
    EXPECT_TRUE(QFile::exists(transaction.backupPath()));
}

TEST_F(DockPreferenceTransactionTest, StaleBackupIsRestoredOnlyWhenItsOwnerIsGone)
{
    const test::OtherProcess other;
    struct Row {
        const char* name;
        qint32 pid;
        QString start;
        bool restored;
    };
    const std::vector<Row> rows{
        {"owner is this process", getpid(), *processStart(getpid()), false},
        {"owner has ended", test::endedProcessPid(), *processStart(getpid()), true},
        // The pid now names another process, which started at another time.
        {"pid reused", other.pid(), *processStart(getpid()), true},
    };
    for (const Row& row : rows) {
        dock.values.clear();
        DockPreferenceBackup backup = capturedAndSaved();
        backup.ownerPID = row.pid;
        backup.ownerStart = row.start;
        ASSERT_FALSE(transaction.writeBackup(backup));
        ASSERT_FALSE(transaction.setHidden());
        EXPECT_FALSE(transaction.recoverStaleBackup()) << row.name;
        EXPECT_EQ(QFile::exists(transaction.backupPath()), !row.restored) << row.name;
        EXPECT_EQ(dock.values.isEmpty(), row.restored) << row.name;
        QFile::remove(transaction.backupPath());
    }
}

TEST_F(DockPreferenceTransactionTest, LockWaitsForTheOtherHolder)
{
    ASSERT_FALSE(transaction.withLock([] { return DockFailure(); }));
    int locked[2];
    int releasing[2];
    ASSERT_EQ(pipe(locked), 0);
    ASSERT_EQ(pipe2(releasing, O_NONBLOCK), 0);
    const pid_t holder = fork();
    if (holder == 0) {
        const int fd = open(QFile::encodeName(transaction.lockPath()).constData(), O_RDWR);
        flock(fd, LOCK_EX);
        (void)!write(locked[1], "x", 1);
        usleep(200'000);
        (void)!write(releasing[1], "x", 1);
        flock(fd, LOCK_UN);
        _exit(0);
    }
    char byte;
    ASSERT_EQ(read(locked[0], &byte, 1), 1);
    bool ranAfterRelease = false;
    ASSERT_FALSE(transaction.withLock([&] {
        ranAfterRelease = read(releasing[0], &byte, 1) == 1;
        return DockFailure();
    }));
    EXPECT_TRUE(ranAfterRelease);
    waitpid(holder, nullptr, 0);
    for (const int fd : {locked[0], locked[1], releasing[0], releasing[1]})
        close(fd);
}

TEST_F(DockPreferenceTransactionTest, LockFailuresAreReportedAndRunNothing)
{
    ASSERT_TRUE(QDir().mkpath(transaction.lockPath()));
    bool ran = false;
    EXPECT_EQ(transaction.withLock([&] { ran = true; return DockFailure(); }),
              DockIntegrationError{QStringLiteral("Could not open the Dock recovery lock: Is a directory.")});
    EXPECT_FALSE(ran);
    // The body's own failure comes back unchanged.
    const DockIntegrationError own{QStringLiteral("own")};
    QDir(transaction.lockPath()).removeRecursively();
    EXPECT_EQ(transaction.withLock([&] { return DockFailure(own); }), own);
}

} // namespace
} // namespace wharf
