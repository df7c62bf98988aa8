#include "stacks/stack_bubble_view.h"
#include "stacks/stack_layout.h"

#include <gtest/gtest.h>

using namespace wharf;

namespace {

// Twelve entries on a wide display (four columns, nine fan cards) are checked on screen by the
// stacks end-to-end test; these are the limits it does not reach.
TEST(StackLayout, GridAndFanStayWithinTheRoomTheyHave)
{
    const QRectF wide(0, 0, 1920, 1040);
    EXPECT_EQ(StackLayout::gridColumns(1, wide), 3) << "one item still three wide";
    EXPECT_EQ(StackLayout::gridColumns(60, wide), 7) << "at most seven";
    EXPECT_EQ(StackLayout::gridColumns(60, QRectF(0, 0, 300, 800)), 2) << "narrow display";
    EXPECT_EQ(StackLayout::gridSize(100, 7, 300).height(), 300) << "limited by the room above the icon";
    EXPECT_EQ(StackLayout::fanCardCount(3, 900), 3);
    EXPECT_EQ(StackLayout::fanCardCount(12, 300), 3);
    EXPECT_EQ(StackLayout::fanCardCount(12, 10), 1) << "always one card";
}

TEST(StackLayout, PanelSitsOverTheIconInsideTheDisplay)
{
    const QRectF visible(0, 0, 1920, 1080);
    const QRectF icon(900, 1000, 60, 60);
    EXPECT_EQ(StackLayout::panelFrame(QRectF(0, 1000, 60, 60), visible, QSizeF(400, 300)).left(), 8) << "near the left";
    EXPECT_EQ(StackLayout::panelFrame(QRectF(1900, 1000, 20, 60), visible, QSizeF(400, 300)).right(), 1912)
        << "near the right";
    const QRectF tall = StackLayout::panelFrame(icon, visible, QSizeF(400, 2000));
    EXPECT_EQ(tall.bottom(), 1080) << "an oversized panel keeps its bottom on the display";
    const QRectF high = StackLayout::panelFrame(QRectF(900, 200, 60, 60), visible, QSizeF(400, 300));
    EXPECT_EQ(high.top(), 6) << "never above the display";

    EXPECT_EQ(StackLayout::visibleFrame(QRectF(2000, 0, 1, 1), {visible, QRectF(1920, 0, 1920, 1080)},
                                        {visible, QRectF(1920, 0, 1920, 1040)}),
              QRectF(1920, 0, 1920, 1040));
}

TEST(StackLayout, GridRealizesTheVisibleRowsAndOneEitherSide)
{
    // 100 entries in 7 columns, rows 2 to 4 visible: rows 1 to 6 exist.
    EXPECT_EQ(StackLayout::realizedRange(2 * 124, 5 * 124, 7, 100), std::make_pair(7, 49));
    EXPECT_EQ(StackLayout::realizedRange(0, 300, 4, 12), std::make_pair(0, 12));
    EXPECT_EQ(StackLayout::realizedRange(0, 300, 4, 0), std::make_pair(0, 0));
}

TEST(StackViews, TheBubblesArrowReachesDownToTheIcon)
{
    const QPainterPath path = StackBubbleView::bubblePath(QSizeF(300, 200), 140);
    EXPECT_TRUE(path.contains(QPointF(140, 197)));
    EXPECT_FALSE(path.contains(QPointF(60, 197)));
}

} // namespace
