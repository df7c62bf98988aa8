// The divider's geometry and drag, and where the hover label goes near the view's edges.
#include "dock/dock_divider.h"
#include "dock/dock_hover_label.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

std::vector<QRectF> row(double gap)
{
    // Two applications and a folder, the folder `gap` points after the second application.
    return {QRectF(100, 30, 48, 48), QRectF(152, 30, 48, 48), QRectF(200 + gap, 30, 48, 48)};
}

TEST(DockDivider, SitsOnTheSeparatorBetween12And24PointsWide)
{
    EXPECT_DOUBLE_EQ(DockDivider::frame(row(2), 2, 0, 0)->width(), 12);
    EXPECT_DOUBLE_EQ(DockDivider::frame(row(14), 2, 0, 0)->width(), 18);
    EXPECT_DOUBLE_EQ(DockDivider::frame(row(60), 2, 0, 0)->width(), 24);
    EXPECT_DOUBLE_EQ(DockDivider::frame(row(14), 2, 0, 0)->center().x(), 207);
    EXPECT_DOUBLE_EQ(DockDivider::frame(row(14), 2, 0.5, 10)->y(), DockDivider::frame(row(14), 2, 0, 0)->y() - 10)
        << "moves down with the dock";
    EXPECT_FALSE(DockDivider::frame(row(14), 2, 0.96, 0)) << "gone when almost hidden";
    EXPECT_FALSE(DockDivider::frame(row(14), std::nullopt, 0, 0));
    EXPECT_FALSE(DockDivider::frame(row(14), 3, 0, 0));
}

// The axis lock and the limits of a divider drag are driven on the real dock end to end; what the
// drag asks for away from the centre, and its end, only here.
TEST(DockDivider, DraggingAwayFromTheCentreEnlargesAndEndingForgetsTheDrag)
{
    DockDivider divider;
    divider.begin({QPointF(500, 300), 400, 48, -1, 0.25});
    const auto to = [&](double x, double y) {
        return divider.requestedWidth(QPointF(x, y), [](double icon) { return icon * 10; });
    };
    EXPECT_FALSE(to(502, 298)) << "less than 3 points changes nothing";
    EXPECT_EQ(to(450, 300), 500) << "left of the centre, leftwards enlarges";
    EXPECT_EQ(divider.magnificationPosition(), 0.25);
    divider.end();
    EXPECT_FALSE(divider.resizing());
    EXPECT_FALSE(to(600, 300));
}

TEST(DockHoverLabel, AboveATallIconItStaysInsideTheView)
{
    const QRectF tall = DockHoverLabel::place(50, QRectF(700, 30, 96, 300), QRectF(0, 0, 800, 340));
    EXPECT_EQ(tall.y(), 310) << "its base no higher than 30 points below the top";
    EXPECT_LE(tall.right(), 790);
}

} // namespace
} // namespace wharf
