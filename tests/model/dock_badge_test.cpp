// Badge text: what is stored and what is drawn. (What a launcher entry shows or hides, and where
// the badge sits, are checked end to end from the signal applications send.)
#include "model/dock_badge.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

namespace wharf {
namespace {

TEST(DockBadge, TheLabelIsStoredTrimmedAndBoundedAndShownShort)
{
    const struct {
        const char* name;
        std::optional<QString> raw;
        std::optional<QString> stored;
    } rows[] = {
        {"absent", std::nullopt, std::nullopt},
        {"spaces and a line break around digits", " 12\n", "12"},
        {"only spaces", "   ", std::nullopt},
        {"zero", "0", std::nullopt},
        {"long text", QString(70, 'x'), QString(64, 'x')},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DockBadge::label(row.raw), row.stored) << row.name;
    // A surrogate pair straddling the cut is dropped whole.
    EXPECT_EQ(DockBadge::label(QString(63, 'a') + QString::fromUtf8("😀"))->size(), 63);

    const std::pair<const char*, const char*> shown[] = {
        {"999", "999"},
        {"+1000", "999+"},
        {"123456789012345678901234567890", "999+"}, // beyond any integer type
        {"-5000", "-50…"},                          // not above 999, five characters
        {"0999", "0999"},
        {"new", "new"},
        {"hello", "hel…"},
    };
    for (const auto& [label, form] : shown)
        EXPECT_EQ(DockBadge::display(label), form) << label;
}

TEST(DockBadge, GrowsWithItsTextAndHasAFloor)
{
    const QRectF icon(100, 200, 64, 64);
    EXPECT_DOUBLE_EQ(DockBadge::height(QRectF(0, 0, 16, 16)), 12) << "never smaller than 12";
    const QRectF badge = DockBadge::frame("3", icon);
    EXPECT_GE(badge.width(), badge.height()) << "a single digit is a circle";
    EXPECT_GT(DockBadge::frame("999+", icon).width(), badge.width());
    EXPECT_TRUE(DockBadge::paintedFrame("3", icon).contains(badge));
}

// Largest difference of any channel between two images of the same size and 32-bit format.
int largestDifference(const QImage& a, const QImage& b)
{
    int worst = 0;
    for (qsizetype i = 0; i < a.sizeInBytes(); ++i)
        worst = std::max(worst, std::abs(a.constBits()[i] - b.constBits()[i]));
    return worst;
}

TEST(DockBadge, DrawnBadgesLandWhereTheirPathsWould)
{
    // A badge is copied from a picture drawn once; a painter that scales draws the paths
    // themselves. Both must put the same pixels in the same places, at fractional positions
    // and at two device pixels a point.
    for (const double dpr : {1.0, 2.0}) {
        for (const QPointF offset : {QPointF(0, 0), QPointF(10.3, 7.6), QPointF(-0.5, 20.25)}) {
            const auto render = [&](bool copied) {
                QImage image(QSize(120, 90) * dpr, QImage::Format_ARGB32_Premultiplied);
                image.setDevicePixelRatio(dpr);
                image.fill(Qt::transparent);
                QPainter painter(&image);
                painter.translate(offset);
                if (!copied)
                    painter.scale(1.0000001, 1.0000001);
                DockBadge::draw(painter, "42", QRectF(20.4, 30.7, 64, 64));
                return image;
            };
            const QImage copied = render(true);
            EXPECT_LE(largestDifference(copied, render(false)), 24) << dpr << " " << offset.x() << "," << offset.y();
            EXPECT_NE(copied.pixel(QPointF(QPointF(77, 28) + offset).toPoint() * dpr), 0u) << "a badge is drawn";
        }
    }
}

} // namespace
} // namespace wharf
