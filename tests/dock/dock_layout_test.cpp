// Properties of the dock's geometry: round trips, limits, the magnified row's shape, and no row
// without room. (Odd stored settings reach the layout through the view in the render test.)
#include "dock/dock_layout.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace wharf;

namespace {

std::vector<QRectF> resting(int count, double width, double base, std::optional<int> sep = {},
                            std::optional<double> dockWidth = {})
{
    return DockLayout::frames(count, width, base, 1, std::nullopt, 150, dockWidth, sep);
}

double rowWidth(const std::vector<QRectF>& frames) { return frames.back().right() - frames.front().left(); }

double gap(const std::vector<QRectF>& frames, int after) { return frames[after + 1].left() - frames[after].right(); }

} // namespace

TEST(DockLayout, IconSizeUndoesPreferredWidth)
{
    // Including separators held at their minimum gap (small icons) and just at it.
    const struct {
        int count;
        double size;
        std::optional<int> separator;
    } rows[] = {{1, 58, {}}, {12, 58, {}}, {12, 58, 5}, {12, 20, 5}, {6, 8 / 0.36, 3}, {2, 16, 1}, {40, 0.5, 20}};
    for (const auto& row : rows) {
        const double width = DockLayout::preferredWidth(row.count, row.size, row.separator);
        EXPECT_NEAR(DockLayout::iconSize(row.count, width, row.separator), row.size, 1e-9) << row.count << " " << row.size;
    }
    EXPECT_EQ(DockLayout::iconSize(3, 0, {}), 0) << "a view not laid out yet";
    EXPECT_EQ(DockLayout::iconSize(2, 4, 1), 0) << "narrower than the separator alone";
}

TEST(DockLayout, RestingRowIsCentredEquallySpacedSquaresWithAWiderSeparator)
{
    const auto frames = resting(5, 1000, 58, 2);
    ASSERT_EQ(frames.size(), 5u);
    for (const auto& f : frames) {
        EXPECT_DOUBLE_EQ(f.width(), 58);
        EXPECT_DOUBLE_EQ(f.height(), 58);
        EXPECT_DOUBLE_EQ(f.top(), frames[0].top()) << "one baseline";
    }
    EXPECT_NEAR(frames.front().left(), 1000 - frames.back().right(), 1e-9);
    EXPECT_NEAR(gap(frames, 0), gap(frames, 3), 1e-9);
    EXPECT_GT(gap(frames, 1), 2 * gap(frames, 0)) << "the separator";
    EXPECT_GE(gap(resting(4, 1000, 16, 2), 1), 8) << "the separator keeps 8 points at small sizes";
}

TEST(DockLayout, SizeIsHeldBetween16And96AndTheRowFitsTheViewOrIsNotThere)
{
    EXPECT_NEAR(resting(3, 2000, 58, {}, 5000)[0].width(), 96, 1e-9);
    EXPECT_NEAR(resting(3, 2000, 58, {}, 1)[0].width(), 16, 1e-9);
    EXPECT_NEAR(resting(3, 2000, 300)[0].width(), 96, 1e-9);
    EXPECT_NEAR(DockLayout::shelfFrame(resting(10, 400, 96)).width(), 400 - 16, 1e-9) << "the shelf fills the view less 16";

    // Too narrow even for 16-point icons: the smallest row scaled down, every gap keeping its share.
    const int n = 10;
    const double available = DockLayout::preferredWidth(n, 16, 4) / 2 + 16;
    const auto narrow = resting(n, available, 58, 4);
    const auto smallest = resting(n, 3000, 16, 4);
    ASSERT_EQ(narrow.size(), size_t(n));
    EXPECT_LE(rowWidth(narrow), available - 16 + 1e-9);
    const double r = narrow[0].width() / smallest[0].width();
    EXPECT_LT(r, 1);
    for (int i = 0; i + 1 < n; ++i)
        EXPECT_NEAR(gap(narrow, i), r * gap(smallest, i), 1e-9) << i;

    // No room at all gives no row.
    EXPECT_TRUE(resting(0, 1000, 58).empty());
    EXPECT_TRUE(resting(3, 16, 58).empty());
    EXPECT_EQ(DockLayout::metrics({}), DockLayout::Metrics{});
    EXPECT_EQ(DockLayout::shelfFrame({}), QRectF());
}

