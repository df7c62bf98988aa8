// Auto-hide and the full-screen overlay dock, driven by a settable clock and pointer.
#include "dock_view_test_support.h"

#include "dock/dock_full_screen_state.h"
#include "dock/dock_window_controller.h"
#include "doubles/fake_dock_window_system.h"
#include "doubles/fake_window_stacking.h"

#include <QGuiApplication>
#include <QScreen>

namespace wharf::test {
namespace {

using Kind = DockItem::Kind;

class DockAutoHideTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::vector<std::pair<QString, Kind>> pins;
        for (int i = 0; i < 4; ++i)
            pins.push_back({h.app(QStringLiteral("app%1").arg(i)), Kind::application});
        h.pin(pins);
    }

    void build(bool overlay = false, bool autoHide = true)
    {
        h.preferences.setValue(DockPreferences::autoHideKey, autoHide);
        h.makeView(overlay);
        h.view->start();
        h.settle();
        resting = h.view->tileFrames();
        std::vector<QRectF> layoutFrames; // y up from the view's bottom
        for (const QRectF& f : resting)
            layoutFrames.emplace_back(f.x(), DockViewHarness::viewHeight - f.bottom(), f.width(), f.height());
        shelf = DockLayout::shelfFrame(layoutFrames);
    }

    // Steps at 60 Hz for `seconds`.
    void run(double seconds)
    {
        for (double t = 0; t < seconds; t += 1.0 / 60)
            h.advance(1.0 / 60);
    }

    // A point `above` pixels over the view's bottom edge (its screen edge).
    QPointF fromBottom(double x, double above) const { return {x, DockViewHarness::viewHeight - above}; }

    DockViewHarness h;
    std::vector<QRectF> resting;
    QRectF shelf;
};

TEST_F(DockAutoHideTest, StaysUpUnderThePointerAndHidesOnlyAfterTheDelay)
{
    build();
    h.pointer = fromBottom(shelf.center().x(), 1);
    run(0.5);
    h.pointer = resting[1].center();
    run(3);
    EXPECT_EQ(h.view->hiddenAmount(), 0) << "the pointer in the hover zone holds the dock";

    h.pointer = QPointF(resting[1].center().x(), -100);
    run(0.7);
    EXPECT_EQ(h.view->hiddenAmount(), 0) << "still within the delay";
    EXPECT_TRUE(h.view->isTicking()) << "counting down to hide";
    run(0.3);
    EXPECT_GT(h.view->hiddenAmount(), 0);
    h.settle();
    EXPECT_EQ(h.view->hiddenAmount(), 1);
    for (const QRectF& tile : h.view->tileFrames())
        EXPECT_GE(tile.top(), DockViewHarness::viewHeight) << "hidden tiles sit below the screen edge";
    EXPECT_FALSE(h.view->isTicking()) << "a hidden dock at rest wakes nothing";
    EXPECT_FALSE(h.view->inputRegion().contains(fromBottom(shelf.center().x(), 5).toPoint()));
    EXPECT_TRUE(h.view->inputRegion().contains(fromBottom(shelf.center().x(), 2).toPoint()));
}

TEST_F(DockAutoHideTest, OnlyTheEdgeStripBesideTheShelfRevealsAHiddenDock)
{
    const struct {
        const char* name;
        double x;     // from the shelf's left edge
        double above; // from the screen edge
        bool reveals;
    } rows[] = {
        {"in the edge strip", 100, 3.9, true},
        {"just above the strip", 100, 5, false},
        {"19 beside the shelf", -19, 1, true},
        {"21 beside the shelf", -21, 1, false},
        {"over the hidden icons", 100, 40, false},
    };
    build();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        h.pointer = QPointF(shelf.center().x(), -100);
        run(1.5);
        h.settle();
        ASSERT_EQ(h.view->hiddenAmount(), 1);
        h.pointer = fromBottom(shelf.left() + row.x, row.above);
        run(0.5);
        EXPECT_EQ(h.view->hiddenAmount() < 0.5, row.reveals) << h.view->hiddenAmount();
    }
}

