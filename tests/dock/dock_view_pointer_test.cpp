// Pointer tracking: the hovered index, the idle timer and the input region.
#include "dock_view_test_support.h"

#include <QCoreApplication>
#include <QEnterEvent>

namespace wharf::test {
namespace {

class DockViewPointer : public ::testing::Test {
protected:
    void SetUp() override
    {
        h.pin({h.app("app0"), h.app("app1"), h.app("app2"), h.app("app3"), h.app("app4"), h.app("app5"),
               h.folder("docs")});
        h.startView().onInputRegionChanged = [this] { ++regionChanges; };
        resting = h.view->tileFrames();
    }

    DockViewHarness h;
    std::vector<QRectF> resting;
    int regionChanges = 0;
};

TEST_F(DockViewPointer, HoveredIndex)
{
    const double bottom = DockViewHarness::viewHeight;
    const QRectF app = resting[1];
    const QRectF folder = resting[6];
    struct Row {
        const char* name;
        QPointF pointer;
        std::optional<int> hovered;
    };
    const Row rows[] = {
        {"below an application, down to the screen edge", QPointF(app.center().x(), bottom - 1), 1},
        {"below a folder", QPointF(folder.center().x(), bottom - 1), std::nullopt},
        {"3 points beside the last icon", QPointF(folder.right() + 3, folder.center().y()), 6},
        {"above the hover zone", QPointF(app.center().x(), app.top() - 60), std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        h.pointer.reset();
        h.settle();
        h.pointer = row.pointer;
        h.advance(1.0 / 60);
        EXPECT_EQ(h.view->hoveredIndex(), row.hovered);
    }
}

// (After a Leave inside the hover zone the timer must poll instead: that the hover then ends is
// checked on a real server without a compositor.)
TEST_F(DockViewPointer, TimerStopsOnceSettledAndWhenHoveringReadsThePointerEachFrame)
{
    // Hovering, the view stops the motion events and reads the pointer each frame instead.
    std::vector<bool> paused;
    h.view->pauseMotionEvents = [&](bool pause) {
        paused.push_back(pause);
        return true;
    };
    h.view->followPointer = [&] { return h.pointer; };
    h.pointer = resting[3].center();
    QEnterEvent enter(*h.pointer, *h.pointer, h.view->mapToGlobal(*h.pointer));
    QCoreApplication::sendEvent(h.view.get(), &enter);
    QMouseEvent move(QEvent::MouseMove, *h.pointer, h.view->mapToGlobal(*h.pointer), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QCoreApplication::sendEvent(h.view.get(), &move);
    EXPECT_EQ(paused, std::vector<bool>{true});
    h.pointer = resting[1].center();
    h.settle();
    EXPECT_EQ(h.view->hoveredIndex(), 1) << "followed without motion events";

    // Once still, the motion events resume; a move made before the server took that is still seen.
    for (int frame = 0; frame < 600 && paused.back(); ++frame)
        h.advance(1.0 / 60);
    h.pointer = resting[5].center();
    h.settle();
    EXPECT_EQ(h.view->hoveredIndex(), 5);
    h.advance(1.0 / 60);
    EXPECT_FALSE(h.view->isTicking()) << "motion events report the pointer again";
    EXPECT_EQ(paused, (std::vector<bool>{true, false}));

    // Over the divider's handle Qt must follow the motion itself, to show the handle's cursor.
    QCoreApplication::sendEvent(h.view.get(), &move);
    const auto handle = h.view->dividerFrame();
    ASSERT_TRUE(handle);
    h.pointer = QPointF(handle->center());
    h.advance(1.0 / 60);
    EXPECT_EQ(paused, (std::vector<bool>{true, false, true, false}));
}

// Where the window can be drawn to directly, a step draws once: the row and the label together.
TEST_F(DockViewPointer, AStepDrawsTheRowAndTheHoverLabelAsOneFrame)
{
    QRegion drawn;
    int frames = 0;
    h.view->paintDirectly = [&](const QRegion& area) {
        drawn += area;
        ++frames;
        return true;
    };
    h.pointer = resting[3].center();
    for (int step = 1; step <= 10; ++step) {
        h.advance(1.0 / 60);
        EXPECT_LE(frames, step);
    }
    const QRegion label = h.view->hoverLabelView().outline();
    ASSERT_FALSE(label.isEmpty());
    EXPECT_TRUE((label - drawn).isEmpty()) << "the label is drawn with the row";
}

// The pointer rests on the folder it opened: its label goes while the stack is up, and comes back.
TEST_F(DockViewPointer, AnOpenStackHidesTheHoverLabel)
{
    h.pointer = resting[6].center();
    h.settle();
    ASSERT_TRUE(h.view->hoverLabelView().isVisible());
    h.view->setStack([] {});
    h.advance(1.0 / 60);
    EXPECT_FALSE(h.view->hoverLabelView().isVisible());
    h.view->setStack(nullptr);
    h.advance(1.0 / 60);
    EXPECT_TRUE(h.view->hoverLabelView().isVisible());
}

TEST_F(DockViewPointer, InputRegionCoversTheHoverZoneOnly)
{
    // Tiles taking clicks and the transparent rest letting them through are checked on the real
    // server, with and without a compositor.
    const QRegion region = h.view->inputRegion();
    EXPECT_TRUE(region.contains(QPoint(int(resting[2].center().x()), DockViewHarness::viewHeight - 3)))
        << "below an application icon";
    // The zone reaches 20 points beside the shelf and 12 above the icons: a pointer entering
    // there must reach the view, or nothing magnifies until it touches the shelf.
    const QRectF last = resting.back();
    EXPECT_TRUE(region.contains(QPoint(int(last.right() + last.width() * 0.3 + 15), int(last.center().y()))))
        << "beside the shelf";
    EXPECT_TRUE(region.contains(QPoint(int(resting[2].center().x()), int(resting[2].top()) - 9)))
        << "above the icons";
    EXPECT_FALSE(region.contains(QPoint(int(resting[2].center().x()), int(resting[2].top()) - 20)));

    const int changes = regionChanges;
    h.view->markLayoutDirty();
    h.advance(1.0 / 60);
    EXPECT_EQ(regionChanges, changes) << "a tick that changes nothing reports nothing";

    // Magnifying under a still pointer: the shape is not rewritten on every frame, only
    // once the row settles (the pointer's own spot is inside both the old and new shape).
    h.pointer = resting[2].center();
    h.advance(1.0 / 60);
    ASSERT_TRUE(h.view->isAnimating());
    const int moving = regionChanges;
    h.settle();
    EXPECT_EQ(regionChanges, moving + 1);
}

// A pointer left on the top corner of a magnified icon sits in the zone only because the icon is
// magnified: while the row re-forms around it, the icons must not dip out from under it, or the row
// collapses and never comes back.
TEST_F(DockViewPointer, APointerOnTheTopCornerOfAMagnifiedIconKeepsTheRowMagnified)
{
    for (const bool left : {true, false}) {
        SCOPED_TRACE(left ? "top left" : "top right");
        h.pointer = resting[2].center();
        h.settle();
        const QRectF magnified = h.view->tileFrames()[2];
        ASSERT_GT(magnified.width(), resting[2].width() * 1.3);
        h.pointer = left ? magnified.topLeft() + QPointF(2, 2) : magnified.topRight() + QPointF(-2, 2);
        for (int frame = 0; frame < 90; ++frame) {
            h.advance(1.0 / 60);
            double widest = 0;
            for (const QRectF& tile : h.view->tileFrames())
                widest = std::max(widest, tile.width());
            ASSERT_GT(widest, resting[2].width() * 1.2) << "frame " << frame;
        }
    }
}

// The resting icon size is derived from the width fraction and stored, but only from
// the real width: a view not yet shown has a placeholder size.
TEST(DockViewRestingSize, DerivedOnlyOnceShown)
{
    DockViewHarness h;
    h.pin({h.app("a"), h.app("b")});
    h.size = QSize(300, 200);
    DockView& view = h.startView();
    EXPECT_EQ(h.preferences.restingIconSize(), 0);

    view.resize(1000, 200);
    view.show();
    view.markLayoutDirty();
    h.settle();
    const double stored = h.preferences.restingIconSize();
    EXPECT_EQ(stored, 96) << "86 % of 1000 points holds three icons of the largest size; of 300, not";
    EXPECT_NEAR(view.tileFrames().front().width(), stored, 1.0);
}

} // namespace
} // namespace wharf::test
