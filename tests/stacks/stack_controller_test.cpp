#include "stacks/stack_controller.h"

#include "platform/folder_watcher.h"
#include "settings/dock_preferences.h"
#include "stacks/folder_access_store.h"
#include "stacks/stack_preferences.h"

#include "doubles/fake_workspace.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace wharf;

namespace {

// Watches that fire only when the test says so.
class FakeFolderWatcher : public FolderWatcher {
public:
    struct Watch : FolderWatch {
        Watch(FakeFolderWatcher& owner, std::function<void()> callback) : owner(owner) { owner.active = std::move(callback); }
        ~Watch() override { owner.active = nullptr; }
        FakeFolderWatcher& owner;
    };
    std::unique_ptr<FolderWatch> watch(const QString& folder, std::function<void()> onChange) override
    {
        watched << folder;
        return std::make_unique<Watch>(*this, std::move(onChange));
    }
    void fire() const
    {
        if (active)
            active();
    }
    QStringList watched;
    std::function<void()> active;
};

bool waitFor(const std::function<bool()>& condition)
{
    QDeadlineTimer deadline(5000);
    while (!condition() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return condition();
}

QStringList strings(const QJsonValue& value)
{
    QStringList out;
    for (const QJsonValue& v : value.toArray())
        out << v.toString();
    return out;
}

class StackControllerTest : public testing::Test {
protected:
    StackControllerTest()
        : store(std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat)),
          preferences(store),
          stackPreferences(preferences),
          access(preferences)
    {
        QDir(dir.path()).mkpath("stack/sub");
        for (int i = 1; i <= 11; ++i)
            touch(QStringLiteral("stack/file %1.txt").arg(i));
        touch("stack/sub/inner.txt");
    }
    void touch(const QString& name) const { QFile(dir.filePath(name)).open(QIODevice::WriteOnly); }

    std::unique_ptr<StackController> open(StackViewMode mode, const QString& folder = "stack")
    {
        stackPreferences.setSettings({mode, StackSortOrder::name, StackDisplayMode::folder}, dir.filePath(folder));
        StackController::Services services{&workspace, &stackPreferences, &access, &watcher, nullptr, 1, {}};
        auto stack = std::make_unique<StackController>(dir.filePath(folder), services);
        stack->onClose = [this] { ++closed; };
        stack->open(QRectF(380, 540, 40, 40));
        waitFor([&] { return stack->snapshot()["message"].toString() != QStringLiteral("Loading…"); });
        return stack;
    }

    QTemporaryDir dir;
    std::shared_ptr<QSettings> store;
    DockPreferences preferences;
    StackPreferences stackPreferences;
    FolderAccessStore access;
    FakeWorkspace workspace;
    FakeFolderWatcher watcher;
    int closed = 0;
};

TEST_F(StackControllerTest, EachModeShowsTheFolder)
{
    auto fan = open(StackViewMode::fan);
    QJsonObject shown = fan->snapshot();
    EXPECT_EQ(shown["mode"].toString(), "fan");
    EXPECT_EQ(shown["count"].toInt(), 12);
    const int cards = int(shown["entries"].toArray().size());
    EXPECT_GE(cards, 1);
    EXPECT_LT(cards, 12);
    EXPECT_EQ(strings(shown["entries"]).first(), "file 1.txt");
    EXPECT_EQ(shown["button"].toString(), QStringLiteral("↗  %1 More in Files").arg(12 - cards));
    fan->close();

    auto grid = open(StackViewMode::grid);
    shown = grid->snapshot();
    EXPECT_EQ(shown["mode"].toString(), "grid");
    EXPECT_EQ(shown["columns"].toInt(), 4);
    EXPECT_EQ(strings(shown["entries"]).last(), "sub") << "numeric order, then the folder";
    grid->close();

    auto list = open(StackViewMode::list);
    shown = list->snapshot();
    EXPECT_EQ(shown["mode"].toString(), "list");
    EXPECT_EQ(strings(shown["entries"]).size(), 13);
    EXPECT_EQ(strings(shown["entries"]).last(), "Open in Files");
    list->close();
    EXPECT_EQ(closed, 3);
    EXPECT_TRUE(access.savedAncestor(dir.filePath("stack"))) << "a readable root is remembered";
}

TEST_F(StackControllerTest, WalksIntoSubFoldersAndBack)
{
    auto stack = open(StackViewMode::fan);
    const int sub = int(stack->currentEntries().size()) - 1;
    ASSERT_EQ(stack->currentEntries()[std::size_t(sub)].title, "sub");
    stack->openEntry(sub);
    ASSERT_TRUE(waitFor([&] { return stack->snapshot()["loads"].toInt() == 2; }));
    EXPECT_EQ(stack->snapshot()["mode"].toString(), "grid") << "sub-folders are always grids";
    EXPECT_TRUE(stack->snapshot()["back"].toBool());
    EXPECT_EQ(strings(stack->snapshot()["entries"]), QStringList{"inner.txt"});
    EXPECT_EQ(watcher.watched.last(), dir.filePath("stack/sub"));

    EXPECT_TRUE(stack->handleKey(Qt::Key_BracketLeft, Qt::ControlModifier));
    ASSERT_TRUE(waitFor([&] { return stack->snapshot()["loads"].toInt() == 3; }));
    EXPECT_EQ(stack->currentFolder(), dir.filePath("stack"));
    EXPECT_EQ(stack->snapshot()["mode"].toString(), "fan");
    EXPECT_FALSE(stack->snapshot()["back"].toBool());
    EXPECT_TRUE(stack->handleKey(Qt::Key_Backspace, {})) << "nothing to go back to, still consumed";
    EXPECT_EQ(closed, 0);
}

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
    EXPECT_TRUE(fan->handleKey(Qt::Key_Escape, {}));
    EXPECT_EQ(closed, 2);
}

TEST_F(StackControllerTest, ABurstOfChangesRefreshesOnce)
{
    auto stack = open(StackViewMode::grid);
    touch("stack/new 1.txt");
    touch("stack/new 2.txt");
    watcher.fire();
    watcher.fire();
    watcher.fire();
    ASSERT_TRUE(waitFor([&] { return stack->snapshot()["loads"].toInt() == 2; }));
    EXPECT_EQ(stack->snapshot()["count"].toInt(), 14);
    for (int i = 0; i < 20; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    EXPECT_EQ(stack->snapshot()["loads"].toInt(), 2);

    stackPreferences.setSettings({StackViewMode::list, StackSortOrder::name, {}}, dir.filePath("stack"));
    ASSERT_TRUE(waitFor([&] { return stack->snapshot()["mode"].toString() == "list"; }))
        << "a settings change redraws the open stack";
}

TEST_F(StackControllerTest, MessagesForEmptyAndUnreadableFolders)
{
    QDir(dir.path()).mkdir("empty");
    auto empty = open(StackViewMode::automatic, "empty");
    EXPECT_EQ(empty->snapshot()["message"].toString(), "This folder is empty.");
    empty->close();
    auto missing = open(StackViewMode::automatic, "missing");
    ASSERT_TRUE(waitFor([&] { return missing->snapshot()["message"].toString() != "Loading…"; }));
    EXPECT_EQ(missing->snapshot()["message"].toString(), "This folder could not be opened.");
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