TEST_F(DockAutoHideTest, AnOpenMenuKeepsTheDockShownUntilItCloses)
{
    build();
    h.menuOpen = true;
    h.pointer = QPointF(shelf.center().x(), -100);
    run(3);
    EXPECT_EQ(h.view->hiddenAmount(), 0);

    h.menuOpen = false;
    h.view->markLayoutDirty(); // what closing a menu does
    run(0.5);
    EXPECT_EQ(h.view->hiddenAmount(), 0) << "the delay counts from the menu closing";
    run(1.5);
    EXPECT_GT(h.view->hiddenAmount(), 0.9);
}

TEST_F(DockAutoHideTest, WithoutAutoHideTheDockNeverHides)
{
    build(false, false);
    h.pointer = QPointF(shelf.center().x(), -100);
    run(3);
    EXPECT_EQ(h.view->hiddenAmount(), 0);
    EXPECT_FALSE(h.view->isTicking());
}

class DockFullScreenTest : public DockAutoHideTest {
protected:
    DockFullScreenTest()
    {
        DockFullScreenState::Sources sources;
        sources.stacking = &stacking;
        sources.displays = [] {
            QScreen* screen = QGuiApplication::primaryScreen();
            return std::vector<DockFullScreenState::Display>{{screen->name(), screen->geometry()}};
        };
        sources.uptime = [this] { return h.clock; };
        state = std::make_unique<DockFullScreenState>(std::move(sources));
        h.fullScreenState = state.get();
    }

    void setFullScreen(bool on)
    {
        stacking.windows.clear();
        if (on)
            stacking.windows.push_back({QGuiApplication::primaryScreen()->geometry(), true});
        state->refresh();
    }

    FakeWindowStacking stacking;
    std::unique_ptr<DockFullScreenState> state;
};

TEST_F(DockFullScreenTest, TheOverlayEntersHiddenAndWaitsForTheEdgeEvenUnderThePointer)
{
    build(true, false);
    std::vector<bool> changes;
    h.view->onFullScreenChanged = [&](bool on) { changes.push_back(on); };
    h.pointer = resting[1].center();
    setFullScreen(true);
    run(2);
    EXPECT_TRUE(h.view->isInFullScreenSpace());
    EXPECT_EQ(h.view->hiddenAmount(), 1) << "the hover zone does not reveal a waiting overlay";

    h.pointer = fromBottom(shelf.center().x(), 1);
    run(0.5);
    EXPECT_LT(h.view->hiddenAmount(), 0.5);
    h.pointer = QPointF(shelf.center().x(), -100);
    run(1.5);
    h.settle();
    EXPECT_EQ(h.view->hiddenAmount(), 1) << "the overlay always hides again";

    setFullScreen(false);
    run(0.1);
    EXPECT_FALSE(h.view->isInFullScreenSpace());
    EXPECT_EQ(changes, (std::vector<bool>{true, false}));
    EXPECT_TRUE(h.view->inputRegion().isEmpty());
}

TEST_F(DockFullScreenTest, TheNormalDockStandsAsideOnAFullScreenDisplay)
{
    build(false, true);
    setFullScreen(true);
    h.pointer = fromBottom(shelf.center().x(), 1);
    run(1);
    EXPECT_EQ(h.view->hoveredIndex(), std::nullopt);
    EXPECT_TRUE(h.view->inputRegion().isEmpty()) << "the inactive dock takes no mouse";

    setFullScreen(false);
    run(0.5);
    EXPECT_LT(h.view->hiddenAmount(), 0.5) << "active again, the edge reveals it";
}

TEST(DockWindowRoles, TheOverlayWindowIsAttachedAsAnOverlay)
{
    QTemporaryDir dir;
    DockPreferences preferences{std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat)};
    FakeWorkspace workspace;
    DockModel model{workspace, preferences};
    FakeDockWindowSystem system;
    for (const bool overlay : {false, true}) {
        DockViewContext context;
        context.model = &model;
        context.preferences = &preferences;
        DockWindowController dock(QGuiApplication::primaryScreen(), context, overlay, &system);
        EXPECT_EQ(system.windows.back()->role,
                  overlay ? DockWindowRole::fullScreenOverlay : DockWindowRole::normal);
    }
}

} // namespace
} // namespace wharf::test
