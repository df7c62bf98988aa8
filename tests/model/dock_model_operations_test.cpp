#include "model/dock_model.h"
#include "settings/dock_preferences.h"

#include "doubles/fake_workspace.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QTemporaryDir>

#include <gtest/gtest.h>

inline void PrintTo(const QString& text, std::ostream* os) { *os << '"' << text.toStdString() << '"'; }

using namespace wharf;
using Kind = DockItem::Kind;
using Pin = DockModel::Pin;

namespace {

// Dock shown: Files, A (pinned, titled "Alpha"), B (pinned), R (running, not pinned),
// folder (pinned), doc.txt (pinned), Trash — displayed indices 0 to 6.
class DockModelOperations : public testing::Test {
public:
    DockModelOperations()
        : store(std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat)), preferences(store)
    {
        workspace.fileManager = path("files.desktop");
        workspace.bundleIDs[*workspace.fileManager] = "org.gnome.Nautilus";
        for (const char* name : {"a.desktop", "b.desktop", "c.desktop", "r.desktop", "files.desktop", "doc.txt"})
            QFile(path(name)).open(QIODevice::WriteOnly);
        for (const char* name : {"folder", "other"})
            QDir(dir.path()).mkdir(name);
        store->setValue(DockModel::pinnedItemsKey,
                        DockModel::encodePins({{path("a.desktop"), Kind::application, "Alpha"},
                                               {path("b.desktop"), Kind::application, std::nullopt},
                                               {path("folder"), Kind::folder, std::nullopt},
                                               {path("doc.txt"), Kind::file, std::nullopt}}));
        workspace.running.push_back(std::make_shared<const RunningApplication>(
            FakeWorkspace::app("R", 40, path("r.desktop"), QString("org.example.R"), "R")));
        providers.alertPresenter = [this](const DockModel::Alert& alert) {
            alerts.push_back(alert);
            return answer;
        };
        model = std::make_unique<DockModel>(workspace, preferences, providers);
    }

    QString path(const QString& name) const { return dir.filePath(name); }
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

    QTemporaryDir dir;
    std::shared_ptr<QSettings> store;
    DockPreferences preferences;
    FakeWorkspace workspace;
    DockModel::Providers providers;
    std::vector<DockModel::Alert> alerts;
    int answer = 0;
    std::unique_ptr<DockModel> model;
};

struct PlacementCase {
    const char* name;
    std::function<void(DockModelOperations&)> act;
    QStringList pins; // file names in stored order
};

void PrintTo(const PlacementCase& row, std::ostream* os) { *os << row.name; }

class Placement : public DockModelOperations, public testing::WithParamInterface<PlacementCase> {};

TEST_P(Placement, StoredOrderFollowsTheDisplayedOrder)
{
    GetParam().act(*this);
    EXPECT_EQ(pinNames(), GetParam().pins);
    // The store holds what the model holds.
    EXPECT_EQ(DockModel::decodePins(store->value(DockModel::pinnedItemsKey).toByteArray()), model->pins());
}

