// Icons on the common canvas: margins trimmed, one size and baseline, sharp at any pixel size.
#include "model/dock_artwork.h"

#include <QIconEngine>
#include <QPainter>
#include <QPixmap>

#include <gtest/gtest.h>

#include <optional>

namespace wharf {
namespace {

// A square of `content` pixels at `at` on a transparent `side` canvas.
QIcon squareIcon(int side, QRect content, const QColor& color = Qt::red)
{
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter(&pixmap).fillRect(content, color);
    return QIcon(pixmap);
}

// Rows and columns with any pixel more than faintly opaque.
std::optional<QRect> opaqueArea(const QImage& image)
{
    QRect area;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > 128)
                area |= QRect(x, y, 1, 1);
    return area.isNull() ? std::nullopt : std::optional(area);
}

// Draws one-pixel black and white columns at whatever size it is asked, like a scalable icon.
class StripesEngine : public QIconEngine {
public:
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        for (int x = rect.left(); x <= rect.right(); ++x)
            painter->fillRect(QRect(x, rect.top(), 1, rect.height()), (x - rect.left()) % 2 ? Qt::white : Qt::black);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pm(size);
        pm.fill(Qt::transparent);
        QPainter p(&pm);
        paint(&p, pm.rect(), mode, state);
        return pm;
    }
    QIconEngine* clone() const override { return new StripesEngine; }
};

TEST(DockArtwork, PaddedAndTightIconsFillTheSameBoxOnTheSameBaseline)
{
    const int side = 116; // a 58-point tile at twice the pixels
    struct Row {
        const char* name;
        QIcon icon;
    };
    const Row rows[] = {
        {"tight", squareIcon(256, QRect(0, 0, 256, 256))},
        {"wide transparent margins", squareIcon(256, QRect(80, 80, 96, 96))},
        {"content off in a corner", squareIcon(256, QRect(10, 20, 120, 120))},
        {"a small bitmap", squareIcon(32, QRect(8, 8, 16, 16))},
    };
    const auto tight = opaqueArea(DockArtwork::normalized(rows[0].icon, side));
    ASSERT_TRUE(tight);
    EXPECT_NEAR(tight->height(), 0.96 * side, 1.5);
    EXPECT_NEAR(side - 1 - tight->bottom(), 0.02 * side, 1.5);
    // The 4-pixel margin kept around trimmed content costs it a few percent at most.
    const double tolerance = 0.05 * side;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto area = opaqueArea(DockArtwork::normalized(row.icon, side));
        ASSERT_TRUE(area);
        EXPECT_NEAR(area->height(), tight->height(), tolerance);
        EXPECT_NEAR(area->width(), tight->width(), tolerance);
        EXPECT_NEAR(area->bottom(), tight->bottom(), tolerance) << "the same baseline";
        EXPECT_NEAR(area->center().x(), tight->center().x(), 1.5) << "centred";
    }
}

TEST(DockArtwork, RendersAtTheRequestedPixelsWithoutResampling)
{
    const QIcon icon(new StripesEngine);
    for (const int side : {58, 116, 232}) {
        const QImage image = DockArtwork::image(icon, QStringLiteral("stripes")).pixmap(QSize(side, side), 1.0).toImage();
        ASSERT_EQ(image.size(), QSize(side, side));
        const auto area = opaqueArea(image);
        ASSERT_TRUE(area);
        int blurred = 0;
        for (int x = area->left(); x <= area->right(); ++x) {
            const QColor c = image.pixelColor(x, area->center().y());
            blurred += c.alpha() == 255 && c.red() != 0 && c.red() != 255;
        }
        EXPECT_EQ(blurred, 0) << side << " pixels: every column stays pure black or white";
    }
}

TEST(DockArtwork, KeepsOneObjectPerSourceAndLeavesBlankIconsAlone)
{
    const QIcon first = squareIcon(64, QRect(16, 16, 32, 32));
    const QIcon normalized = DockArtwork::image(first, QStringLiteral("item"));
    EXPECT_NE(normalized.cacheKey(), first.cacheKey());
    EXPECT_EQ(DockArtwork::image(first, QStringLiteral("item")).cacheKey(), normalized.cacheKey());

    const QIcon second = squareIcon(64, QRect(16, 16, 32, 32));
    EXPECT_NE(DockArtwork::image(second, QStringLiteral("item")).cacheKey(), normalized.cacheKey())
        << "another source object is normalized afresh";

    const QIcon blank = squareIcon(64, QRect(0, 0, 64, 64), QColor(0, 0, 0, 20));
    EXPECT_FALSE(DockArtwork::contentBox(blank));
    EXPECT_EQ(DockArtwork::image(blank, QStringLiteral("blank")).cacheKey(), blank.cacheKey()) << "the source is used";
    EXPECT_EQ(DockArtwork::image(QIcon(), QStringLiteral("none")).cacheKey(), QIcon().cacheKey());
}

} // namespace
} // namespace wharf
