#include "model_test_support.h"

#include <QCoreApplication>
#include <QMenu>

namespace wharf::test {
namespace {

// Dock shown: Files, A (pinned, titled "Alpha"), B (pinned), R (running, not pinned),
// folder (pinned), doc.txt (pinned), Trash — displayed indices 0 to 6.
class DockModelOperations : public ModelTest {
protected:
    DockModelOperations()
    {
        workspace.running.push_back(std::make_shared<const RunningApplication>(
            FakeWorkspace::app("R", 40, path("r.desktop"), "org.example.R", "R")));
        providers.alertPresenter = [this](const DockModel::Alert& alert) {
            alerts << alert.text + " | " + alert.informativeText;
            return answer;
        };
        reset();
    }

    void reset()
    {
        storePins({{path("a.desktop"), Kind::application, "Alpha"},
                   {path("b.desktop"), Kind::application, std::nullopt},
                   {path("folder"), Kind::folder, std::nullopt},
                   {path("doc.txt"), Kind::file, std::nullopt}});
        model = std::make_unique<DockModel>(workspace, preferences, providers);
    }

    QStringList pinNames() const
    {
        QStringList names;
        for (const Pin& pin : model->pins())
            names << QFileInfo(pin.path).fileName();
        return names;
    }
    DockItem itemNamed(const QString& name) const
    {
        for (const DockItem& item : model->items()) {
            if (QFileInfo(item.url).fileName() == name || item.title == name)
                return item;
        }
        ADD_FAILURE() << "no item " << name.toStdString();
        return {};
    }

