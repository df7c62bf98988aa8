#include "windows/dock_window_constraint.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

// A display from y 0 to 1080 whose usable part ends at 1000 (an 80-high band), with a 25-high bar on top.
const DockAvoidanceRegion single{1, QRectF(0, 0, 1920, 1080), QRectF(0, 25, 1920, 975)};
const DockAvoidanceRegion right{2, QRectF(1920, 0, 1920, 1080), QRectF(1920, 0, 1920, 900)};

// A window dragged into the band moving up by as much, keeping its height, is checked under a
// real window manager (e2e.window_avoidance).
TEST(DockWindowConstraint, AdjustsFrame)
{
    const struct {
        const char* name;
        QRectF frame;
        std::vector<DockAvoidanceRegion> regions;
        std::optional<QRectF> expected;
    } rows[] = {
        {"AboveTheBandIsLeftAlone", QRectF(100, 100, 800, 600), {single}, std::nullopt},
        {"HalfAPixelIntoTheBandIsLeftAlone", QRectF(100, 400.5, 800, 600), {single}, std::nullopt},
        {"JustOverHalfAPixelMoves", QRectF(100, 400.6, 800, 600), {single}, QRectF(100, 400, 800, 600)},
        {"BandOverlapOnlyHalfAPixelWide", QRectF(-799.5, 440, 800, 600),
                       {DockAvoidanceRegion{1, QRectF(0, 0, 1920, 1080), QRectF(0, 25, 1920, 975)}}, std::nullopt},
        {"TallWindowWithTopInsideKeepsTopAndShortens", QRectF(0, 100, 800, 1000), {single}, QRectF(0, 100, 800, 900)},
        {"TallWindowAboveUsableTopGoesToItAndShortens", QRectF(0, 10, 800, 1060), {single}, QRectF(0, 25, 800, 975)},
        {"TallWindowWithTopInTheBandGoesToUsableTop", QRectF(0, 1010, 800, 1000), {single}, QRectF(0, 25, 800, 975)},
        {"WindowBelowTheDisplayOnlyJudgedWhereItOverlaps", QRectF(0, 1100, 800, 100), {single}, std::nullopt},
        {"TwoDisplaysTheLargerOverlapDecides", QRectF(1800, 500, 400, 560), {single, right},
                       QRectF(1800, 340, 400, 560)},
        {"EqualOverlapsTheEarlierRegionDecides", QRectF(1720, 500, 400, 560),
                       {single, DockAvoidanceRegion{2, QRectF(1920, 0, 1920, 1080), QRectF(1920, 0, 1920, 700)}},
                       QRectF(1720, 440, 400, 560)},
        {"UsableFrameStickingOutIsIgnored", QRectF(100, 440, 800, 600),
                       {DockAvoidanceRegion{1, QRectF(0, 0, 1920, 1080), QRectF(-1, 25, 1921, 975)}}, std::nullopt},
        {"BandOfHalfAPixelIsNoBand", QRectF(100, 480, 800, 600),
                       {DockAvoidanceRegion{1, QRectF(0, 0, 1920, 1080), QRectF(0, 0, 1920, 1079.5)}}, std::nullopt},
        {"NoRegions", QRectF(100, 440, 800, 600), {}, std::nullopt},
    };
    for (const auto& row : rows)
        EXPECT_EQ(DockWindowConstraint::adjustedFrame(row.frame, row.regions), row.expected) << row.name;
}

} // namespace
} // namespace wharf
