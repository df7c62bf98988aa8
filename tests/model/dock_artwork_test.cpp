// Icons on the common canvas: margins trimmed, one size and baseline, sharp at any pixel size.
#include "model/dock_artwork.h"

#include <QIconEngine>
#include <QPainter>

#include <gtest/gtest.h>

namespace wharf {
namespace {

QIcon squareIcon(int side, QRect content, const QColor& color = Qt::red)
{
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter(&pixmap).fillRect(content, color);
    return QIcon(pixmap);
}

QRect opaqueArea(const QImage& image)
{
    QRect area;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > 128)
                area |= QRect(x, y, 1, 1);
    return area;
}

// One-pixel black and white columns at whatever size it is asked, like a scalable icon.
class StripesEngine : public QIconEngine {
public:
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        for (int x = rect.left(); x <= rect.right(); ++x)
            painter->fillRect(QRect(x, rect.top(), 1, rect.height()), (x - rect.left()) % 2 ? Qt::white : Qt::black);
    }
    QIconEngine* clone() const override { return new StripesEngine; }
};

// Wide transparent margins are checked where the dock draws the icons; content off-centre and small bitmaps here.
TEST(DockArtwork, TrimmedIconsFillTheSameBoxOnTheSameBaseline)
{
    const int side = 116; // a 58-point tile at twice the pixels
    const QRect tight = opaqueArea(DockArtwork::normalized(squareIcon(256, QRect(0, 0, 256, 256)), side));
    const std::pair<const char*, QIcon> rows[] = {
        {"content off in a corner", squareIcon(256, QRect(10, 20, 120, 120))},
        {"a small bitmap, enlarged", squareIcon(32, QRect(8, 8, 16, 16))},
    };
    // The margin kept around trimmed content costs it a few percent at most.
    const double tolerance = 0.05 * side;
    for (const auto& [name, icon] : rows) {
        const QRect area = opaqueArea(DockArtwork::normalized(icon, side));
        EXPECT_NEAR(area.height(), tight.height(), tolerance) << name;
        EXPECT_NEAR(area.width(), tight.width(), tolerance) << name;
        EXPECT_NEAR(area.bottom(), tight.bottom(), tolerance) << name << ": the same baseline";
        EXPECT_NEAR(area.center().x(), tight.center().x(), 1.5) << name << ": centred";
    }
}

TEST(DockArtwork, RendersAtTheRequestedPixelsWithoutResampling)
{
    const QIcon icon = DockArtwork::image(QIcon(new StripesEngine), "stripes");
    for (const int side : {58, 116, 232}) {
        const QImage image = icon.pixmap(QSize(side, side), 1.0).toImage();
        const QRect area = opaqueArea(image);
        ASSERT_FALSE(area.isEmpty());
        int blurred = 0;
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor c = image.pixelColor(x, area.center().y());
            blurred += c.red() != 0 && c.red() != 255;
        }
        EXPECT_EQ(blurred, 0) << side << " pixels: every column stays pure black or white";
    }
}

TEST(DockArtwork, OneObjectPerSourceAndBlankIconsLeftAlone)
{
    const QIcon source = squareIcon(64, QRect(16, 16, 32, 32));
    const QIcon normalized = DockArtwork::image(source, "item");
    EXPECT_EQ(DockArtwork::image(source, "item").cacheKey(), normalized.cacheKey());
    EXPECT_EQ(DockArtwork::image(source, "other item").cacheKey(), normalized.cacheKey())
        << "items showing one icon object share its normalized icon";
    EXPECT_NE(DockArtwork::image(squareIcon(64, QRect(16, 16, 32, 32)), "item").cacheKey(), normalized.cacheKey());

    const QIcon faint = squareIcon(64, QRect(0, 0, 64, 64), QColor(0, 0, 0, 20));
    EXPECT_EQ(DockArtwork::image(faint, "faint").cacheKey(), faint.cacheKey()) << "the source is used";
}

} // namespace
} // namespace wharf