INSTANTIATE_TEST_SUITE_P(
    Rules, Placement,
    testing::Values(
        PlacementCase{"pinned_app_dropped_further_right_moves",
                      [](auto& t) { t.model->pin(QUrl::fromLocalFile(t.path("a.desktop")), 3); },
                      {"b.desktop", "a.desktop", "folder", "doc.txt"}},
        PlacementCase{"new_app_dropped_at_the_front",
                      [](auto& t) { t.model->pin(QUrl::fromLocalFile(t.path("c.desktop")), 1); },
                      {"c.desktop", "a.desktop", "b.desktop", "folder", "doc.txt"}},
        PlacementCase{"new_app_before_the_file_manager_still_goes_first",
                      [](auto& t) { t.model->pin(QUrl::fromLocalFile(t.path("c.desktop")), 0); },
                      {"c.desktop", "a.desktop", "b.desktop", "folder", "doc.txt"}},
        PlacementCase{"new_folder_without_index_ends_its_section",
                      [](auto& t) { t.model->pin(QUrl::fromLocalFile(t.path("other"))); },
                      {"a.desktop", "b.desktop", "folder", "doc.txt", "other"}},
        PlacementCase{"index_past_the_end_is_clamped",
                      [](auto& t) { t.model->pin(QUrl::fromLocalFile(t.path("other")), 99); },
                      {"a.desktop", "b.desktop", "folder", "doc.txt", "other"}},
        PlacementCase{"file_moved_among_applications_stays_with_folders",
                      [](auto& t) { t.model->move(t.itemNamed("doc.txt"), 2); },
                      {"a.desktop", "b.desktop", "doc.txt", "folder"}},
        PlacementCase{"folder_moved_past_the_running_app_counts_only_pinned_files",
                      [](auto& t) { t.model->move(t.itemNamed("folder"), 6); },
                      {"a.desktop", "b.desktop", "doc.txt", "folder"}},
        PlacementCase{"running_app_moved_is_pinned_where_dropped",
                      [](auto& t) { t.model->move(t.itemNamed("R"), 2); },
                      {"a.desktop", "r.desktop", "b.desktop", "folder", "doc.txt"}},
        PlacementCase{"unpinning_a_folder", [](auto& t) { t.model->remove(t.itemNamed("folder")); },
                      {"a.desktop", "b.desktop", "doc.txt"}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(DockModelOperations, MovingAPinKeepsItsTitle)
{
    model->pin(QUrl::fromLocalFile(path("a.desktop")), 3);
    ASSERT_EQ(model->pins()[1].title, "Alpha");
    EXPECT_EQ(model->items()[2].title, "Alpha");
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

TEST_F(DockModelOperations, UnpinningARunningApplicationKeepsItsTile)
{
    workspace.launch(FakeWorkspace::app("A", 10, path("a.desktop")));
    model->remove(itemNamed("Alpha"));
    const DockItem a = itemNamed("a.desktop");
    EXPECT_FALSE(a.isPinned);
    EXPECT_TRUE(a.runningApplication);
}

TEST_F(DockModelOperations, ActivationSwitchesToRunningProgramsAndStartsTheOthers)
{
    workspace.update("R", [](RunningApplication& app) { app.isHidden = true; });
    model->refresh();
    model->activate(itemNamed("R"), 1234);
    EXPECT_EQ(workspace.lastEventTime, 1234u);
    model->activate(itemNamed("Alpha"), 55);
    EXPECT_EQ(workspace.actions, QStringList({"unhide:R", "activate:R", "launch:" + path("a.desktop")}));
    EXPECT_EQ(workspace.lastEventTime, 55u);
    EXPECT_TRUE(alerts.empty());
}

TEST_F(DockModelOperations, FailedOpeningsAlertWithTheItemsTitle)
{
    workspace.refusedLocations = {path("folder"), "trash:///"};
    model->activate(itemNamed("folder"));
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].text, "Couldn’t open folder");
    EXPECT_EQ(alerts[0].informativeText, "The item may have been moved, deleted, or become unavailable.");

    // The Trash falls back from the file manager's view to its folder.
    model->activate(model->items().back());
    EXPECT_EQ(workspace.actions.mid(1), QStringList({"open:trash:///", "open:" + DockModel::trashLocation()}));

    workspace.refuseActions = true;
    model->activate(itemNamed("Alpha"));
    ASSERT_EQ(alerts.size(), 2u);
    EXPECT_EQ(alerts[1].text, "Couldn’t open Alpha");
    EXPECT_EQ(alerts[1].informativeText, "refused");
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
    workspace.launch(FakeWorkspace::app("Files", 11, workspace.fileManager, QString("org.gnome.Nautilus")));
    const struct {
        QString item;
        QStringList titles;
    } rows[] = {
        {"Alpha", {"Options[Keep in Dock✓,Show in Files]", "-", "Hide", "Quit"}},
        {"R", {"Options[Keep in Dock,Show in Files]", "-", "Hide", "Quit"}},
        {"b.desktop", {"Options[Keep in Dock✓,Show in Files]", "-", "Open"}},
        {"Files", {"Options[Show in Files]", "-", "Open"}},
        {"folder", {"Open in Files", "-", "Remove from Dock", "Show in Files"}},
        {"doc.txt", {"Open", "-", "Remove from Dock", "Show in Files"}},
        {"Trash", {"Open Trash", "-", "Empty Trash…"}},
    };
    for (const auto& row : rows) {
        QMenu menu;
        model->contextMenu(itemNamed(row.item), menu);
        EXPECT_EQ(menuTitles(menu), row.titles) << row.item.toStdString();
    }
    // A menu that outlives the model does nothing.
    QMenu late;
    model->contextMenu(itemNamed("folder"), late);
    model.reset();
    late.actions()[0]->trigger();
    EXPECT_TRUE(workspace.actions.isEmpty());
}

TEST_F(DockModelOperations, KeepingAProgramWithoutAnEntryPinsTheWrittenEntry)
{
    workspace.writtenEntry = path("c.desktop");
    workspace.launch(FakeWorkspace::app("prog", 70, QString("/usr/bin/prog"), std::nullopt, "prog"));
    model->move(itemNamed("prog"), 1);
    EXPECT_EQ(workspace.actions, QStringList({"entry:prog"}));
    EXPECT_EQ(pinNames().front(), "c.desktop");

    workspace.refuseActions = true;
    workspace.launch(FakeWorkspace::app("tool", 71, QString("/usr/bin/tool"), std::nullopt, "tool"));
    model->move(itemNamed("tool"), 1);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].text, "Couldn’t keep tool in Dock");
    EXPECT_EQ(pinNames().size(), 5);
}

