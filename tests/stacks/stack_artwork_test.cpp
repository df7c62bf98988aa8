#include "stacks/stack_artwork.h"

#include "stacks/folder_access_store.h"
#include "stacks/stack_preferences.h"
#include "support/temp_preferences.h"
#include "support/wait_for.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QUrl>

#include <gtest/gtest.h>

using namespace wharf;

namespace {

StackEntry document(const QString& title, int day = 1)
{
    return {.url = QUrl::fromLocalFile("/pile/" + title), .title = title,
            .modificationDate = QDateTime(QDate(2024, 1, day), QTime(9, 0), Qt::UTC), .creationDate = {},
            .kind = "Text"};
}

class StackArtworkTest : public testing::Test, protected test::TempPreferences {
protected:
    StackArtworkTest()
        : stacks(preferences), access(preferences),
          artwork(stacks, access, [](const StackEntry&) {
              QImage picture(64, 64, QImage::Format_ARGB32);
              picture.fill(Qt::blue);
              return picture;
          })
    {
        subscription = artwork.artworkChanged.add([this](const QString& folder) { told << folder; });
    }

    StackPreferences stacks;
    FolderAccessStore access;
    StackArtwork artwork;
    QStringList told;
    CallbackList<QString>::Subscription subscription;
};

const StackSettings pile{StackViewMode::automatic, StackSortOrder::name, StackDisplayMode::stack};
const StackSettings plain{StackViewMode::automatic, StackSortOrder::name, StackDisplayMode::folder};

TEST_F(StackArtworkTest, APileOfTheFirstThreeRedrawnOnlyWhenTheyChange)
{
    const std::vector<StackEntry> five{document("a"), document("b"), document("c"), document("d"), document("e")};
    artwork.update("/pile", five, pile);
    ASSERT_TRUE(artwork.image("/pile"));
    const qint64 first = artwork.image("/pile")->cacheKey();
    EXPECT_EQ(told, QStringList{"/pile"});

    auto touched = five;
    touched[3] = document("d", 9);
    artwork.update("/pile/", touched, pile);
    EXPECT_EQ(artwork.renderCount(), 1) << "a fourth document does not show";
    EXPECT_EQ(artwork.image("/pile")->cacheKey(), first) << "the same icon, so the dock's caches hold";

    touched[1] = document("b", 9);
    artwork.update("/pile", touched, pile);
    EXPECT_EQ(artwork.renderCount(), 2);
    EXPECT_NE(artwork.image("/pile")->cacheKey(), first);

    artwork.update("/pile", touched, plain);
    EXPECT_FALSE(artwork.image("/pile")) << "folder mode shows the folder's own icon";
    EXPECT_EQ(told.size(), 3);
    artwork.update("/pile", {}, pile);
    EXPECT_FALSE(artwork.image("/pile")) << "an empty folder has no pile";
    EXPECT_EQ(told.size(), 3) << "none before, none now";
}

TEST_F(StackArtworkTest, TheFrontDocumentSitsStraightAtTheBottom)
{
    QImage red(100, 100, QImage::Format_ARGB32);
    red.fill(Qt::red);
    const QImage one = StackArtwork::render({red});
    EXPECT_EQ(one.size(), QSize(512, 512));
    // The front slot spans x 81..431 and, from the top, 134..484.
    EXPECT_EQ(one.pixelColor(256, 300), QColor(Qt::red));
    EXPECT_EQ(one.pixelColor(20, 20).alpha(), 0);
    EXPECT_EQ(one.pixelColor(256, 120).alpha(), 0) << "nothing above a lone document";
}

TEST_F(StackArtworkTest, OnlyRememberedFoldersAreReadWithoutAsking)
{
    QDir(dir.path()).mkpath("docs");
    QFile(dir.filePath("docs/one.txt")).open(QIODevice::WriteOnly);
    stacks.setSettings(pile, dir.filePath("docs"));
    artwork.preferencesChanged(dir.filePath("docs"));
    QCoreApplication::processEvents();
    EXPECT_FALSE(artwork.image(dir.filePath("docs")));

    ASSERT_TRUE(access.remember(dir.filePath("docs")).ok());
    artwork.preferencesChanged(dir.filePath("docs"));
    ASSERT_TRUE(waitFor([&] { return bool(artwork.image(dir.filePath("docs"))); }));
    EXPECT_EQ(artwork.documents(dir.filePath("docs")), QStringList{"one.txt"});
}

} // namespace