    QStringList alerts; // "text | informative text"
    int answer = 0;
    std::unique_ptr<DockModel> model;
};

TEST_F(DockModelOperations, StoredOrderFollowsTheDisplayedOrder)
{
    const auto url = [this](const char* name) { return QUrl::fromLocalFile(path(name)); };
    const struct {
        const char* name;
        std::function<void()> act;
        QStringList pins; // file names in stored order
    } rows[] = {
        {"a pinned app dropped further right moves", [&] { model->pin(url("a.desktop"), 3); },
         {"b.desktop", "a.desktop", "folder", "doc.txt"}},
        {"a new app dropped at the front", [&] { model->pin(url("c.desktop"), 1); },
         {"c.desktop", "a.desktop", "b.desktop", "folder", "doc.txt"}},
        {"a new folder without index ends its section", [&] { model->pin(url("other")); },
         {"a.desktop", "b.desktop", "folder", "doc.txt", "other"}},
        {"a file moved among applications stays with folders", [&] { model->move(itemNamed("doc.txt"), 2); },
         {"a.desktop", "b.desktop", "doc.txt", "folder"}},
        {"a folder moved past the running app counts only pinned files", [&] { model->move(itemNamed("folder"), 6); },
         {"a.desktop", "b.desktop", "doc.txt", "folder"}},
        {"a running app moved is pinned where dropped", [&] { model->move(itemNamed("R"), 2); },
         {"a.desktop", "r.desktop", "b.desktop", "folder", "doc.txt"}},
        {"unpinning a folder", [&] { model->remove(itemNamed("folder")); }, {"a.desktop", "b.desktop", "doc.txt"}},
    };
    for (const auto& row : rows) {
        reset();
        row.act();
        EXPECT_EQ(pinNames(), row.pins) << row.name;
        EXPECT_EQ(storedPins(), model->pins()) << row.name;
    }
    reset();
    model->pin(url("a.desktop"), 3);
    EXPECT_EQ(model->pins()[1].title, "Alpha") << "a moved pin keeps its title";
}

TEST_F(DockModelOperations, WhatCannotBePinnedOrMovedLeavesTheStoreAlone)
{
    const QByteArray marker("untouched");
    store->setValue(DockModel::pinnedItemsKey, marker);
    const std::vector<Pin> before = model->pins();
    QDir().mkpath(DockModel::trashLocation());
    for (const QString& location : {path("a.desktop"), *workspace.fileManager, DockModel::trashLocation(),
                                    QFileInfo(DockModel::trashLocation()).path(), workspace.ownLocation})
        model->pin(QUrl::fromLocalFile(location));
    model->pin(QUrl("https://example.org/a.desktop"), 1);
    model->move(model->items().front(), 3); // the file manager
    model->move(model->items().back(), 1);  // the Trash
    model->remove(itemNamed("R"));          // not pinned
    EXPECT_EQ(model->pins(), before);
    EXPECT_EQ(store->value(DockModel::pinnedItemsKey).toByteArray(), marker);
}

// Keeping a program, emptying the Trash and drops that work are driven end to end; here, how they fail.
TEST_F(DockModelOperations, FailuresAlertWithTheItemsTitleAndTheirReason)
{
    workspace.refusedLocations = {path("folder"), "trash:///"};
    model->activate(itemNamed("folder"));

    // The Trash falls back from the file manager's view to its folder, made private when nothing
    // was ever trashed.
    const QString trash = QFileInfo(DockModel::trashLocation()).path();
    QDir(trash).removeRecursively();
    model->activate(model->items().back());
    EXPECT_EQ(workspace.actions.mid(1), QStringList({"open:trash:///", "open:" + DockModel::trashLocation()}));
    EXPECT_TRUE(QFileInfo(DockModel::trashLocation()).isDir());
    EXPECT_TRUE(QFileInfo(trash + "/info").isDir());
    EXPECT_EQ(QFile::permissions(trash) & (QFile::ReadOther | QFile::ReadGroup), 0);

    workspace.refuseActions = true;
    model->activate(itemNamed("Alpha"));
    workspace.launch(FakeWorkspace::app("tool", 71, "/usr/bin/tool", std::nullopt, "tool"));
    model->move(itemNamed("tool"), 1);
    EXPECT_EQ(pinNames().size(), 4);
    workspace.refuseActions = false;

    providers.emptyTrashProvider = [](DockModel::TrashDone done) { done(Error{"info/x.trashinfo: Permission denied"}); };
    providers.recycleProvider = [](const QStringList&, DockModel::TrashDone done) { done(Error{"doc.txt: Permission denied"}); };
    model = std::make_unique<DockModel>(workspace, preferences, providers);
    answer = 1;
    model->emptyTrash();
    model->open({QUrl::fromLocalFile(path("doc.txt"))}, model->items().back(), false);
    const QStringList expected{
        "Couldn’t open folder | The item may have been moved, deleted, or become unavailable.",
        "Couldn’t open Alpha | refused",
        "Couldn’t keep tool in Dock | refused",
        "Permanently erase the items in the Trash? | You can’t undo this action. Files will empty the Trash on "
        "connected volumes.",
        "Couldn’t empty the Trash | info/x.trashinfo: Permission denied",
        "Couldn’t move to Trash | doc.txt: Permission denied",
    };
    EXPECT_EQ(alerts, expected);
}

QStringList menuTitles(const QMenu& menu)
{
    QStringList titles;
    for (QAction* action : menu.actions()) {
        if (action->isSeparator())
            titles << "-";
        else if (action->menu())
            titles << action->text() + "[" + menuTitles(*action->menu()).join(",") + "]";
        else
            titles << action->text() + (action->isChecked() ? "✓" : "");
    }
    return titles;
}

TEST_F(DockModelOperations, ContextMenus)
{
    workspace.launch(FakeWorkspace::app("A", 10, path("a.desktop")));
    workspace.launch(FakeWorkspace::app("Files", 11, workspace.fileManager, "org.gnome.Nautilus"));
    const std::pair<QString, QStringList> rows[] = {
        {"Alpha", {"Options[Keep in Dock✓,Show in Files]", "-", "Hide", "Quit"}},
        {"b.desktop", {"Options[Keep in Dock✓,Show in Files]", "-", "Open"}},
        {"Files", {"Options[Show in Files]", "-", "Open"}},
        {"doc.txt", {"Open", "-", "Remove from Dock", "Show in Files"}},
    };
    for (const auto& [item, titles] : rows) {
        QMenu menu;
        model->contextMenu(itemNamed(item), menu);
        EXPECT_EQ(menuTitles(menu), titles) << item.toStdString();
    }
    // A menu that outlives the model does nothing.
    QMenu late;
    model->contextMenu(itemNamed("folder"), late);
    model.reset();
    late.actions()[0]->trigger();
    EXPECT_TRUE(workspace.actions.isEmpty());
}

TEST_F(DockModelOperations, DropsThatCannotBeTakenDoNothing)
{
    model->open({QUrl::fromLocalFile(path("folder/inside.txt"))}, itemNamed("doc.txt"), true);
    model->open({QUrl("https://example.org")}, model->items().back(), false);
    EXPECT_EQ(workspace.actions, QStringList({"beep"})) << "a file is no place to drop onto";
    EXPECT_TRUE(alerts.empty());
}

// Files dropped onto a folder move on a worker; what they do and the alert that comes back are
// checked end to end.
TEST_F(DockModelOperations, AModelThatGoesWhileFilesMoveWaitsForThemAndAnswersNobody)
{
    workspace.failingTransfers = {path("gone.txt")};
    model->open({QUrl::fromLocalFile(path("doc.txt")), QUrl::fromLocalFile(path("gone.txt"))}, itemNamed("folder"), true);
    model.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(workspace.actions.last(), "copy:" + path("gone.txt") + " " + path("folder/gone.txt"));
    EXPECT_TRUE(alerts.empty()) << "nobody is left to answer";
}

} // namespace
} // namespace wharf::test