TEST_F(DockModelOperations, EmptyingTheTrashAsksFirst)
{
    int emptied = 0;
    std::optional<Error> failure;
    providers.emptyTrashProvider = [&](DockModel::TrashDone done) {
        ++emptied;
        done(failure);
    };
    model = std::make_unique<DockModel>(workspace, preferences, providers);

    model->emptyTrash(); // answered with the default
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].buttons, QStringList({"Cancel", "Empty Trash"}));
    EXPECT_EQ(alerts[0].buttons[alerts[0].defaultButton], "Cancel");
    EXPECT_EQ(emptied, 0);

    answer = 1;
    failure = Error{"info/x.trashinfo: Permission denied"};
    model->emptyTrash();
    EXPECT_EQ(emptied, 1);
    ASSERT_EQ(alerts.size(), 3u);
    EXPECT_EQ(alerts[2].text, "Couldn’t empty the Trash");
    EXPECT_EQ(alerts[2].informativeText, "info/x.trashinfo: Permission denied");
}

TEST_F(DockModelOperations, Drops)
{
    QStringList recycled;
    providers.recycleProvider = [&](const QStringList& paths, DockModel::TrashDone done) {
        recycled = paths;
        done(Error{"doc.txt: Permission denied"});
    };
    model = std::make_unique<DockModel>(workspace, preferences, providers);
    const QList<QUrl> files{QUrl::fromLocalFile(path("folder/inside.txt")), QUrl::fromLocalFile(path("doc.txt")),
                            QUrl::fromLocalFile(path("gone.txt"))};
    workspace.failingTransfers = {path("gone.txt")};

    model->open(files, itemNamed("folder"), false);
    QDeadlineTimer deadline(5000); // the files move on a worker; the answer comes back to this thread
    while (alerts.empty() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(workspace.actions, QStringList({"move:" + path("doc.txt") + " " + path("folder/doc.txt"),
                                              "move:" + path("gone.txt") + " " + path("folder/gone.txt")}));
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].text, "Some items couldn’t be moved");
    EXPECT_EQ(alerts[0].informativeText, "gone.txt: No such file or directory");

    workspace.actions.clear();
    model->open(files, itemNamed("doc.txt"), true);
    model->open({QUrl("https://example.org")}, model->items().back(), false);
    model->open(files.mid(1, 1), itemNamed("Alpha"), false);
    EXPECT_EQ(workspace.actions, QStringList({"beep", "launch:" + path("a.desktop") + " " + path("doc.txt")}));
    EXPECT_TRUE(recycled.isEmpty());

    model->open(files.mid(1, 1), model->items().back(), false);
    EXPECT_EQ(recycled, QStringList({path("doc.txt")}));
    EXPECT_EQ(alerts.back().text, "Couldn’t move to Trash");

    // A model that goes while files are still moving waits for them and answers nobody.
    model->open(files, itemNamed("folder"), true);
    model.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(workspace.actions.last(), "copy:" + path("gone.txt") + " " + path("folder/gone.txt"));
}

} // namespace
