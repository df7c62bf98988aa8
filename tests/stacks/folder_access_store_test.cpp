// Remembered folders with the live operations the dock uses: a bookmark is the folder's canonical
// path, and resolving checks that the folder is still there.
#include "stacks/folder_access_store.h"

#include "support/temp_preferences.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace wharf;

namespace {

class FolderAccessStoreTest : public testing::Test, protected test::TempPreferences {
protected:
    FolderAccessStoreTest()
    {
        QDir(dir.path()).mkpath("u/Documents/Reports");
        QDir(dir.path()).mkpath("uv");
    }
    QString path(const QString& name) const { return QDir(dir.path()).canonicalPath() + "/" + name; }
};

TEST_F(FolderAccessStoreTest, TheNearestRememberedAncestorAnswersByComponents)
{
    FolderAccessStore access(preferences);
    ASSERT_TRUE(access.remember(path("u")).ok());
    ASSERT_TRUE(access.remember(path("u/Documents/")).ok());
    ASSERT_TRUE(access.remember(path("u/Documents")).ok());
    EXPECT_EQ(access.remember("relative/path").error().message, FolderAccessStore::invalidFolderMessage);

    const struct {
        const char* path;
        const char* expected; // empty: none
    } rows[] = {
        {"u/Documents/Reports", "u/Documents"},
        {"u/Downloads", "u"},
        {"u", "u"},
        {"uv", ""},
        {"u/Documents/../Music", "u"},
    };
    for (const auto& row : rows) {
        const auto found = access.savedAncestor(path(row.path));
        EXPECT_EQ(found ? found->first : QString(), *row.expected ? path(row.expected) : QString()) << row.path;
    }

    FolderAccessStore reloaded(preferences);
    EXPECT_EQ(reloaded.bookmarks(), access.bookmarks());
    EXPECT_EQ(reloaded.bookmarks().size(), 2u) << "a folder remembered twice is one bookmark";
}

TEST_F(FolderAccessStoreTest, AccessIsByCanonicalPathsOfFoldersStillThere)
{
    FolderAccessStore access(preferences);
    ASSERT_TRUE(access.remember(dir.filePath("u/../u")).ok());
    auto below = access.access(dir.filePath("u/Documents"));
    ASSERT_TRUE(below.ok());
    EXPECT_EQ(below.value(), path("u/Documents"));

    auto plain = access.access("/elsewhere/x");
    ASSERT_TRUE(plain.ok());
    EXPECT_EQ(plain.value(), "/elsewhere/x");

    QDir(dir.filePath("u")).removeRecursively();
    EXPECT_FALSE(access.access(dir.filePath("u/Documents")).ok());
    EXPECT_FALSE(access.remember(dir.filePath("missing")).ok());
}

} // namespace
