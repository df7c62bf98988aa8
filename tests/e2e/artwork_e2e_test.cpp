// Icon artwork in the running dock: an icon with wide transparent margins and a tight one stand
// equally tall on the same baseline, and a new icon theme redraws the icons, seen in screenshots.
#include "dock_e2e_client.h"

#include <QPainter>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

QRectF tileOf(const DockInfo& dock, const QString& name)
{
    const auto id = std::find_if(dock.ids.begin(), dock.ids.end(), [&](const QString& each) {
        return each.endsWith(QLatin1Char('/') + name + QStringLiteral(".desktop"));
    });
    return id == dock.ids.end() ? QRectF() : dock.tiles[size_t(id - dock.ids.begin())];
}

bool near(const QColor& a, const QColor& b) { return colorDistance(a, b) <= 60; }

struct Icon {
    QString name;
    QColor color;
    QRect content; // on a 256-pixel canvas
    QRect drawn;   // in the screenshot, in the tile's centre column
};

TEST(ArtworkE2e, PaddedAndTightIconsDrawEquallyTallAndANewIconThemeRedrawsTheIcons)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    Icon icons[] = {{QStringLiteral("padded"), QColor(230, 0, 230), QRect(80, 64, 96, 96), {}},
                    {QStringLiteral("tight"), QColor(0, 200, 200), QRect(0, 0, 256, 256), {}}};
    std::vector<std::pair<QString, QString>> pins;
    const auto pinEntry = [&](const QString& name, const QString& icon) {
        pins.emplace_back(session.writeDesktopEntry(name + QStringLiteral(".desktop"),
                                                    QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=xterm\nIcon=%2\n")
                                                        .arg(name, icon)),
                          QStringLiteral("application"));
    };
    for (const Icon& icon : icons) {
        QImage image(256, 256, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter(&image).fillRect(icon.content, icon.color);
        const QString file = session.root() + QLatin1Char('/') + icon.name + QStringLiteral(".png");
        ASSERT_TRUE(image.save(file));
        pinEntry(icon.name, file);
    }
    // Two installed themes that draw the same icon name red and blue.
    for (const auto& [theme, color] : {std::pair{"WharfRed", Qt::red}, std::pair{"WharfBlue", Qt::blue}}) {
        const QString base = session.dataHome() + QStringLiteral("/icons/") + QLatin1String(theme);
        writeFile(base + QStringLiteral("/index.theme"),
                  "[Icon Theme]\nName=x\nDirectories=256x256/apps\n\n[256x256/apps]\nSize=256\nType=Fixed\n");
        QDir().mkpath(base + QStringLiteral("/256x256/apps"));
        QImage image(256, 256, QImage::Format_ARGB32);
        image.fill(color);
        ASSERT_TRUE(image.save(base + QStringLiteral("/256x256/apps/wharf-e2e-app.png")));
    }
    pinEntry(QStringLiteral("themed"), QStringLiteral("wharf-e2e-app"));
    const auto setTheme = [&](const QString& theme) {
        return session.run(QStringLiteral("gsettings"), {QStringLiteral("set"), QStringLiteral("org.gnome.desktop.interface"),
                                                         QStringLiteral("icon-theme"), theme}).exitCode;
    };
    ASSERT_EQ(setTheme(QStringLiteral("WharfRed")), 0);
    writeWharfSettings(session, {{QStringLiteral("Wharf.pinnedItems.v1"), pinnedItems(pins)},
                                 {QStringLiteral("replaceSystemDock"), false}});
    movePointer(session, QPointF(5, 5));
    ASSERT_NE(session.startWharf(), nullptr);
    const auto dock = DockClient(session).settledDock();
    ASSERT_TRUE(dock);

    QRectF tile;
    // The first frames may still be on their way to the screen.
    const bool drawn = E2eSession::waitFor([&] {
        const QImage screen = session.screenshot();
        for (Icon& icon : icons) {
            tile = tileOf(*dock, icon.name);
            icon.drawn = QRect();
            for (int y = int(tile.top()) - 10; y < std::min(screen.height(), int(tile.bottom()) + 10); ++y) {
                if (near(screen.pixelColor(int(tile.center().x()), y), icon.color))
                    icon.drawn |= QRect(int(tile.center().x()), y, 1, 1);
            }
        }
        return !icons[0].drawn.isEmpty() && !icons[1].drawn.isEmpty();
    }, 10000, 200);
    ASSERT_TRUE(drawn) << "both icons are drawn";
    // Unnormalized, the padded square would be 96/256 of its tile.
    EXPECT_GT(icons[1].drawn.height(), 0.85 * tile.height());
    EXPECT_NEAR(icons[0].drawn.height(), icons[1].drawn.height(), 0.06 * tile.height());
    EXPECT_NEAR(icons[0].drawn.bottom(), icons[1].drawn.bottom(), 0.06 * tile.height()) << "the same baseline";

    const QPoint centre = tileOf(*dock, QStringLiteral("themed")).center().toPoint();
    ASSERT_FALSE(centre.isNull());
    QColor shown;
    const auto shows = [&](const QColor& color) {
        return E2eSession::waitFor([&] { return near(shown = session.screenshot().pixelColor(centre), color); }, 10000, 200);
    };
    EXPECT_TRUE(shows(Qt::red)) << shown.name().toStdString();
    ASSERT_EQ(setTheme(QStringLiteral("WharfBlue")), 0);
    EXPECT_TRUE(shows(Qt::blue)) << shown.name().toStdString();
}

} // namespace
} // namespace wharf::e2e
