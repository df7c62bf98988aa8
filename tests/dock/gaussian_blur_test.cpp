#include "dock/gaussian_blur.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

// One opaque pixel spreads into a symmetric bell that keeps its weight, whether it sits in the
// middle or against an edge that the margin makes room beyond; its shadow is that bell in one colour.
TEST(GaussianBlur, APixelSpreadsSymmetricallyKeepsItsWeightAndCastsAShadowOfItsCoverage)
{
    for (const int at : {10, 0}) {
        SCOPED_TRACE(at);
        QImage dot(21, 21, QImage::Format_ARGB32_Premultiplied);
        dot.fill(Qt::transparent);
        dot.setPixel(at, 10, qRgba(255, 255, 255, 255));
        const int margin = blurMargin(2);
        const QImage blurred = gaussianBlur(dot, 2, margin);
        ASSERT_EQ(blurred.size(), dot.size() + QSize(2 * margin, 2 * margin));
        const int cx = at + margin, cy = 10 + margin;
        int total = 0;
        for (int y = 0; y < blurred.height(); ++y) {
            for (int x = 0; x < blurred.width(); ++x)
                total += qAlpha(blurred.pixel(x, y));
        }
        EXPECT_NEAR(total, 255, 25);
        for (int d = 1; d <= margin; ++d) {
            EXPECT_EQ(blurred.pixel(cx - d, cy), blurred.pixel(cx + d, cy)) << d;
            EXPECT_EQ(blurred.pixel(cx, cy - d), blurred.pixel(cx, cy + d)) << d;
            EXPECT_LE(qAlpha(blurred.pixel(cx + d, cy)), qAlpha(blurred.pixel(cx + d - 1, cy))) << d;
        }
        EXPECT_GT(qAlpha(blurred.pixel(cx, cy)), qAlpha(blurred.pixel(cx + 1, cy)));

        const QImage shadow = blurredShadow(blurred, 0, QColor(0, 0, 255, 128));
        const QRgb centre = shadow.pixel(cx, cy);
        EXPECT_EQ(qRed(centre), 0);
        EXPECT_NEAR(qAlpha(centre), qAlpha(blurred.pixel(cx, cy)) / 2, 1);
        EXPECT_EQ(qBlue(centre), qAlpha(centre));
    }
}

} // namespace
} // namespace wharf
