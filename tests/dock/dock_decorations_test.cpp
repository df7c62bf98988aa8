// The divider's geometry and drag rules, and where the hover label goes.
#include "dock/dock_divider.h"
#include "dock/dock_hover_label.h"
#include "dock/dock_layout.h"

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

// The width a drag from (500, 300) to `to` asks for, from a 48-point dock 400 wide.
struct Drag {
    DockDivider divider;
    explicit Drag(double direction = 1, std::optional<double> magnification = std::nullopt)
    {
        divider.begin({QPointF(500, 300), 400, 48, direction, magnification});
    }
    std::optional<double> to(double x, double y)
    {
        return divider.requestedWidth(QPointF(x, y), [](double icon) { return icon * 10; });
    }
};

TEST(DockDivider, TheFirstThreePointsChooseTheAxisForTheWholeDrag)
{
    Drag small;
    EXPECT_FALSE(small.to(502, 298)) << "less than 3 points changes nothing";
    EXPECT_FALSE(small.divider.resizeAxis());

    Drag sideways;
    EXPECT_EQ(sideways.to(504, 299), 408);
    EXPECT_EQ(sideways.divider.resizeAxis(), ResizeAxis::horizontal);
    EXPECT_EQ(sideways.to(504, 100), 408) << "later vertical motion does not switch the axis";

    Drag up;
    EXPECT_EQ(up.to(500, 200), 960) << "48 + 60 is held at 96";
    EXPECT_EQ(up.divider.resizeAxis(), ResizeAxis::vertical);
    EXPECT_EQ(up.to(500, 310), 420) << "down shrinks";

    Drag leftOfCentre(-1);
    EXPECT_EQ(leftOfCentre.to(450, 300), 500) << "dragging away from the centre enlarges";

    Drag magnified(1, 0.25);
    EXPECT_EQ(magnified.divider.magnificationPosition(), 0.25);
    magnified.divider.end();
    EXPECT_FALSE(magnified.divider.resizing());
    EXPECT_FALSE(magnified.to(600, 300));
}

TEST(DockDivider, DockWidthLimitsHoldBeyondTheDrag)
{
    // What the view stores: the width clamped to the smallest and largest icons, or 98 % of the view.
    const double smallest = DockLayout::preferredWidth(3, 16, 2);
    EXPECT_DOUBLE_EQ(DockLayout::widthFractionForDockWidth(3, 1000, -5000, 2) * 1000, smallest);
    EXPECT_DOUBLE_EQ(DockLayout::widthFractionForDockWidth(3, 100, 5000, 2), 0.98);
}

TEST(DockHoverLabel, StaysInsideTheView)
{
    const QRectF bounds(0, 0, 800, 340);
    const QRectF farLeft = DockHoverLabel::place(100, QRectF(2, 30, 48, 48), bounds);
    EXPECT_EQ(farLeft.left(), 10);
    EXPECT_EQ(farLeft.width(), 124);
    EXPECT_EQ(farLeft.y(), 88) << "10 points above the icon";

    const QRectF long_ = DockHoverLabel::place(5000, QRectF(400, 30, 48, 48), bounds);
    EXPECT_EQ(long_.width(), 780) << "never wider than the view less 20";
    EXPECT_EQ(long_.left(), 10);

    const QRectF tall = DockHoverLabel::place(50, QRectF(700, 30, 96, 300), bounds);
    EXPECT_EQ(tall.y(), 310) << "its base no higher than 30 points below the top";
    EXPECT_LE(tall.right(), 790);
}

} // namespace
} // namespace wharf
