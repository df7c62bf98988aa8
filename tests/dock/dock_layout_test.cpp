#include "dock/dock_layout.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace wharf;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::vector<QRectF> resting(int count, double width, double base, std::optional<int> sep = {},
                            std::optional<double> dockWidth = {})
{
    return DockLayout::frames(count, width, base, 1, std::nullopt, 150, dockWidth, sep);
}

double rowWidth(const std::vector<QRectF>& frames)
{
    return frames.back().right() - frames.front().left();
}

bool finite(const QRectF& r)
{
    return std::isfinite(r.x()) && std::isfinite(r.y()) && std::isfinite(r.width())
        && std::isfinite(r.height());
}

} // namespace

struct InverseCase {
    const char* name;
    int count;
    double size;
    std::optional<int> separator;
};

class DockLayoutInverse : public testing::TestWithParam<InverseCase> {};

TEST_P(DockLayoutInverse, IconSizeUndoesPreferredWidth)
{
    const auto& c = GetParam();
    const double width = DockLayout::preferredWidth(c.count, c.size, c.separator);
    EXPECT_NEAR(DockLayout::iconSize(c.count, width, c.separator), c.size, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, DockLayoutInverse,
    testing::Values(InverseCase{"one_icon", 1, 58, {}}, InverseCase{"plain_row", 12, 58, {}},
                    InverseCase{"separator_wide_gap", 12, 58, 5},
                    // 0.36 * 20 < 8: the separator sits at its 8-point minimum.
                    InverseCase{"separator_held_at_minimum", 12, 20, 5},
                    InverseCase{"separator_exactly_at_minimum", 6, 8 / 0.36, 3},
                    InverseCase{"two_icons_separator", 2, 16, 1},
                    InverseCase{"tiny_icons_separator", 40, 0.5, 20}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DockLayout, PreferredWidthAndIconSizeGuards)
{
    EXPECT_EQ(DockLayout::preferredWidth(-3, 58, {}), 0);
    EXPECT_DOUBLE_EQ(DockLayout::preferredWidth(1, kNaN, {}), 56 * 1.6);
    EXPECT_DOUBLE_EQ(DockLayout::preferredWidth(1, -10, {}), 0);
    // A separator at 0, below 0 or at/after the count is no separator.
    const double plain = DockLayout::preferredWidth(4, 40, {});
    for (int bad : {0, -1, 4, 9})
        EXPECT_DOUBLE_EQ(DockLayout::preferredWidth(4, 40, bad), plain) << bad;
    EXPECT_NEAR(DockLayout::preferredWidth(4, 40, 2) - plain, 0.36 * 40 - 0.09 * 40, 1e-9);

    for (double bad : {0.0, -5.0, kNaN, kInf})
        EXPECT_EQ(DockLayout::iconSize(3, bad, {}), 0) << bad;
    EXPECT_EQ(DockLayout::iconSize(0, 500, {}), 0);
    // Narrower than the separator minimum alone.
    EXPECT_EQ(DockLayout::iconSize(2, 4, 1), 0);
}

TEST(DockLayout, RestingFramesAreCentredSquaresOnOneBaseline)
{
    const auto frames = resting(5, 1000, 58);
    ASSERT_EQ(frames.size(), 5u);
    for (const auto& f : frames) {
        EXPECT_DOUBLE_EQ(f.width(), 58);
        EXPECT_DOUBLE_EQ(f.height(), 58);
        EXPECT_DOUBLE_EQ(f.top(), 0.42 * 58 + 4);
    }
    EXPECT_NEAR(frames[1].left() - frames[0].right(), 0.09 * 58, 1e-9);
    EXPECT_NEAR(frames.front().left(), 1000 - frames.back().right(), 1e-9);

    EXPECT_NEAR(resting(1, 300, 58).at(0).center().x(), 150, 1e-9);
}

TEST(DockLayout, SeparatorGapHasAnEightPointFloor)
{
    const auto wide = resting(4, 1000, 58, 2);
    EXPECT_NEAR(wide[2].left() - wide[1].right(), 0.36 * 58, 1e-9);
    EXPECT_NEAR(wide[1].left() - wide[0].right(), 0.09 * 58, 1e-9);

    const auto small = resting(4, 1000, 16, 2);
    EXPECT_NEAR(small[2].left() - small[1].right(), 8, 1e-9);
}

TEST(DockLayout, WidthIsClampedToIconLimitsAndMargin)
{
    // Requested dock widths beyond the 16..96 sizes clamp to them.
    EXPECT_NEAR(resting(3, 2000, 58, {}, 5000)[0].width(), 96, 1e-9);
    EXPECT_NEAR(resting(3, 2000, 58, {}, 1)[0].width(), 16, 1e-9);
    EXPECT_NEAR(resting(3, 2000, 300)[0].width(), 96, 1e-9);
    // The available width less 16 caps the row including its insets.
    const auto capped = resting(10, 400, 96);
    const double s = capped[0].width();
    EXPECT_NEAR(rowWidth(capped) + 0.6 * s, 400 - 16, 1e-9);
}

TEST(DockLayout, TooNarrowDockScalesEverythingInProportion)
{
    const int n = 10;
    const double available = DockLayout::preferredWidth(n, 16, 4) / 2 + 16;
    const auto narrow = resting(n, available, 58, 4);
    const auto wide = resting(n, 3000, 16, 4);
    ASSERT_EQ(narrow.size(), size_t(n));
    EXPECT_LE(rowWidth(narrow), available - 16 + 1e-9) << "the row fits";
    // The same row as at the smallest icon size, only smaller: every gap keeps its share.
    const double r = narrow[0].width() / wide[0].width();
    EXPECT_LT(r, 1);
    for (int i = 1; i < n; ++i)
        EXPECT_NEAR(narrow[i].left() - narrow[i - 1].right(), r * (wide[i].left() - wide[i - 1].right()), 1e-9) << i;
}

TEST(DockLayout, MagnificationPeaksUnderThePointerAndFallsOffToRest)
{
    // Wide enough that the fit factor stays 1.
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

    // Magnification below 1 or non-finite leaves the row at rest.
    for (double m : {0.5, kNaN, kInf}) {
        const auto flat = DockLayout::frames(9, 3000, 40, m, centre, 150, {}, {});
        EXPECT_DOUBLE_EQ(flat[4].width(), 40) << m;
    }
    // A non-finite pointer is no pointer.
    EXPECT_EQ(DockLayout::frames(9, 3000, 40, 2, kNaN, 150, {}, {}), rest);
}

TEST(DockLayout, FitFactorKeepsMagnifiedRowInside)
{
    const double available = 700;
    const auto rest = resting(12, available, 96);
    const double s = rest[0].width();
    const auto mag = DockLayout::frames(12, available, 96, 3, rest[6].center().x(), 150, {}, {});
    ASSERT_EQ(mag.size(), 12u);
    EXPECT_LE(rowWidth(mag), available - 16 - 0.6 * s + 1e-9);
    EXPECT_NEAR(rowWidth(mag), available - 16 - 0.6 * s, 1e-9);
    EXPECT_GT(mag[6].width(), mag[0].width());
    // Squeezed neighbours shrink below their resting size.
    EXPECT_LT(mag[0].width(), s);
}

TEST(DockLayout, DegenerateInputGivesEmptyOrZeroResults)
{
    EXPECT_TRUE(resting(0, 1000, 58).empty());
    EXPECT_TRUE(resting(3, 16, 58).empty());
    EXPECT_TRUE(resting(3, kNaN, 58).empty());
    EXPECT_TRUE(resting(3, kInf, 58).empty());
    EXPECT_EQ(DockLayout::metrics({}), DockLayout::Metrics{});
    EXPECT_EQ(DockLayout::shelfFrame({}), QRectF());
    EXPECT_EQ(DockLayout::restingContentHeight({}, 2), 0);

    const double weird[] = {kNaN, kInf, -kInf, -1e9, 0, 1e300};
    for (double a : weird) {
        for (double b : weird) {
            const auto frames = DockLayout::frames(7, 800, a, b, a, b, b, 3);
            for (const auto& f : frames)
                EXPECT_TRUE(finite(f)) << a << " " << b;
            const auto m = DockLayout::metrics(frames);
            EXPECT_TRUE(std::isfinite(m.shelfTop) && std::isfinite(m.iconSize));
            EXPECT_TRUE(finite(DockLayout::shelfFrame(frames)));
            EXPECT_TRUE(std::isfinite(DockLayout::restingContentHeight(frames, a)));
        }
    }
    for (const auto& f : DockLayout::frames(3, 1e308, 58, 2, 5e307, 150, {}, {}))
        EXPECT_TRUE(finite(f));
}

TEST(DockLayout, ShelfHoldsTheRowAndTheRestingHeightIsWholeDevicePixels)
{
    const auto frames = resting(4, 1000, 50);
    const QRectF shelf = DockLayout::shelfFrame(frames);
    EXPECT_LT(shelf.left(), frames.front().left());
    EXPECT_GT(shelf.right(), frames.back().right());
    EXPECT_NEAR(shelf.center().x(), 500, 1e-9);
    EXPECT_LT(shelf.top(), frames.front().top()) << "under the icons";
    for (double scale : {1.0, 1.5, 2.0}) {
        const double height = DockLayout::restingContentHeight(frames, scale);
        EXPECT_GE(height, frames.front().bottom()) << scale;
        EXPECT_DOUBLE_EQ(height * scale, std::round(height * scale)) << scale;
    }
    for (double badScale : {0.0, -2.0, kNaN, kInf})
        EXPECT_DOUBLE_EQ(DockLayout::restingContentHeight(frames, badScale),
                         DockLayout::restingContentHeight(frames, 1)) << badScale;
    EXPECT_EQ(DockLayout::restingContentHeight({QRectF(0, kNaN, 1, 1)}, 1), 0);
}

TEST(DockLayout, SeparatorIndexIsTheFirstApplicationBoundary)
{
    EXPECT_EQ(DockLayout::separatorIndex({true}), std::nullopt);
    EXPECT_EQ(DockLayout::separatorIndex({false, true}), std::nullopt);
    EXPECT_EQ(DockLayout::separatorIndex({true, true, false, true, false}), 2);
}

TEST(DockLayout, ViewWidthBinding)
{
    // Derived from the fraction when no resting size is stored, and clamped to 16..96.
    auto width = DockLayout::preferredDockWidth(10, 1000, 0, 0.5, 6);
    ASSERT_TRUE(width.derivedRestingIconSize);
    EXPECT_NEAR(width.width, 500, 1e-9);
    EXPECT_NEAR(*width.derivedRestingIconSize, DockLayout::iconSize(10, 500, 6), 1e-9);
    EXPECT_EQ(*DockLayout::preferredDockWidth(10, 1000, -1, 0.01, {}).derivedRestingIconSize, 16);
    EXPECT_EQ(*DockLayout::preferredDockWidth(2, 5000, 0, 0.98, {}).derivedRestingIconSize, 96);
    EXPECT_FALSE(DockLayout::preferredDockWidth(10, 1000, 40, 0.5, {}).derivedRestingIconSize);

    // The fraction shown is clamped to what 16..96-point icons can fill, at most 0.98.
    EXPECT_NEAR(DockLayout::actualWidthFraction(10, 1000, 500, {}), 0.5, 1e-12);
    EXPECT_NEAR(DockLayout::actualWidthFraction(10, 1000, 10, {}),
                DockLayout::preferredWidth(10, 16, {}) / 1000, 1e-12);
    EXPECT_NEAR(DockLayout::actualWidthFraction(10, 1000, 5000, {}), 0.98, 1e-12);
    EXPECT_NEAR(DockLayout::actualWidthFraction(10, 0, 0.4, {}), 0.98, 1e-12);

    EXPECT_NEAR(DockLayout::widthFractionForDockWidth(10, 1000, 600, {}), 0.6, 1e-12);
    EXPECT_NEAR(DockLayout::widthFractionForDockWidth(2, 1000, 5000, {}),
                DockLayout::preferredWidth(2, 96, {}) / 1000, 1e-12);
    EXPECT_NEAR(DockLayout::widthFractionForDockWidth(10, 1000, 0, {}),
                DockLayout::preferredWidth(10, 16, {}) / 1000, 1e-12);
}
