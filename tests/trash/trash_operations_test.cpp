// Emptying every Trash directory, and moving files to the Trash off the main thread.
#include "trash/trash_operations.h"

#include "support/files.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

namespace wharf {
namespace {

QStringList names(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

// A Trash directory with a file, a folder and a hidden file, each with its .trashinfo.
void fillTrash(const QString& trash, const QStringList& items)
{
    for (const QString& item : items) {
        ASSERT_TRUE(test::writeFile(trash + "/files/" + item + "/inner"));
        ASSERT_TRUE(test::writeFile(trash + "/info/" + item + ".trashinfo"));
    }
    ASSERT_TRUE(test::writeFile(trash + "/directorysizes"));
}

TEST(TrashOperations, AnUndeletableEntryKeepsItsRecordAndDoesNotStopTheRestAndALinkGoesWithoutItsTarget)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString home = dir.filePath("home/Trash");
    const QString volume = dir.filePath("volume/.Trash-1000");
    fillTrash(home, {"a.txt", "locked", ".hidden"});
    fillTrash(volume, {"b"});
    ASSERT_TRUE(test::writeFile(home + "/info/orphan.trashinfo"));
    const QString target = dir.filePath("keep/precious");
    ASSERT_TRUE(test::writeFile(target));
    ASSERT_TRUE(QFile::link(dir.filePath("keep"), volume + "/files/link"));
    ASSERT_TRUE(QFile::link(dir.filePath("gone"), volume + "/files/dangling"));

    const auto remove = [](const QString& path) {
        return path.endsWith("/files/locked") ? Status(Error{"“locked” couldn’t be removed: Operation not permitted"})
                                              : removeTrashEntry(path);
    };
    const std::optional<Error> failure = emptyTrashDirectories({home, dir.filePath("never-created"), volume}, remove);

    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->message, "“locked” couldn’t be removed: Operation not permitted");
    EXPECT_EQ(names(home + "/files"), QStringList{"locked"});
    EXPECT_EQ(names(home + "/info"), QStringList{"locked.trashinfo"});
    EXPECT_FALSE(QFile::exists(home + "/directorysizes"));
    EXPECT_TRUE(names(volume + "/files").isEmpty());
    EXPECT_TRUE(names(volume + "/info").isEmpty());
    EXPECT_TRUE(QFile::exists(target));
    EXPECT_FALSE(emptyTrashDirectories({home}, removeTrashEntry)) << "the second attempt removes the rest";
}

class RecordingTrash : public FileTrash {
public:
    Status moveToTrash(const QString& path) override
    {
        const std::lock_guard lock(mutex);
        threads.insert(QThread::currentThread());
        moved << path;
        return path.endsWith("busy") ? Status(Error{path + ": busy"}) : Status();
    }
    std::mutex mutex;
    QSet<QThread*> threads;
    QStringList moved;
};

TEST(TrashOperations, RecycleRunsOffTheMainThreadAndReportsTheFirstFailure)
{
    auto trash = std::make_unique<RecordingTrash>();
    RecordingTrash* recording = trash.get();
    TrashOperations operations(std::move(trash), [] { return Result<QStringList>(QStringList{}); });

    QStringList paths;
    for (int i = 0; i < 5000; ++i)
        paths << QStringLiteral("/files/%1%2").arg(i).arg(i == 10 || i == 20 ? "busy" : QString());
    // Never resolved against Wharf's own working folder.
    paths.insert(0, "relative/file");
    std::optional<std::optional<Error>> answer;
    QThread* answeredOn = nullptr;
    operations.recycle(paths, [&](std::optional<Error> failure) {
        answer = failure;
        answeredOn = QThread::currentThread();
    });
    operations.waitForDone();
    QCoreApplication::processEvents();

    ASSERT_TRUE(answer);
    ASSERT_TRUE(*answer);
    EXPECT_EQ((*answer)->message, "relative/file: not an absolute path");
    paths.removeFirst();
    EXPECT_EQ(recording->moved, paths) << "a failure does not stop the rest";
    EXPECT_FALSE(recording->threads.contains(QThread::currentThread()));
    EXPECT_EQ(answeredOn, QThread::currentThread());
}

} // namespace
} // namespace wharf