TEST(DockLayout, MagnificationPeaksUnderThePointerAndFallsOffToRest)
{
    const auto rest = resting(9, 3000, 40);
    const double centre = rest[4].center().x();
    const auto mag = DockLayout::frames(9, 3000, 40, 2, centre, 150, {}, {});
    EXPECT_NEAR(mag[4].width(), 2 * 40, 1e-9) << "the full factor right under the pointer";
    EXPECT_NEAR(mag[4].center().x(), centre, 1e-9);
    for (int d = 1; d <= 4; ++d) {
        EXPECT_NEAR(mag[4 - d].width(), mag[4 + d].width(), 1e-9) << "symmetric, " << d;
        EXPECT_LE(mag[4 - d].width(), mag[5 - d].width()) << "monotone, " << d;
    }
    EXPECT_DOUBLE_EQ(mag[0].width(), 40) << "at rest beyond the radius";
    EXPECT_DOUBLE_EQ(mag[0].top(), rest[0].top()) << "on the same baseline";

    // In a view too narrow for the magnified row, the neighbours give way and the row still fits.
    const auto full = resting(12, 700, 96);
    const auto squeezed = DockLayout::frames(12, 700, 96, 3, full[6].center().x(), 150, {}, {});
    EXPECT_LE(rowWidth(squeezed), rowWidth(full) + 1e-9);
    EXPECT_GT(squeezed[6].width(), full[6].width());
    EXPECT_LT(squeezed[0].width(), full[0].width());
}

TEST(DockLayout, ShelfHoldsTheRowAndTheRestingHeightIsWholeDevicePixels)
{
    const auto frames = resting(4, 1000, 50);
    const QRectF shelf = DockLayout::shelfFrame(frames);
    EXPECT_LT(shelf.left(), frames.front().left());
    EXPECT_GT(shelf.right(), frames.back().right());
    EXPECT_LT(shelf.top(), frames.front().top()) << "under the icons";
    for (double scale : {1.0, 1.5, 2.0}) {
        const double height = DockLayout::restingContentHeight(frames, scale);
        EXPECT_GE(height, frames.front().bottom()) << scale;
        EXPECT_DOUBLE_EQ(height * scale, std::round(height * scale)) << scale;
    }
}

TEST(DockLayout, TheViewsWidth)
{
    // Derived from the fraction only when no resting size is stored, and held to 16..96.
    auto width = DockLayout::preferredDockWidth(10, 1000, 0, 0.5, 6);
    ASSERT_TRUE(width.derivedRestingIconSize);
    EXPECT_NEAR(width.width, 500, 1e-9);
    EXPECT_EQ(*DockLayout::preferredDockWidth(10, 1000, -1, 0.01, {}).derivedRestingIconSize, 16);
    EXPECT_EQ(*DockLayout::preferredDockWidth(2, 5000, 0, 0.98, {}).derivedRestingIconSize, 96);
    EXPECT_FALSE(DockLayout::preferredDockWidth(10, 1000, 40, 0.5, {}).derivedRestingIconSize);

    // Fractions shown and stored stay within what 16..96-point icons fill, at most 0.98.
    EXPECT_NEAR(DockLayout::actualWidthFraction(10, 1000, 500, {}), 0.5, 1e-12);
    EXPECT_NEAR(DockLayout::actualWidthFraction(10, 1000, 10, {}), DockLayout::preferredWidth(10, 16, {}) / 1000, 1e-12);
    EXPECT_NEAR(DockLayout::actualWidthFraction(10, 0, 0.4, {}), 0.98, 1e-12);
    EXPECT_NEAR(DockLayout::widthFractionForDockWidth(10, 1000, 600, {}), 0.6, 1e-12);
    EXPECT_NEAR(DockLayout::widthFractionForDockWidth(2, 1000, 5000, {}), DockLayout::preferredWidth(2, 96, {}) / 1000,
                1e-12);
    EXPECT_NEAR(DockLayout::widthFractionForDockWidth(3, 1000, -5000, 2), DockLayout::preferredWidth(3, 16, 2) / 1000,
                1e-12);
    EXPECT_NEAR(DockLayout::widthFractionForDockWidth(3, 100, 5000, 2), 0.98, 1e-12);
}
