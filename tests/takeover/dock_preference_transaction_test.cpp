#include "takeover/dock_preference_transaction.h"

#include "doubles/fake_native_dock.h"
#include "support/files.h"
#include "support/status_assertions.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace wharf {
namespace {

class DockPreferenceTransactionTest : public testing::Test {
protected:
    QTemporaryDir temp;
    FakeNativeDock dock;
    QString folder = temp.filePath("nested/wharf");
    DockPreferenceTransaction transaction{dock, folder};

    DockPreferenceBackup capturedAndSaved()
    {
        auto captured = transaction.capture();
        EXPECT_TRUE(captured.ok());
        EXPECT_SUCCESS(transaction.writeBackup(captured.value()));
        return captured.value();
    }
    QByteArray fileBytes() const { return test::readFile(transaction.backupPath()); }
    static mode_t mode(const QString& path)
    {
        struct stat info {};
        return stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 0777 : 0;
    }
};

// What the backup holds (unset keys, its owner) is read back by every restore of the system dock
// integration, crash and takeover end-to-end tests; here, who may read it.
TEST_F(DockPreferenceTransactionTest, TheBackupAndItsFolderArePrivate)
{
    capturedAndSaved();
    EXPECT_EQ(mode(transaction.backupPath()), 0600u);
    EXPECT_EQ(mode(folder), 0700u);
}

// A backup that reads but does not validate is preserved by the next start (the system dock
// integration test); one that does not read is preserved too.
TEST_F(DockPreferenceTransactionTest, BadBackupsArePreservedAndNeverApplied)
{
    DockPreferenceBackup backup = capturedAndSaved();
    ASSERT_TRUE(test::writeFile(transaction.backupPath(), "garbage"));
    EXPECT_EQ(transaction.recoverStaleBackup().failure(),
              DockIntegrationError{QStringLiteral("The saved Dock preferences at %1 could not be read: it is not a property list.")
                                       .arg(transaction.backupPath())});
    EXPECT_EQ(fileBytes(), QByteArray("garbage"));

    // Each saved value is checked before anything is written.
    backup.missing.clear();
    for (const QByteArray& value : {QByteArray("bplist00garbage"), encodeDockValue({"s", "'yes'"})}) {
        backup.values.insert("show-delay", value);
        EXPECT_EQ(transaction.restore(backup).failure(),
                  DockIntegrationError{"The saved value for show-delay is invalid. The backup was preserved."});
    }
    EXPECT_TRUE(dock.writes.isEmpty());
}

TEST_F(DockPreferenceTransactionTest, FailuresKeepTheBackup)
{
    const DockPreferenceBackup backup = capturedAndSaved();
    const DockIntegrationError unsaved{
        "The system could not save the Dock preferences. Check that Wharf can write user preferences."};
    // A key the administrator has locked refuses the write.
    dock.failWrites = true;
    EXPECT_EQ(transaction.setHidden().failure(), unsaved);
    EXPECT_EQ(transaction.restore(backup).failure(), unsaved);
    dock.failWrites = false;
    EXPECT_EQ(fileBytes(), encodeBackup(backup));

    // The desktop's dock was uninstalled since: that is what the user must hear, not "invalid".
    dock.installed = false;
    const Status gone = transaction.restore(backup);
    ASSERT_FALSE(gone.ok());
    EXPECT_TRUE(gone.error().message.contains("no longer installed")) << gone.error().message.toStdString();
    EXPECT_EQ(fileBytes(), encodeBackup(backup));
}

TEST_F(DockPreferenceTransactionTest, LockWaitsForItsHolderAndReportsWhatStopsIt)
{
    ASSERT_SUCCESS(transaction.withLock([] { return Status(); }));
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
        _exit(0);
    }
    char byte;
    ASSERT_EQ(read(locked[0], &byte, 1), 1);
    bool ranAfterRelease = false;
    ASSERT_SUCCESS(transaction.withLock([&] {
        ranAfterRelease = read(releasing[0], &byte, 1) == 1;
        return Status();
    }));
    EXPECT_TRUE(ranAfterRelease);
    waitpid(holder, nullptr, 0);

    ASSERT_TRUE(QFile::remove(transaction.lockPath()) && QDir().mkpath(transaction.lockPath()));
    EXPECT_EQ(transaction.withLock([&] { ranAfterRelease = false; return Status(); }).failure(),
              DockIntegrationError{"Could not open the Dock recovery lock: Is a directory."});
    EXPECT_TRUE(ranAfterRelease);
}

} // namespace
} // namespace wharf
