// Entries, tiles and the membership animation of the dock view. (That the row holds still through
// refreshes that change nothing is checked on the real server from the first frame on; that a
// reload keeps each tile by its identifier, by what assistive technology hears in the render test.)
#include "dock_view_test_support.h"

namespace wharf::test {
namespace {

class DockViewMembership : public ::testing::Test {
protected:
    void SetUp() override
    {
        a = h.app("a", Qt::red);
        b = h.app("b", Qt::green);
        c = h.app("c", Qt::blue);
        d = h.app("d", Qt::cyan);
        h.pin({a, b, c});
        h.startView();
    }

    DockViewHarness h;
    QString a, b, c, d;
};

TEST_F(DockViewMembership, NewEntryOpensFromBetweenItsNeighboursAndFadesIn)
{
    const auto old = h.view->tileFrames();
    const double gapMiddle = (old[size_t(h.indexOf(b))].right() + old[size_t(h.indexOf(c))].left()) / 2;
    h.pin({a, b, d, c});
    const int newIndex = h.indexOf(d);
    const DockTile* tile = h.view->tiles()[size_t(newIndex)];

    EXPECT_EQ(tile->alpha, 0);
    EXPECT_NEAR(h.view->tileFrames()[size_t(newIndex)].center().x(), gapMiddle, 0.5) << "old frames were pixel-aligned";

    // The fade waits for 15 % of the 0.35 s opening.
    h.advance(0.04);
    EXPECT_EQ(tile->alpha, 0);
    h.advance(0.14);
    EXPECT_GT(tile->alpha, 0);
    EXPECT_LT(tile->alpha, 1);
    h.advance(0.18);
    EXPECT_EQ(tile->alpha, 1);
    h.advance(1.0 / 60);
    EXPECT_FALSE(h.view->isAnimating());
}

TEST_F(DockViewMembership, RemovedEntryRetiresWithinATenthWhileTheRowCloses)
{
    h.pin({a, c});
    EXPECT_EQ(h.view->retiringIconCount(), 1);
    ASSERT_EQ(h.view->tiles().size(), h.view->entries().size());

    h.advance(0.05);
    EXPECT_EQ(h.view->retiringIconCount(), 1);
    h.advance(0.06);
    EXPECT_EQ(h.view->retiringIconCount(), 0);
    EXPECT_TRUE(h.view->isAnimating()); // the 0.18 s closing still runs
}

TEST_F(DockViewMembership, ReduceMotionJumpsToTheFinalState)
{
    h.reduceMotion = true;
    h.pin({a, d, c});
    EXPECT_EQ(h.view->retiringIconCount(), 0);
    EXPECT_EQ(h.view->tiles()[size_t(h.indexOf(d))]->alpha, 1);
    h.advance(1.0 / 60);
    const auto frames = h.view->tileFrames();
    h.settle();
    EXPECT_EQ(h.view->tileFrames(), frames) << "at rest after one frame";
}

// A minimized window follows the applications with its program's icon, before the Trash; the
// separator falls after the applications, and without them there is none.
TEST(DockViewEntries, WindowsFollowTheApplicationsAndTheSeparatorFallsAfterThem)
{
    DockViewHarness h;
    const QString b = h.app("b");
    h.pin({h.app("a"), b});
    auto running = FakeWorkspace::app("b", std::nullopt, b);
    running.icon = DockViewHarness::solidIcon(Qt::magenta);
    h.workspace.launch(running);
    h.model.refresh();
    h.minimized.push_back(DockWindow{7, "Notes", "b", "b", true});
    const auto& entries = h.makeView().entries();
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(h.view->separatorIndex(), 2);
    EXPECT_EQ(entries[2].icon().pixmap(QSize(32, 32), 1.0).toImage().pixelColor(16, 16), QColor(Qt::magenta));

    DockViewHarness folders;
    folders.pin({folders.folder("docs")});
    EXPECT_EQ(folders.makeView().separatorIndex(), std::nullopt);
}

} // namespace
} // namespace wharf::test
