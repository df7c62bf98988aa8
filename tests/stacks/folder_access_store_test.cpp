#include "stacks/folder_access_store.h"

#include "settings/dock_preferences.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace wharf;

namespace {

class FolderAccessStoreTest : public testing::Test {
protected:
    FolderAccessStoreTest()
        : store(std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat)), preferences(store)
    {
        // Bookmarks name a folder by its path; `moved` sends one folder elsewhere.
        operations.create = [this](const QString& path) -> Result<QByteArray> {
            ++created;
            if (refuse)
                return Error{"refused"};
            return path.toUtf8();
        };
        operations.resolve = [this](const QByteArray& data) -> Result<std::pair<QString, bool>> {
            const QString path = QString::fromUtf8(data);
            if (path == gone)
                return Error{"gone"};
            return std::pair{moved.value(path, path), stale};
        };
        operations.start = [this](const QString& path) {
            started << path;
            return true;
        };
        operations.stop = [this](const QString& path) { stopped << path; };
    }

    QTemporaryDir dir;
    std::shared_ptr<QSettings> store;
    DockPreferences preferences;
    BookmarkOperations operations;
    QMap<QString, QString> moved;
    QString gone;
    bool stale = false;
    bool refuse = false;
    int created = 0;
    QStringList started, stopped;
};

TEST_F(FolderAccessStoreTest, TheNearestRememberedAncestorAnswersByComponents)
{
    FolderAccessStore access(preferences, operations);
    ASSERT_TRUE(access.remember("/home/u").ok());
    ASSERT_TRUE(access.remember("/home/u/Documents/").ok());
    EXPECT_EQ(started, stopped) << "remembering ends the access it started";

    const struct {
        const char* path;
        const char* expected; // empty: none
    } rows[] = {
        {"/home/u/Documents/Reports", "/home/u/Documents"},
        {"/home/u/Downloads", "/home/u"},
        {"/home/u", "/home/u"},
        {"/home/uv", ""},
        {"/home/u/Documents/../Music", "/home/u"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const auto found = access.savedAncestor(row.path);
        EXPECT_EQ(found ? found->first : QString(), QString(row.expected));
    }

    FolderAccessStore reloaded(preferences, operations);
    EXPECT_EQ(reloaded.bookmarks(), access.bookmarks());
    EXPECT_EQ(reloaded.bookmarks().size(), 2u);
}

TEST_F(FolderAccessStoreTest, AMovedFolderResolvesToItsNewPlaceWithTheSubPath)
{
    FolderAccessStore access(preferences, operations);
    ASSERT_TRUE(access.remember("/data/photos").ok());
    moved["/data/photos"] = "/archive/photos-2024";
    {
        auto lease = access.access("/data/photos/a/b");
        ASSERT_TRUE(lease.ok());
        EXPECT_EQ(lease.value()->url, "/archive/photos-2024/a/b");
        stopped.clear();
    }
    EXPECT_EQ(stopped, QStringList{"/archive/photos-2024"}) << "releasing the lease ends the access";

    gone = "/data/photos";
    EXPECT_FALSE(access.access("/data/photos/a").ok());

    auto plain = access.access("/elsewhere/x");
    ASSERT_TRUE(plain.ok());
    EXPECT_EQ(plain.value()->url, "/elsewhere/x");
    EXPECT_FALSE(plain.value()->stop);
}

TEST_F(FolderAccessStoreTest, StaleBookmarksAreRenewedAndRefusalsReported)
{
    FolderAccessStore access(preferences, operations);
    EXPECT_EQ(access.remember("relative/path").error().message, FolderAccessStore::invalidFolderMessage);
    ASSERT_TRUE(access.remember("/data").ok());
    ASSERT_TRUE(access.remember("/data").ok());
    EXPECT_EQ(access.bookmarks().size(), 1u);

    stale = true;
    const int before = created;
    EXPECT_TRUE(access.access("/data/x").ok());
    EXPECT_EQ(created, before + 1);

    refuse = true;
    stopped.clear();
    EXPECT_FALSE(access.access("/data/x").ok());
    EXPECT_EQ(stopped, QStringList{"/data"}) << "a failed renewal ends the access it started";
    EXPECT_FALSE(access.remember("/other").ok());
}

TEST_F(FolderAccessStoreTest, LiveBookmarksAreCanonicalPathsOfExistingFolders)
{
    QDir(dir.path()).mkpath("real/sub");
    FolderAccessStore access(preferences);
    ASSERT_TRUE(access.remember(dir.filePath("real/../real")).ok());
    auto lease = access.access(dir.filePath("real/sub"));
    ASSERT_TRUE(lease.ok());
    EXPECT_EQ(QDir(lease.value()->url).canonicalPath(), QDir(dir.filePath("real/sub")).canonicalPath());
    QDir(dir.filePath("real")).removeRecursively();
    EXPECT_FALSE(access.access(dir.filePath("real/sub")).ok());
    EXPECT_FALSE(access.remember(dir.filePath("missing")).ok());
}

} // namespace
