#include "stacks/stack_controller.h"

#include "stacks/folder_access_store.h"
#include "stacks/stack_preferences.h"

#include "doubles/fake_workspace.h"
#include "support/temp_preferences.h"
#include "support/wait_for.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QScrollArea>
#include <QScrollBar>

#include <gtest/gtest.h>

using namespace wharf;

namespace {

class StackControllerTest : public testing::Test, protected test::TempPreferences {
protected:
    StackControllerTest()
        : stackPreferences(preferences), access(preferences)
    {
        QDir(dir.path()).mkpath("stack/sub");
        for (int i = 1; i <= 11; ++i)
            touch(QStringLiteral("stack/file %1.txt").arg(i));
    }
    void touch(const QString& name) const { QFile(dir.filePath(name)).open(QIODevice::WriteOnly); }

    std::unique_ptr<StackController> open(StackViewMode mode, const QString& folder = "stack")
    {
        stackPreferences.setSettings({mode, StackSortOrder::name, StackDisplayMode::folder}, dir.filePath(folder));
        StackController::Services services{&workspace, &stackPreferences, &access, nullptr, nullptr, 1, {}};
        auto stack = std::make_unique<StackController>(dir.filePath(folder), services);
        stack->onClose = [this] { ++closed; };
        stack->open(QRectF(380, 540, 40, 40));
        EXPECT_TRUE(waitFor([&] { return stack->snapshot()["message"].toString() != "Loading…"; }));
        return stack;
    }

    StackPreferences stackPreferences;
    FolderAccessStore access;
    FakeWorkspace workspace;
    int closed = 0;
};

// Escape closes the stack in the stacks end-to-end test.
TEST_F(StackControllerTest, ArrowsMoveTheSelectionWithinBounds)
{
    auto grid = open(StackViewMode::grid);
    const struct {
        int key;
        int expected;
    } gridSteps[] = {{Qt::Key_Down, 0}, {Qt::Key_Down, 4}, {Qt::Key_Right, 5}, {Qt::Key_Up, 1}, {Qt::Key_Left, 0},
                     {Qt::Key_Left, 0}, {Qt::Key_Down, 4}, {Qt::Key_Down, 8}, {Qt::Key_Down, 11}};
    for (const auto& step : gridSteps) {
        EXPECT_TRUE(grid->handleKey(step.key, {}));
        EXPECT_EQ(grid->selection(), step.expected);
    }
    grid->close();

    auto fan = open(StackViewMode::fan);
    const int cards = int(fan->snapshot()["entries"].toArray().size());
    fan->handleKey(Qt::Key_Up, {});
    fan->handleKey(Qt::Key_Up, {});
    EXPECT_EQ(fan->selection(), 1) << "up climbs the fan";
    for (int i = 0; i < 20; ++i)
        fan->handleKey(Qt::Key_Up, {});
    EXPECT_EQ(fan->selection(), cards - 1) << "never past the top card";
    EXPECT_FALSE(fan->handleKey(Qt::Key_A, {}));
}

// The scroller of a grid taller than the screen sits beside the cells: walking to the last column
// and row never slides the grid sideways.
TEST_F(StackControllerTest, AScrollingGridNeverSlidesSideways)
{
    QDir(dir.path()).mkdir("many");
    for (int i = 1; i <= 80; ++i)
        touch(QStringLiteral("many/file %1.txt").arg(i));
    auto grid = open(StackViewMode::grid, "many");
    QScrollArea* scroll = nullptr;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && !scroll)
            scroll = window->findChild<QScrollArea*>();
    }
    ASSERT_NE(scroll, nullptr);
    for (int i = 0; i < 30; ++i)
        grid->handleKey(i % 3 ? Qt::Key_Down : Qt::Key_Right, {});
    EXPECT_GT(scroll->verticalScrollBar()->value(), 0) << "the grid scrolled down to the selection";
    EXPECT_EQ(scroll->horizontalScrollBar()->maximum(), 0);
}

TEST_F(StackControllerTest, MessagesForEmptyAndUnreadableFolders)
{
    QDir(dir.path()).mkdir("empty");
    auto empty = open(StackViewMode::automatic, "empty");
    EXPECT_EQ(empty->snapshot()["message"].toString(), "This folder is empty.");
    empty->close();
    auto missing = open(StackViewMode::automatic, "missing");
    EXPECT_EQ(missing->snapshot()["message"].toString(), "This folder could not be opened.");
}

TEST_F(StackControllerTest, TheListShowsAmpersandsInNamesAsWritten)
{
    touch("stack/R&D notes.txt");
    auto list = open(StackViewMode::list);
    QStringList shown;
    for (const QJsonValue& entry : list->snapshot()["entries"].toArray())
        shown << entry.toString();
    EXPECT_TRUE(shown.contains("R&D notes.txt")) << shown.join(", ").toStdString();
}

TEST_F(StackControllerTest, DesktopEntriesShowTheirNameAndLaunch)
{
    QDir(dir.path()).mkdir("apps");
    touch("apps/org.example.Zed.desktop");
    touch("apps/b-notes.txt");
    workspace.names[dir.filePath("apps/org.example.Zed.desktop")] = "Alpha Editor";
    auto stack = open(StackViewMode::grid, "apps");
    ASSERT_EQ(stack->currentEntries().size(), 2u);
    EXPECT_EQ(stack->currentEntries()[0].title, "Alpha Editor") << "sorted by the shown name";
    stack->openEntry(0);
    EXPECT_TRUE(workspace.actions.filter("launch:").join(",").contains("org.example.Zed.desktop"));
    EXPECT_EQ(closed, 1);
}

} // namespace
