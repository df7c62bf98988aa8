// Icon artwork in the running dock: an icon drawn with wide transparent margins and a tight one
// stand equally tall on the same baseline, measured in a screenshot.
#include "dock_e2e_client.h"

#include <QColor>
#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace wharf::e2e {
namespace {

// The rows of the screenshot's column `x` inside `frame` whose pixel is close to `color`.
std::optional<std::pair<int, int>> rowsOf(const QImage& screen, int x, const QRectF& frame, const QColor& color)
{
    std::optional<std::pair<int, int>> rows;
    for (int y = std::max(0, int(frame.top()) - 10); y < std::min(screen.height(), int(frame.bottom()) + 10); ++y) {
        const QColor c = screen.pixelColor(x, y);
        if (std::abs(c.red() - color.red()) + std::abs(c.green() - color.green()) + std::abs(c.blue() - color.blue()) > 60)
            continue;
        rows = rows ? std::pair{rows->first, y} : std::pair{y, y};
    }
    return rows;
}

TEST(ArtworkE2e, PaddedAndTightIconsDrawEquallyTall)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString icons = session.root() + QStringLiteral("/icons");
    QDir().mkpath(icons);
    struct Icon {
        QString name;
        QColor color;
        QRect content; // on a 256-pixel canvas
    };
    const Icon padded{QStringLiteral("padded"), QColor(230, 0, 230), QRect(80, 64, 96, 96)};
    const Icon tight{QStringLiteral("tight"), QColor(0, 200, 200), QRect(0, 0, 256, 256)};
    QJsonArray pins;
    for (const Icon& icon : {padded, tight}) {
        QImage image(256, 256, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter(&image).fillRect(icon.content, icon.color);
        const QString file = icons + QLatin1Char('/') + icon.name + QStringLiteral(".png");
        ASSERT_TRUE(image.save(file));
        const QString entry = session.writeDesktopEntry(
            icon.name + QStringLiteral(".desktop"),
            QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=xterm -class %1\nIcon=%2\n")
                .arg(icon.name, file));
        pins.append(QJsonObject{{QStringLiteral("path"), entry}, {QStringLiteral("kind"), QStringLiteral("application")}});
    }
    writeWharfSettings(session, {{QStringLiteral("Wharf.pinnedItems.v1"), QJsonDocument(pins).toJson(QJsonDocument::Compact)},
                                 {QStringLiteral("replaceSystemDock"), false}});
    session.xdotool({QStringLiteral("mousemove"), QStringLiteral("5"), QStringLiteral("5")});
    ASSERT_NE(session.startWharf(), nullptr);
    const auto dock = DockClient(session).settledDock();
    ASSERT_TRUE(dock);

    std::optional<std::pair<int, int>> measured[2];
    QRectF frames[2];
    const Icon* order[2] = {&padded, &tight};
    // The first frames may still be on their way to the screen.
    E2eSession::waitFor(
        [&] {
            const QImage screen = session.screenshot();
            for (int i = 0; i < 2; ++i) {
                const QString suffix = QLatin1Char('/') + order[i]->name + QStringLiteral(".desktop");
                const auto id = std::find_if(dock->ids.begin(), dock->ids.end(),
                                             [&](const QString& each) { return each.endsWith(suffix); });
                if (id == dock->ids.end())
                    return false;
                const auto index = std::distance(dock->ids.begin(), id);
                frames[i] = dock->tiles[size_t(index)];
                measured[i] = rowsOf(screen, int(frames[i].center().x()), frames[i], order[i]->color);
            }
            return measured[0] && measured[1];
        },
        10000, 200);
    ASSERT_TRUE(measured[0]) << "the padded icon is drawn";
    ASSERT_TRUE(measured[1]) << "the tight icon is drawn";
    const int paddedHeight = measured[0]->second - measured[0]->first + 1;
    const int tightHeight = measured[1]->second - measured[1]->first + 1;
    // Unnormalized, the padded square would be 96/256 of its tile.
    EXPECT_GT(tightHeight, 0.85 * frames[1].height());
    EXPECT_NEAR(paddedHeight, tightHeight, 0.06 * frames[1].height());
    EXPECT_NEAR(measured[0]->second, measured[1]->second, 0.06 * frames[1].height()) << "the same baseline";
}

} // namespace
} // namespace wharf::e2e
