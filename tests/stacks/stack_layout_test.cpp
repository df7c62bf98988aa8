#include "stacks/stack_bubble_view.h"
#include "stacks/stack_item_view.h"
#include "stacks/stack_layout.h"

#include <gtest/gtest.h>

using namespace wharf;

namespace {

const QRectF wide(0, 0, 1920, 1040);

TEST(StackLayout, GridColumnsFollowTheCountAndTheDisplay)
{
    const struct {
        const char* name;
        int count;
        QRectF visible;
        int columns;
    } rows[] = {
        {"one item still three wide", 1, wide, 3},
        {"ten items, four columns", 10, wide, 4},
        {"twelve items, four columns", 12, wide, 4},
        {"sixty items, at most seven", 60, wide, 7},
        {"narrow display", 60, QRectF(0, 0, 300, 800), 2},
        {"no items", 0, wide, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(StackLayout::gridColumns(row.count, row.visible), row.columns);
    }
    EXPECT_EQ(StackLayout::gridSize(10, 4, 2000), QSizeF(486, 474)) << "3 rows";
    EXPECT_EQ(StackLayout::gridSize(100, 7, 300).height(), 300) << "limited by the room above the icon";
}

TEST(StackLayout, FanShowsAtMostNineCardsThatFit)
{
    EXPECT_EQ(StackLayout::fanCardCount(12, 900), 9);
    EXPECT_EQ(StackLayout::fanCardCount(3, 900), 3);
    EXPECT_EQ(StackLayout::fanCardCount(12, 300), 3);
    EXPECT_EQ(StackLayout::fanCardCount(12, 10), 1) << "always one card";
}

TEST(StackLayout, PanelSitsOverTheIconInsideTheDisplay)
{
    const QRectF visible(0, 0, 1920, 1080);
    const QRectF icon(900, 1000, 60, 60);
    const QRectF centred = StackLayout::panelFrame(icon, visible, QSizeF(400, 300));
    EXPECT_EQ(centred, QRectF(730, 695, 400, 300));

    const QRectF nearLeft = StackLayout::panelFrame(QRectF(0, 1000, 60, 60), visible, QSizeF(400, 300));
    EXPECT_EQ(nearLeft.left(), 8);
    const QRectF nearRight = StackLayout::panelFrame(QRectF(1900, 1000, 20, 60), visible, QSizeF(400, 300));
    EXPECT_EQ(nearRight.right(), 1912);
    const QRectF tall = StackLayout::panelFrame(icon, visible, QSizeF(400, 2000));
    EXPECT_EQ(tall.bottom(), 1080) << "an oversized panel keeps its bottom on the display";
    const QRectF high = StackLayout::panelFrame(QRectF(900, 200, 60, 60), visible, QSizeF(400, 300));
    EXPECT_EQ(high.top(), 6) << "never above the display";

    EXPECT_EQ(StackLayout::availableHeight(QRectF(0, 100, 10, 10), visible), 170);
    EXPECT_EQ(StackLayout::availableHeight(icon, visible), 984);
    EXPECT_EQ(StackLayout::visibleFrame(QRectF(2000, 0, 1, 1), {visible, QRectF(1920, 0, 1920, 1080)},
                                        {visible, QRectF(1920, 0, 1920, 1040)}),
              QRectF(1920, 0, 1920, 1040));
    EXPECT_EQ(StackLayout::visibleFrame(icon, {}, {}), QRectF(0, 0, 1440, 900));
}

TEST(StackLayout, GridRealizesTheVisibleRowsAndOneEitherSide)
{
    // 100 entries in 7 columns, rows 2 to 4 visible: rows 1 to 6 exist.
    EXPECT_EQ(StackLayout::realizedRange(2 * 124, 5 * 124, 7, 100), std::make_pair(7, 49));
    EXPECT_EQ(StackLayout::realizedRange(0, 300, 4, 12), std::make_pair(0, 12));
    EXPECT_EQ(StackLayout::realizedRange(0, 300, 4, 0), std::make_pair(0, 0));
}

TEST(StackViews, ArrowAndDragThresholds)
{
    EXPECT_EQ(StackBubbleView::arrowTip(300, 0), 25);
    EXPECT_EQ(StackBubbleView::arrowTip(300, 1000), 275);
    EXPECT_EQ(StackBubbleView::arrowTip(300, 140), 140);
    const QPainterPath path = StackBubbleView::bubblePath(QSizeF(300, 200), 140);
    EXPECT_TRUE(path.contains(QPointF(140, 197))) << "the arrow reaches down to the icon";
    EXPECT_FALSE(path.contains(QPointF(60, 197)));

    EXPECT_FALSE(StackItemView::beyondDragThreshold({10, 10}, {14, 10}));
    EXPECT_TRUE(StackItemView::beyondDragThreshold({10, 10}, {13, 14}));
}

} // namespace
