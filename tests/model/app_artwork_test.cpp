// One icon object per item while its pixels stay the same, shared by items with the same pixels;
// a new one when they change. (A new icon theme, which changes the pixels of the same object, is
// checked end to end.)
#include "model/app_artwork.h"

#include <QPixmap>

#include <gtest/gtest.h>

namespace wharf {
namespace {

QIcon solid(const QColor& color)
{
    QPixmap pixmap(64, 64);
    pixmap.fill(color);
    return QIcon(pixmap);
}

TEST(AppArtwork, SamePixelsKeepTheObjectAndNewPixelsReplaceIt)
{
    AppArtwork artwork;
    const QIcon first = artwork.stableImage(solid(Qt::red), "app");
    EXPECT_EQ(artwork.stableImage(solid(Qt::red), "app").cacheKey(), first.cacheKey());
    const QIcon blue = artwork.stableImage(solid(Qt::blue), "app");
    EXPECT_NE(blue.cacheKey(), first.cacheKey());
    EXPECT_EQ(blue.pixmap(QSize(32, 32), 1.0).toImage().pixelColor(16, 16), QColor(Qt::blue));
    // Another item with the same pixels from an icon object of its own: the dock draws one icon.
    EXPECT_EQ(artwork.stableImage(solid(Qt::blue), "folder").cacheKey(), blue.cacheKey());

    artwork.retain({});
    EXPECT_NE(artwork.stableImage(solid(Qt::blue), "app").cacheKey(), blue.cacheKey())
        << "a forgotten item starts afresh";
}

} // namespace
} // namespace wharf
