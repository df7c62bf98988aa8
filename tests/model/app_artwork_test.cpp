// One icon object per item while its pixels stay the same; a new one when they change.
#include "model/app_artwork.h"
#include "model/dock_model.h"
#include "settings/dock_preferences.h"

#include "doubles/fake_workspace.h"

#include <QDir>
#include <QFile>
#include <QPixmap>
#include <QSettings>
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
    EXPECT_EQ(artwork.stableImage(solid(Qt::red), QStringLiteral("app")).cacheKey(), first.cacheKey())
        << "a recreated icon with the same pixels";
    EXPECT_NE(artwork.stableImage(solid(Qt::red), QStringLiteral("other")).cacheKey(), first.cacheKey())
        << "each item has its own";

    const QIcon recoloured = artwork.stableImage(solid(Qt::blue), QStringLiteral("app"));
    EXPECT_NE(recoloured.cacheKey(), first.cacheKey());
    EXPECT_EQ(centreOf(recoloured), QColor(Qt::blue));

    // Offering the very same object again takes no new digest.
    const QIcon same = solid(Qt::green);
    artwork.stableImage(same, QStringLiteral("app"));
    const int digests = artwork.digestCount;
    artwork.stableImage(same, QStringLiteral("app"));
    EXPECT_EQ(artwork.digestCount, digests);

    artwork.retain({QStringLiteral("other")});
    EXPECT_FALSE(artwork.entries.contains(QStringLiteral("app")));
    EXPECT_TRUE(artwork.entries.contains(QStringLiteral("other")));
}

// A theme icon object stays the same object when the theme changes; its pixels do not.
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

// A program without a desktop entry whose window icon object is made anew on every scan.
TEST(AppArtwork, TheModelReportsNoChangeForARecreatedIcon)
{
    QTemporaryDir dir;
    DockPreferences preferences(std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat));
    FakeWorkspace workspace;
    const QString program = dir.filePath(QStringLiteral("tool"));
    QFile(program).open(QIODevice::WriteOnly);
    auto running = FakeWorkspace::app(QStringLiteral("tool"), 42, program);
    running.icon = solid(Qt::red);
    workspace.launch(running);
    DockModel model(workspace, preferences);
    int changes = 0;
    const auto counting = model.onChange.add([&] { ++changes; });
    const auto iconOf = [&] {
        for (const DockItem& item : model.items())
            if (item.runningApplication)
                return item.icon;
        return QIcon();
    };
    const qint64 shown = iconOf().cacheKey();
    ASSERT_NE(shown, 0);

    workspace.update(QStringLiteral("tool"), [](RunningApplication& a) { a.icon = solid(Qt::red); });
    model.refresh();
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(iconOf().cacheKey(), shown);

    workspace.update(QStringLiteral("tool"), [](RunningApplication& a) { a.icon = solid(Qt::blue); });
    model.refresh();
    EXPECT_EQ(changes, 1);
    EXPECT_NE(iconOf().cacheKey(), shown);
}

} // namespace
} // namespace wharf
