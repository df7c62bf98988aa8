// Dock windows on the offscreen platform with a recording window system: the keys, the window
// taking and giving back the keyboard with the event times the window manager needs, following
// other programs' panels and the input region. (Keys on the real dock, what screen readers see
// and where the dock first sits are checked end to end.)
#include "dock_view_test_support.h"

#include "dock/dock_keyboard.h"
#include "dock/dock_panel.h"
#include "dock/dock_window_controller.h"
#include "doubles/fake_dock_window_system.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>

namespace wharf::test {
namespace {

using Command = DockKeyboard::Command;

TEST(DockKeyboardKeys, WhatEachKeyDoesWithTheSelection)
{
    struct Row {
        const char* name;
        int key;
        std::optional<int> selection;
        int count;
        DockKeyboard::Outcome expected;
    };
    const Row rows[] = {
        {"Right at the last wraps to the first", Qt::Key_Right, 3, 4, {Command::select, 0}},
        {"Shift+Tab goes back", Qt::Key_Backtab, 2, 4, {Command::select, 1}},
        {"the menu key opens the selection's menu", Qt::Key_Menu, 2, 4, {Command::showMenu, 2}},
        {"no selection counts as the first", Qt::Key_Right, std::nullopt, 4, {Command::select, 1}},
        {"a selection past the end counts as the first", Qt::Key_Return, 9, 4, {Command::activate, 0}},
        {"letters are not the dock's", Qt::Key_A, 1, 4, {}},
        {"an empty dock takes no key", Qt::Key_Right, std::nullopt, 0, {}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(DockKeyboard::press(row.key, row.selection, row.count), row.expected) << row.name;
}

class DockWindowTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        mail = h.app("mail");
        docs = h.folder("docs");
        notes = h.app("notes");
        h.pin({mail, docs, notes});
        h.actions.activate = [this](const QString& id, std::uint32_t time) { activated.emplace_back(id, time); };
        dock = std::make_unique<DockWindowController>(QGuiApplication::primaryScreen(), h.context(), false, &system);
        window = system.windows.back().get();
        h.windowView = &dock->dockView();
    }

    DockView& view() { return dock->dockView(); }
    QString id(int index) const { return dock->dockView().entries()[size_t(index)].identifier(); }

    // True when the view took the key.
    bool press(int key, std::uint32_t time = 0)
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        event.setTimestamp(time);
        QCoreApplication::sendEvent(&view(), &event);
        return event.isAccepted();
    }

    DockViewHarness h;
    QString mail, docs, notes;
    FakeDockWindowSystem system;
    std::unique_ptr<DockWindowController> dock;
    FakeWindow* window = nullptr;
    std::vector<std::pair<QString, std::uint32_t>> activated;
};

TEST_F(DockWindowTest, TheWindowTakesAndGivesBackTheKeyboardWithTheKeysTimes)
{
    EXPECT_FALSE(press(Qt::Key_Right)) << "outside keyboard mode the dock takes no key";
    view().beginKeyboardNavigation(77);
    EXPECT_TRUE(press(Qt::Key_Tab)) << "Tab moves the selection, not the focus";
    EXPECT_TRUE(press(Qt::Key_Return, 90));
    EXPECT_EQ(activated, (std::vector<std::pair<QString, std::uint32_t>>{{id(1), 90}}));
    EXPECT_FALSE(dock->panel().keyboardMode());
    EXPECT_EQ(window->focus, (std::vector<std::pair<bool, std::uint32_t>>{{true, 77}, {false, 90}}));

    view().beginKeyboardNavigation(0);
    EXPECT_TRUE(press(Qt::Key_Escape, 5));
    EXPECT_EQ(window->focus.back(), std::make_pair(false, 5u));
}

TEST_F(DockWindowTest, TheSelectionFollowsTheRowAndOnlyALossAfterTheGainEndsTheMode)
{
    view().beginKeyboardNavigation(0);
    press(Qt::Key_Left);
    const int last = int(view().entries().size()) - 1;
    ASSERT_EQ(view().keyboardIndex(), last);
    h.pin({mail, docs});
    EXPECT_EQ(view().keyboardIndex(), last - 1) << "a tile went: the selection is on the new last one";

    window->platform->focusChanged.notify(false);
    EXPECT_EQ(view().keyboardIndex(), last - 1) << "old news: the activation is on its way";
    window->platform->focusChanged.notify(true);
    window->platform->focusChanged.notify(false);
    EXPECT_EQ(view().keyboardIndex(), std::nullopt);
    EXPECT_FALSE(dock->panel().keyboardMode());
}

TEST_F(DockWindowTest, FollowsAnotherProgramsPanelAndRedoesItsStrut)
{
    const QRect g = QGuiApplication::primaryScreen()->geometry();
    dock->setBottomReservation(80);
    system.area = g.adjusted(50, 0, 0, 0); // a panel appears along the left edge
    system.availableAreaChanged.notify();
    EXPECT_EQ(dock->panel().geometry(), QRect(g.x() + 50, g.bottom() + 1 - 340, g.width() - 50, 340));
    EXPECT_EQ(view().geometry(), dock->panel().rect());
    EXPECT_EQ(window->reservations, (std::vector<int>{80, 80})) << "the strut is redone from the new edge";
}

TEST_F(DockWindowTest, InputRegionFollowsTheViewAndStopsAtClose)
{
    Subscription reload = h.model.onChange.add([&] { view().reload(); });
    // (The first region, clicks passing through all but the tiles, is checked on the real server.)
    // A new program widens the shelf: the window system hears of the new region.
    const std::size_t before = window->inputRegions.size();
    h.workspace.launch(FakeWorkspace::app("calc", 42, "/apps/calc.desktop"));
    h.settle();
    EXPECT_GT(window->inputRegions.size(), before);
    EXPECT_EQ(window->inputRegions.back(), view().inputRegion());

    dock->close();
    EXPECT_FALSE(dock->isMapped());
    EXPECT_FALSE(view().isTicking());
    const std::size_t atClose = window->inputRegions.size();
    h.workspace.quit("calc");
    QCoreApplication::processEvents();
    EXPECT_EQ(window->inputRegions.size(), atClose) << "a closed dock no longer shapes its window";
    reload.reset();
}

TEST(DisplayIdentifierTest, DistinctPerNameAndZeroOnlyWithoutOne)
{
    EXPECT_EQ(DockWindowController::displayIdentifier(QString()), 0u);
    EXPECT_NE(DockWindowController::displayIdentifier("LEFT"), DockWindowController::displayIdentifier("RIGHT"));
    EXPECT_NE(DockWindowController::displayIdentifier("eDP-1"), 0u);
}

} // namespace
} // namespace wharf::test
