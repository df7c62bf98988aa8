// One icon object per item while its pixels stay the same; a new one when they change.
#include "model/app_artwork.h"

#include <QDir>
#include <QFile>
#include <QPixmap>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace wharf {
namespace {

QIcon solid(const QColor& color)
{
    QPixmap pixmap(64, 64);
    pixmap.fill(color);
    return QIcon(pixmap);
}

QColor centreOf(const QIcon& icon) { return icon.pixmap(QSize(32, 32), 1.0).toImage().pixelColor(16, 16); }

TEST(AppArtwork, SamePixelsKeepTheObjectAndNewPixelsReplaceIt)
{
    AppArtwork artwork;
    const QIcon first = artwork.stableImage(solid(Qt::red), QStringLiteral("app"));
    EXPECT_EQ(artwork.stableImage(solid(Qt::red), QStringLiteral("app")).cacheKey(), first.cacheKey());
    const QIcon blue = artwork.stableImage(solid(Qt::blue), QStringLiteral("app"));
    EXPECT_NE(blue.cacheKey(), first.cacheKey());
    EXPECT_EQ(centreOf(blue), QColor(Qt::blue));

    artwork.retain({});
    EXPECT_NE(artwork.stableImage(solid(Qt::blue), QStringLiteral("app")).cacheKey(), blue.cacheKey())
        << "a forgotten item starts afresh";
}

// A theme icon stays the same object when the theme changes; its pixels do not.
TEST(AppArtwork, AThemeChangeGivesANewObject)
{
    QTemporaryDir dir;
    for (const auto& [theme, color] : {std::pair{"one", Qt::red}, std::pair{"two", Qt::blue}}) {
        const QString base = dir.filePath(QStringLiteral("icons/") + QLatin1String(theme));
        ASSERT_TRUE(QDir().mkpath(base + QStringLiteral("/32x32/apps")));
        QFile index(base + QStringLiteral("/index.theme"));
        ASSERT_TRUE(index.open(QIODevice::WriteOnly));
        index.write("[Icon Theme]\nName=x\nDirectories=32x32/apps\n\n[32x32/apps]\nSize=32\nType=Fixed\n");
        index.close();
        QPixmap pixmap(32, 32);
        pixmap.fill(color);
        ASSERT_TRUE(pixmap.save(base + QStringLiteral("/32x32/apps/wharf-artwork-test.png")));
    }
    const QStringList paths = QIcon::themeSearchPaths();
    const QString previous = QIcon::themeName();
    QIcon::setThemeSearchPaths({dir.filePath(QStringLiteral("icons"))});
    QIcon::setThemeName(QStringLiteral("one"));

    AppArtwork artwork;
    const QIcon themed = QIcon::fromTheme(QStringLiteral("wharf-artwork-test"));
    const QIcon before = artwork.stableImage(themed, QStringLiteral("app"));
    EXPECT_EQ(centreOf(before), QColor(Qt::red));
    QIcon::setThemeName(QStringLiteral("two"));
    const QIcon after = artwork.stableImage(themed, QStringLiteral("app"));
    EXPECT_NE(after.cacheKey(), before.cacheKey());
    EXPECT_EQ(centreOf(after), QColor(Qt::blue));

    QIcon::setThemeName(previous);
    QIcon::setThemeSearchPaths(paths);
}

} // namespace
} // namespace wharf
