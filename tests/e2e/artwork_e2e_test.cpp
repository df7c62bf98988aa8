// Icon artwork in the running dock: an icon with wide transparent margins and a tight one stand
// equally tall on the same baseline, measured in a screenshot.
#include "dock_e2e_client.h"

#include <QPainter>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

struct Icon {
    QString name;
    QColor color;
    QRect content; // on a 256-pixel canvas
    QRect drawn;   // in the screenshot, in the tile's centre column
};

TEST(ArtworkE2e, PaddedAndTightIconsDrawEquallyTall)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    Icon icons[] = {{QStringLiteral("padded"), QColor(230, 0, 230), QRect(80, 64, 96, 96), {}},
                    {QStringLiteral("tight"), QColor(0, 200, 200), QRect(0, 0, 256, 256), {}}};
    QJsonArray pins;
    for (const Icon& icon : icons) {
        QImage image(256, 256, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter(&image).fillRect(icon.content, icon.color);
        const QString file = session.root() + QLatin1Char('/') + icon.name + QStringLiteral(".png");
        ASSERT_TRUE(image.save(file));
        const QString entry = session.writeDesktopEntry(
            icon.name + QStringLiteral(".desktop"),
            QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=xterm\nIcon=%2\n").arg(icon.name, file));
        pins.append(QJsonObject{{QStringLiteral("path"), entry}, {QStringLiteral("kind"), QStringLiteral("application")}});
    }
    writeWharfSettings(session, {{QStringLiteral("Wharf.pinnedItems.v1"), QJsonDocument(pins).toJson(QJsonDocument::Compact)},
                                 {QStringLiteral("replaceSystemDock"), false}});
    session.xdotool({QStringLiteral("mousemove"), QStringLiteral("5"), QStringLiteral("5")});
    ASSERT_NE(session.startWharf(), nullptr);
    const auto dock = DockClient(session).settledDock();
    ASSERT_TRUE(dock);
    QRectF tile;
    // The first frames may still be on their way to the screen.
    const bool drawn = E2eSession::waitFor([&] {
        const QImage screen = session.screenshot();
        for (Icon& icon : icons) {
            const auto id = std::find_if(dock->ids.begin(), dock->ids.end(), [&](const QString& each) {
                return each.endsWith(QLatin1Char('/') + icon.name + QStringLiteral(".desktop"));
            });
            if (id == dock->ids.end())
                return false;
            tile = dock->tiles[size_t(id - dock->ids.begin())];
            icon.drawn = QRect();
            for (int y = int(tile.top()) - 10; y < std::min(screen.height(), int(tile.bottom()) + 10); ++y) {
                const QColor c = screen.pixelColor(int(tile.center().x()), y);
                if (std::abs(c.red() - icon.color.red()) + std::abs(c.green() - icon.color.green())
                        + std::abs(c.blue() - icon.color.blue()) <= 60)
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
}

} // namespace
} // namespace wharf::e2e
