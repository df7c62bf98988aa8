// Entries, tiles and the membership animation of the dock view.
#include "dock_view_test_support.h"

namespace wharf::test {
namespace {

using Kind = DockItem::Kind;

class DockViewMembership : public ::testing::Test {
protected:
    void SetUp() override
    {
        a = h.app(QStringLiteral("a"), Qt::red);
        b = h.app(QStringLiteral("b"), Qt::green);
        c = h.app(QStringLiteral("c"), Qt::blue);
        d = h.app(QStringLiteral("d"), Qt::cyan);
        h.pin({{a, Kind::application}, {b, Kind::application}, {c, Kind::application}});
        h.makeView();
        h.view->start();
        h.settle();
    }

    DockViewHarness h;
    QString a, b, c, d;
};

TEST_F(DockViewMembership, ReloadKeepsTilesByIdentifierAndAddsOnlyNewOnes)
{
    const auto before = h.view->tiles();
    h.pin({{a, Kind::application}, {d, Kind::application}, {b, Kind::application}, {c, Kind::application}});
    h.view->reload();

    const auto& after = h.view->tiles();
    ASSERT_EQ(after.size(), before.size() + 1);
    EXPECT_EQ(after[size_t(h.indexOf(a))], before[0]);
    EXPECT_EQ(after[size_t(h.indexOf(b))], before[1]);
    EXPECT_EQ(after[size_t(h.indexOf(c))], before[2]);
    for (const auto* old : before)
        EXPECT_NE(after[size_t(h.indexOf(d))], old);
    for (size_t i = 0; i < after.size(); ++i)
        EXPECT_EQ(after[i]->entry().identifier(), h.view->entries()[i].identifier());
}

TEST_F(DockViewMembership, ReloadWithSameMembershipMovesNothing)
{
    const auto frames = h.view->tileFrames();
    h.model.refresh();
    h.view->reload();
    h.advance(1.0 / 60);
    EXPECT_FALSE(h.view->isAnimating());
    EXPECT_EQ(h.view->tileFrames(), frames);
    EXPECT_EQ(h.view->retiringIconCount(), 0);
}

TEST_F(DockViewMembership, NewEntryOpensFromBetweenItsNeighboursAndFadesIn)
{
    const auto old = h.view->tileFrames();
    const double gapMiddle = (old[size_t(h.indexOf(b))].right() + old[size_t(h.indexOf(c))].left()) / 2;
    h.pin({{a, Kind::application}, {b, Kind::application}, {d, Kind::application}, {c, Kind::application}});
    h.view->reload();
    const int newIndex = h.indexOf(d);
    const DockTile* tile = h.view->tiles()[size_t(newIndex)];

    EXPECT_EQ(tile->alpha, 0);
    EXPECT_NEAR(h.view->tileFrames()[size_t(newIndex)].center().x(), gapMiddle, 0.5) << "old frames were pixel-aligned";

    // The fade waits for 15 % of the 0.35 s opening.
    h.advance(0.04);
    EXPECT_EQ(tile->alpha, 0);
    EXPECT_TRUE(h.view->isAnimating());
    h.advance(0.14);
    EXPECT_GT(tile->alpha, 0);
    EXPECT_LT(tile->alpha, 1);

    h.advance(0.18);
    EXPECT_EQ(tile->alpha, 1);
    const auto expected = h.expectedFrames(std::nullopt, 1);
    const auto frames = h.view->tileFrames();
    ASSERT_EQ(frames.size(), expected.size());
    for (size_t i = 0; i < frames.size(); ++i)
        expectNear(frames[i], expected[i], 1.0, "resting frame after opening");
    h.advance(1.0 / 60);
    EXPECT_FALSE(h.view->isAnimating());
}

TEST_F(DockViewMembership, RemovedEntryRetiresWithinATenthWhileTheRowCloses)
{
    h.pin({{a, Kind::application}, {c, Kind::application}});
    h.view->reload();
    EXPECT_EQ(h.view->retiringIconCount(), 1);
    ASSERT_EQ(h.view->tiles().size(), h.view->entries().size());

    h.advance(0.05);
    EXPECT_EQ(h.view->retiringIconCount(), 1);
    h.advance(0.06);
    EXPECT_EQ(h.view->retiringIconCount(), 0);
    EXPECT_TRUE(h.view->isAnimating()); // the 0.18 s closing still runs

    h.advance(0.08);
    const auto expected = h.expectedFrames(std::nullopt, 1);
    const auto frames = h.view->tileFrames();
    for (size_t i = 0; i < frames.size(); ++i)
        expectNear(frames[i], expected[i], 1.0, "resting frame after closing");
}

TEST_F(DockViewMembership, ReduceMotionJumpsToTheFinalState)
{
    h.reduceMotion = true;
    h.pin({{a, Kind::application}, {d, Kind::application}, {c, Kind::application}});
    h.view->reload();
    EXPECT_EQ(h.view->retiringIconCount(), 0);
    EXPECT_EQ(h.view->tiles()[size_t(h.indexOf(d))]->alpha, 1);
    h.advance(1.0 / 60);
    const auto expected = h.expectedFrames(std::nullopt, 1);
    const auto frames = h.view->tileFrames();
    for (size_t i = 0; i < frames.size(); ++i)
        expectNear(frames[i], expected[i], 1.0, "frame under reduce motion");
}

// The view is made before its window has its size: the row laid out at that placeholder size and
// the entries that arrive before the first step must not animate into the real layout.
TEST(DockViewFirstLayout, ShowsTheRowAtRestAtOnce)
{
    DockViewHarness h;
    const QString a = h.app(QStringLiteral("a"));
    h.pin({{a, Kind::application}});
    h.size = QSize(300, DockViewHarness::viewHeight);
    h.makeView();
    h.pin({{a, Kind::application}, {h.app(QStringLiteral("b")), Kind::application}});
    h.view->reload();
    h.size = QSize(DockViewHarness::viewWidth, DockViewHarness::viewHeight);
    h.view->resize(h.size);
    h.view->start();
    EXPECT_FALSE(h.view->isAnimating());
    EXPECT_EQ(h.view->tiles()[1]->alpha, 1);
    const auto expected = h.expectedFrames(std::nullopt, 1);
    const auto frames = h.view->tileFrames();
    ASSERT_EQ(frames.size(), expected.size());
    for (size_t i = 0; i < frames.size(); ++i)
        expectNear(frames[i], expected[i], 0.5, "first frame");
}

// Where entries go, and where the separator falls.
TEST(DockViewEntries, OrderAndSeparator)
{
    struct Row {
        const char* name;
        bool applications;
        bool folder;
        bool window;
        std::optional<int> separator; // index in the row [a, b], [folder], [window], Trash
    };
    const Row rows[] = {
        {"applications and Trash", true, false, false, 2},
        {"a folder after the applications", true, true, false, 2},
        {"a minimized window after the applications", true, false, true, 2},
        {"no applications", false, true, false, std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        DockViewHarness h;
        const QString a = h.app(QStringLiteral("a"));
        const QString b = h.app(QStringLiteral("b"));
        std::vector<std::pair<QString, Kind>> pins;
        if (row.applications)
            pins = {{a, Kind::application}, {b, Kind::application}};
        if (row.folder)
            pins.push_back({h.folder(QStringLiteral("docs")), Kind::folder});
        h.pin(pins);
        auto running = FakeWorkspace::app(QStringLiteral("b"), 42, b);
        running.icon = DockViewHarness::solidIcon(Qt::magenta);
        if (row.applications) {
            h.workspace.launch(running);
            h.model.refresh();
        }
        if (row.window)
            h.minimized.push_back(DockWindow{7, QStringLiteral("Notes"), 42, QStringLiteral("b"), true});
        DockView& view = h.makeView();

        const auto& entries = view.entries();
        ASSERT_FALSE(entries.empty());
        EXPECT_TRUE(entries.back().isTrash()) << "the Trash is always last";
        EXPECT_EQ(view.separatorIndex(), row.separator);
        if (row.window) {
            const auto& window = entries[entries.size() - 2];
            EXPECT_EQ(window.identifier(), QStringLiteral("window-7"));
            EXPECT_EQ(window.icon().pixmap(QSize(32, 32), 1.0).toImage().pixelColor(16, 16), QColor(Qt::magenta))
                << "the owning program's icon";
        }
    }
}

} // namespace
} // namespace wharf::test
