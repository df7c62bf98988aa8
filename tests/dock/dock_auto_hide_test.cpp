// Auto-hide and the full-screen overlay dock, driven by a settable clock and pointer: the timings
// and limits that the end-to-end test on the real server does not pin down.
#include "dock_view_test_support.h"

#include "dock/dock_full_screen_state.h"
#include "doubles/fake_window_stacking.h"

#include <QGuiApplication>
#include <QScreen>

namespace wharf::test {
namespace {

class DockAutoHideTest : public ::testing::Test {
protected:
    void build(bool overlay, bool autoHide)
    {
        h.pin({h.app("app0"), h.app("app1"), h.app("app2"), h.app("app3")});
        h.preferences.setValue(DockPreferences::autoHideKey, autoHide);
        h.fullScreenState = &state;
        h.startView(overlay);
        measure();
    }

    void measure()
    {
        resting = h.view->tileFrames();
        std::vector<QRectF> layoutFrames; // y up from the view's bottom
        for (const QRectF& f : resting)
            layoutFrames.emplace_back(f.x(), DockViewHarness::viewHeight - f.bottom(), f.width(), f.height());
        shelf = DockLayout::shelfFrame(layoutFrames);
    }

    void run(double seconds)
    {
        for (double t = 0; t < seconds; t += 1.0 / 60)
            h.advance(1.0 / 60);
    }
    // `above` pixels over the view's bottom edge, `beside` from the shelf's left edge.
    QPointF edge(double beside, double above) const
    {
        return {shelf.left() + beside, DockViewHarness::viewHeight - above};
    }
    QPointF away() const { return {shelf.center().x(), -100}; }
    void setFullScreen(bool on)
    {
        const QRect display = QGuiApplication::primaryScreen()->geometry();
        stacking.windows = on ? std::vector<StackedWindow>{{display, true}} : std::vector<StackedWindow>{};
        state.refresh();
    }

    DockViewHarness h;
    FakeWindowStacking stacking;
    DockFullScreenState state{{&stacking,
                               [] {
                                   QScreen* screen = QGuiApplication::primaryScreen();
                                   return std::vector<DockFullScreenState::Display>{{screen->name(), screen->geometry()}};
                               },
                               [this] { return h.clock; }}};
    std::vector<QRectF> resting;
    QRectF shelf;
};

TEST_F(DockAutoHideTest, ThePointerAndAnOpenMenuHoldTheDockAndItHidesOnlyAfterTheDelay)
{
    build(false, true);
    h.pointer = resting[1].center();
    run(3);
    EXPECT_EQ(h.view->hiddenAmount(), 0) << "the pointer in the hover zone";
    h.pointer = away();
    h.menuOpen = true;
    run(3);
    EXPECT_EQ(h.view->hiddenAmount(), 0) << "an open menu";

    h.menuOpen = false;
    h.view->markLayoutDirty(); // what closing a menu does
    run(0.7);
    EXPECT_EQ(h.view->hiddenAmount(), 0) << "the delay counts from the menu closing";
    EXPECT_TRUE(h.view->isTicking()) << "counting down to hide";
    run(0.3);
    EXPECT_GT(h.view->hiddenAmount(), 0);
    h.settle();
    EXPECT_EQ(h.view->hiddenAmount(), 1);
    EXPECT_FALSE(h.view->isTicking()) << "a hidden dock at rest wakes nothing";
}

// The strip along the edge and just above it are tried on the real server; its ends here.
TEST_F(DockAutoHideTest, OnlyTheEdgeStripBesideTheShelfRevealsAHiddenDock)
{
    const struct {
        const char* name;
        double beside, above; // from the shelf's left edge and the screen edge
        bool reveals;
    } rows[] = {
        {"the top of the edge strip", 100, 3.9, true},
        {"19 beside the shelf", -19, 1, true},
        {"21 beside the shelf", -21, 1, false},
        {"over the hidden icons", 100, 40, false},
    };
    build(false, true);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        h.pointer = away();
        run(1.5);
        h.settle();
        ASSERT_EQ(h.view->hiddenAmount(), 1);
        h.pointer = edge(row.beside, row.above);
        run(0.5);
        EXPECT_EQ(h.view->hiddenAmount() < 0.5, row.reveals) << h.view->hiddenAmount();
    }
}

// The overlay's coming and going on a full-screen display is checked end to end; that the hover
// zone alone does not bring it up, only here.
TEST_F(DockAutoHideTest, TheOverlayWaitsForTheEdgeEvenUnderThePointer)
{
    build(true, false);
    setFullScreen(true);
    run(0.1);
    measure();
    h.pointer = edge(100, 30);
    run(2);
    EXPECT_EQ(h.view->hiddenAmount(), 1);
    h.pointer = edge(100, 1);
    run(0.5);
    EXPECT_LT(h.view->hiddenAmount(), 0.5);
    setFullScreen(false);
    run(0.1);
    EXPECT_TRUE(h.view->inputRegion().isEmpty()) << "an overlay outside full screen takes no mouse";
}

} // namespace
} // namespace wharf::test
