#include "windows/dock_avoidance_region.h"

#include <gtest/gtest.h>

#include <limits>

namespace wharf {
namespace {

const QRectF fullHD(0, 0, 1920, 1080);

struct RegionCase {
    const char* name;
    std::vector<AvoidanceDisplay> displays;
    std::vector<AvoidanceDock> docks;
    std::vector<DockAvoidanceRegion> expected;
};

void PrintTo(const RegionCase& c, std::ostream* os) { *os << c.name; }

class AvoidanceRegionTest : public ::testing::TestWithParam<RegionCase> {};

TEST_P(AvoidanceRegionTest, ComputesRegions)
{
    const RegionCase& c = GetParam();
    EXPECT_EQ(avoidanceRegions(c.displays, c.docks), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Displays, AvoidanceRegionTest,
    ::testing::Values(
        RegionCase{"DisplayWithoutDockKeepsWholeBounds", {{7u, fullHD, fullHD}}, {{9u, false, 80}},
                   {{7u, fullHD, fullHD}}},
        RegionCase{"FullScreenDisplayHasNoRegion", {{7u, fullHD, fullHD}}, {{7u, true, 80}}, {}},
        RegionCase{"FirstDockOfDisplayDecides", {{7u, fullHD, fullHD}}, {{7u, true, 80}, {7u, false, 80}}, {}},
        RegionCase{"DisplayWithoutIdentifierSkipped", {{std::nullopt, fullHD, fullHD}}, {}, {}},
        RegionCase{"EmptyBoundsSkipped", {{7u, QRectF(0, 0, 0, 1080), QRectF()}}, {}, {}},
        RegionCase{"BottomPanelTallerThanDockWins",
                   {{7u, fullHD, QRectF(0, 0, 1920, 960)}}, {{7u, false, 80}},
                   {{7u, fullHD, QRectF(0, 0, 1920, 960)}}},
        RegionCase{"DockTallerThanBottomPanelWins",
                   {{7u, fullHD, QRectF(0, 0, 1920, 1050)}}, {{7u, false, 80}},
                   {{7u, fullHD, QRectF(0, 0, 1920, 1000)}}},
        RegionCase{"VisibleFrameBelowDisplayUsesReserve",
                   {{7u, fullHD, QRectF(0, 0, 1920, 1200)}}, {{7u, false, 80}},
                   {{7u, fullHD, QRectF(0, 0, 1920, 1000)}}},
        RegionCase{"TopPanelMovesUsableTopDown",
                   {{7u, fullHD, QRectF(0, 30, 1920, 1050)}}, {{7u, false, 80}},
                   {{7u, fullHD, QRectF(0, 30, 1920, 970)}}},
        RegionCase{"ReserveClampedToDisplayHeight",
                   {{7u, QRectF(0, 0, 800, 100), QRectF(0, 0, 800, 100)}}, {{7u, false, 500}},
                   {{7u, QRectF(0, 0, 800, 100), QRectF(0, 0, 800, 0)}}},
        RegionCase{"NonFiniteHeightReservesNothing",
                   {{7u, fullHD, fullHD}}, {{7u, false, std::numeric_limits<double>::quiet_NaN()}},
                   {{7u, fullHD, fullHD}}},
        RegionCase{"SecondDisplayInGlobalCoordinates",
                   {{1u, fullHD, fullHD}, {2u, QRectF(1920, 0, 1920, 1080), QRectF(1920, 0, 1920, 1080)}},
                   {{1u, false, 80}, {2u, false, 60}},
                   {{1u, fullHD, QRectF(0, 0, 1920, 1000)},
                    {2u, QRectF(1920, 0, 1920, 1080), QRectF(1920, 0, 1920, 1020)}}}),
    [](const ::testing::TestParamInfo<RegionCase>& info) { return std::string(info.param.name); });

} // namespace
} // namespace wharf
