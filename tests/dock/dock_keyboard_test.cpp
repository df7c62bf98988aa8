// Keyboard mode: the keys and the selection, and the dock window taking and giving back the
// keyboard. (What screen readers see is checked over AT-SPI in the keyboard e2e test.)
#include "dock_view_test_support.h"

#include "dock/dock_keyboard.h"
#include "dock/dock_panel.h"
#include "dock/dock_window_controller.h"
#include "doubles/fake_dock_window_system.h"

#include <QGuiApplication>
#include <QKeyEvent>

namespace wharf::test {
namespace {

using Kind = DockItem::Kind;
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
        {"Right moves on", Qt::Key_Right, 1, 4, {Command::select, 2}},
        {"Right at the last wraps to the first", Qt::Key_Right, 3, 4, {Command::select, 0}},
        {"Left at the first selects the last", Qt::Key_Left, 0, 4, {Command::select, 3}},
        {"Shift+Tab goes back", Qt::Key_Backtab, 2, 4, {Command::select, 1}},
        {"no selection counts as the first", Qt::Key_Right, std::nullopt, 4, {Command::select, 1}},
        {"a selection past the end counts as the first", Qt::Key_Return, 9, 4, {Command::activate, 0}},
        {"Space opens the menu", Qt::Key_Space, 2, 4, {Command::showMenu, 2}},
        {"Escape leaves", Qt::Key_Escape, 1, 4, {Command::leave, 1}},
        {"letters are not the dock's", Qt::Key_A, 1, 4, {}},
        {"an empty dock takes no key", Qt::Key_Right, std::nullopt, 0, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(DockKeyboard::press(row.key, row.selection, row.count), row.expected);
    }
    EXPECT_FALSE(DockKeyboard::handles(Qt::Key_Home));
    EXPECT_TRUE(DockKeyboard::handles(Qt::Key_Menu));
}

// A dock window on the offscreen platform, its window system recorded.
class DockKeyboardMode : public ::testing::Test {
protected:
    void SetUp() override
    {
        mail = h.app(QStringLiteral("mail"));
        docs = h.folder(QStringLiteral("docs"));
        notes = h.app(QStringLiteral("notes"));
        h.pin({{mail, Kind::application}, {docs, Kind::folder}, {notes, Kind::application}});
        DockViewContext context;
        context.model = &h.model;
        context.preferences = &h.preferences;
        context.actions.activate = [this](const QString& id, std::uint32_t time) { activated.emplace_back(id, time); };
        dock = std::make_unique<DockWindowController>(QGuiApplication::primaryScreen(), std::move(context), false,
                                                      &system);
        window = system.windows.back().get();
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

TEST_F(DockKeyboardMode, TheShortcutSelectsTheFirstTileKeysMoveItAndReturnActivatesWithTheKeysTime)
{
    EXPECT_FALSE(press(Qt::Key_Right)) << "outside keyboard mode the dock takes no key";
    view().beginKeyboardNavigation(77);
    EXPECT_EQ(view().keyboardIndex(), 0);
    EXPECT_TRUE(dock->panel().keyboardMode());
    EXPECT_EQ(window->focus, (std::vector<bool>{true}));
    EXPECT_EQ(window->focusTimes, (std::vector<std::uint32_t>{77}));
    EXPECT_EQ(view().hoveredIndex(), 0) << "the selection is the hovered tile";

    const int last = int(view().entries().size()) - 1;
    EXPECT_TRUE(press(Qt::Key_Left));
    EXPECT_EQ(view().keyboardIndex(), last);
    EXPECT_TRUE(press(Qt::Key_Tab)) << "Tab moves the selection, not the focus";
    EXPECT_EQ(view().keyboardIndex(), 0);
    EXPECT_TRUE(press(Qt::Key_Right));
    EXPECT_FALSE(press(Qt::Key_A));
    EXPECT_EQ(view().keyboardIndex(), 1);
    EXPECT_TRUE(activated.empty());

    EXPECT_TRUE(press(Qt::Key_Return, 90));
    EXPECT_EQ(activated, (std::vector<std::pair<QString, std::uint32_t>>{{id(1), 90}}));
    EXPECT_EQ(view().keyboardIndex(), std::nullopt) << "activating ends keyboard mode";
    EXPECT_FALSE(dock->panel().keyboardMode());
    EXPECT_EQ(window->focus, (std::vector<bool>{true, false}));
    EXPECT_EQ(window->focusTimes, (std::vector<std::uint32_t>{77, 90}));
}

TEST_F(DockKeyboardMode, EscapeLeavesAndTheSelectionFollowsTheRow)
{
    view().beginKeyboardNavigation(0);
    press(Qt::Key_Left);
    const int last = int(view().entries().size()) - 1;
    ASSERT_EQ(view().keyboardIndex(), last);
    // A tile goes: the selection moves onto the new last one.
    h.pin({{mail, Kind::application}, {docs, Kind::folder}});
    view().reload();
    EXPECT_EQ(view().keyboardIndex(), last - 1);
    EXPECT_TRUE(press(Qt::Key_Escape, 5));
    EXPECT_EQ(view().keyboardIndex(), std::nullopt);
    EXPECT_EQ(window->focus, (std::vector<bool>{true, false}));
    EXPECT_EQ(window->focusTimes.back(), 5u);
    EXPECT_TRUE(activated.empty());

    // Losing the keyboard ends keyboard mode, but not a loss from before the dock got it.
    view().beginKeyboardNavigation(0);
    window->platform->focusChanged.notify(false);
    EXPECT_EQ(view().keyboardIndex(), 0) << "old news: the activation is on its way";
    window->platform->focusChanged.notify(true);
    window->platform->focusChanged.notify(false);
    EXPECT_EQ(view().keyboardIndex(), std::nullopt);
    EXPECT_FALSE(dock->panel().keyboardMode());

    // A view that is not in a dock window has no keyboard mode.
    DockView& loose = h.makeView();
    loose.beginKeyboardNavigation(0);
    EXPECT_EQ(loose.keyboardIndex(), std::nullopt);
}

} // namespace
} // namespace wharf::test
