#include "windows/dock_avoidance_region.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

const QRectF fullHD(0, 0, 1920, 1080);

TEST(AvoidanceRegion, ComputesRegions)
{
    const struct {
        const char* name;
        std::vector<AvoidanceDisplay> displays;
        std::vector<AvoidanceDock> docks;
        std::vector<DockAvoidanceRegion> expected;
    } rows[] = {
        {"DisplayWithoutDockKeepsWholeBounds", {{7u, fullHD, fullHD}}, {{9u, false, 80}}, {{7u, fullHD, fullHD}}},
        {"FullScreenDisplayHasNoRegion", {{7u, fullHD, fullHD}}, {{7u, true, 80}}, {}},
        {"FirstDockOfDisplayDecides", {{7u, fullHD, fullHD}}, {{7u, true, 80}, {7u, false, 80}}, {}},
        {"DisplayWithoutIdentifierSkipped", {{std::nullopt, fullHD, fullHD}}, {}, {}},
        {"EmptyBoundsSkipped", {{7u, QRectF(0, 0, 0, 1080), QRectF()}}, {}, {}},
        {"BottomPanelTallerThanDockWins", {{7u, fullHD, QRectF(0, 0, 1920, 960)}}, {{7u, false, 80}},
         {{7u, fullHD, QRectF(0, 0, 1920, 960)}}},
        {"DockTallerThanBottomPanelWins", {{7u, fullHD, QRectF(0, 0, 1920, 1050)}}, {{7u, false, 80}},
         {{7u, fullHD, QRectF(0, 0, 1920, 1000)}}},
        {"VisibleFrameBelowDisplayUsesReserve", {{7u, fullHD, QRectF(0, 0, 1920, 1200)}}, {{7u, false, 80}},
         {{7u, fullHD, QRectF(0, 0, 1920, 1000)}}},
        {"TopPanelMovesUsableTopDown", {{7u, fullHD, QRectF(0, 30, 1920, 1050)}}, {{7u, false, 80}},
         {{7u, fullHD, QRectF(0, 30, 1920, 970)}}},
        {"ReserveClampedToDisplayHeight", {{7u, QRectF(0, 0, 800, 100), QRectF(0, 0, 800, 100)}}, {{7u, false, 500}},
         {{7u, QRectF(0, 0, 800, 100), QRectF(0, 0, 800, 0)}}},
        {"SecondDisplayInGlobalCoordinates",
         {{1u, fullHD, fullHD}, {2u, QRectF(1920, 0, 1920, 1080), QRectF(1920, 0, 1920, 1080)}},
         {{1u, false, 80}, {2u, false, 60}},
         {{1u, fullHD, QRectF(0, 0, 1920, 1000)}, {2u, QRectF(1920, 0, 1920, 1080), QRectF(1920, 0, 1920, 1020)}}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(avoidanceRegions(row.displays, row.docks), row.expected) << row.name;
}

} // namespace
} // namespace wharf
