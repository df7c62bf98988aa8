#include "model_test_support.h"

#include <QCoreApplication>
#include <QStandardPaths>

namespace wharf::test {
namespace {

class DockModelTest : public ModelTest {
protected:
    DockModelTest() { storePins({}); }

    std::unique_ptr<DockModel> makeModel()
    {
        auto model = std::make_unique<DockModel>(workspace, preferences, providers);
        subscriptions.push_back(model->onChange.add([this] { ++changes; }));
        return model;
    }

    QStringList titles(const DockModel& model) const
    {
        QStringList result;
        for (const auto& item : model.items())
            result << item.title;
        return result;
    }

    void launch(const QString& name, pid_t pid)
    {
        workspace.launch(FakeWorkspace::app(name, pid, path(name.toLower() + ".desktop"), "org.example." + name, name));
    }

    int changes = 0;
    std::vector<Subscription> subscriptions;
};

TEST(PinDecoding, AnyMalformedPinRejectsTheWholeListButANullTitleIsNone)
{
    for (const char* json : {R"([{"path":"/a","kind":"file"},{"path":"/b","kind":"widget"}])",
                             R"({"path":"/a","kind":"file"})", R"([{"path":5,"kind":"file"}])", R"([{"path":"/a"}])",
                             R"([{"path":"/a","kind":"file","title":1}])", R"(["/a"])", R"([{"path":"/a","kind":"fi)",
                             ""})
        EXPECT_EQ(DockModel::decodePins(json), std::nullopt) << json;
    EXPECT_EQ(DockModel::decodePins(R"([{"path":"/a","kind":"trash","title":null}])"),
              (std::vector<Pin>{{"/a", Kind::trash, std::nullopt}}));
}

TEST_F(DockModelTest, LoadingCleansPinsWithoutWritingBackAndApplicationsLoseAnAppSuffix)
{
    QFile::link(path("folder"), path("link"));
    const std::vector<Pin> stored{{path("files.desktop"), Kind::application, std::nullopt},
                                 {path("folder"), Kind::folder, "Erstes Ü"},
                                 {path("link"), Kind::folder, "Through link"},
                                 {"/anything", Kind::trash, std::nullopt},
                                 {"", Kind::file, std::nullopt},
                                 {workspace.ownLocation, Kind::application, std::nullopt},
                                 {path("a.desktop"), Kind::application, std::nullopt}};
    storePins(stored);
    workspace.names[path("a.desktop")] = "Alpha.APP";
    const auto model = makeModel();
    EXPECT_EQ(model->pins(), (std::vector<Pin>{{path("folder"), Kind::folder, "Erstes Ü"},
                                               {path("a.desktop"), Kind::application, std::nullopt}}));
    EXPECT_EQ(storedPins(), stored);
    EXPECT_EQ(titles(*model), QStringList({"Files", "Alpha", "Erstes Ü", "Trash"}));
}

TEST_F(DockModelTest, UnreadablePinsAreReplacedByTheImportAndSaved)
{
    providers.systemPinsProvider = [this] {
        return std::vector<Pin>{{path("b.desktop"), Kind::application, "B"},
                                {path("files.desktop"), Kind::application, std::nullopt}};
    };
    store->setValue(DockModel::pinnedItemsKey, QByteArray("[{\"path\":\"/x\",\"kind\":\"app\"}]"));
    const auto model = makeModel();
    const std::vector<Pin> imported{{path("b.desktop"), Kind::application, "B"}};
    EXPECT_EQ(model->pins(), imported);
    EXPECT_EQ(storedPins(), imported);
}

TEST_F(DockModelTest, FallbackImportUsesTheBrowserAndExistingFolders)
{
    store->remove(DockModel::pinnedItemsKey);
    workspace.webBrowser = path("b.desktop");
    workspace.fileManager.reset();
    const auto model = makeModel();
    ASSERT_FALSE(model->pins().empty());
    EXPECT_EQ(model->pins().front(), (Pin{path("b.desktop"), Kind::application, std::nullopt}));
    EXPECT_EQ(storedPins(), model->pins()) << "a first start saves what it imported";
    for (const auto& pin : model->pins())
        EXPECT_TRUE(QFileInfo(pin.path).exists()) << pin.path.toStdString();
    // No file manager: no such tile.
    EXPECT_EQ(model->items().front().title, "b.desktop");
}

TEST_F(DockModelTest, DockOrderAndRunningOrder)
{
    storePins({{path("doc.txt"), Kind::file, std::nullopt}, {path("a.desktop"), Kind::application, "A"}});
    const auto model = makeModel();
    launch("B", 20);
    launch("C", 30);
    launch("D", 40);
    launch("A", 10);
    EXPECT_EQ(titles(*model), QStringList({"Files", "A", "B", "C", "D", "doc.txt", "Trash"}));
    EXPECT_EQ(model->items()[1].runningApplication->processIdentifier, 10);

    workspace.quit("C");
    EXPECT_EQ(titles(*model), QStringList({"Files", "A", "B", "D", "doc.txt", "Trash"}));
    launch("C", 31);
    EXPECT_EQ(titles(*model), QStringList({"Files", "A", "B", "D", "C", "doc.txt", "Trash"}));
}

TEST_F(DockModelTest, WhichRunningProgramsAreListed)
{
    const auto model = makeModel();
    auto background = FakeWorkspace::app("Agent", 50, path("b.desktop"));
    background.isRegular = false;
    auto fileManager = FakeWorkspace::app("Nautilus", 51, workspace.fileManager, "org.gnome.Nautilus");
    fileManager.isRegular = false;
    workspace.launch(background);
    workspace.launch(fileManager);
    workspace.launch(FakeWorkspace::app("Self", workspace.currentPid, path("c.desktop")));
    workspace.launch(FakeWorkspace::app("Nowhere", 53, std::nullopt));
    EXPECT_EQ(titles(*model), QStringList({"Files", "Trash"}));
    ASSERT_TRUE(model->items().front().runningApplication);
    EXPECT_EQ(model->items().front().runningApplication->processIdentifier, 51);
}

TEST_F(DockModelTest, PinnedAppMatchedByDesktopIdAppearsOnce)
{
    workspace.bundleIDs[path("a.desktop")] = "org.example.A";
    storePins({{path("a.desktop"), Kind::application, "Pinned A"}});
    const auto model = makeModel();
    // The same application found through another entry path.
    workspace.launch(FakeWorkspace::app("A", 10, path("b.desktop"), "org.example.A"));
    EXPECT_EQ(titles(*model), QStringList({"Files", "Pinned A", "Trash"}));
    EXPECT_EQ(model->items()[1].runningApplication->processIdentifier, 10);
}

TEST_F(DockModelTest, ProgramsWithoutAPidAreNotOneProcess)
{
    storePins({{path("a.desktop"), Kind::application, "A"}});
    const auto model = makeModel();
    workspace.launch(FakeWorkspace::app("A", std::nullopt, path("a.desktop")));
    workspace.launch(FakeWorkspace::app("B", std::nullopt, path("b.desktop")));
    EXPECT_EQ(titles(*model), QStringList({"Files", "A", "B", "Trash"}));
    EXPECT_FALSE(model->items()[1].runningApplication->processIdentifier);
}

TEST_F(DockModelTest, ChangeDetection)
{
    std::optional<QString> badge;
    providers.badgeLabelProvider = [&](const QString&) { return badge; };
    const auto model = makeModel();
    launch("A", 10);
    changes = 0;

    // Nothing visible changed, but the list is rebuilt from the new snapshot.
    workspace.update("A", [](RunningApplication& a) { a.key = "A"; });
    model->refresh();
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(model->items()[1].runningApplication, workspace.running.front());
    const int iconRequests = workspace.iconRequests;
    model->refresh();
    EXPECT_EQ(workspace.iconRequests, iconRequests) << "icons are cached";

    badge = " 3\n";
    model->refresh();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(model->items()[1].badge, "3");
    workspace.update("A", [](RunningApplication& a) { a.isHidden = true; });
    model->refresh();
    EXPECT_EQ(changes, 2);
}

// Progress and attention, and labels as applications send them by desktop-file id, are checked end
// to end; a label found by the item's own id is read by the dock's accessibility test.
TEST_F(DockModelTest, BadgesFollowPermissionsAndOnlyRealChangesAreAnnounced)
{
    QHash<QString, QString> labels{{"org.example.B", "2"}, {"org.example.C", " 3 "}};
    providers.badgeLabelProvider = [&](const QString& identity) -> std::optional<QString> {
        return labels.contains(identity) ? std::optional(labels.value(identity)) : std::nullopt;
    };
    providers.badgeSettingsProvider = [] {
        return std::map<QString, bool>{{"org.example.B", false}, {"org.example.C", true}};
    };
    workspace.bundleIDs[path("b.desktop")] = "org.example.B";
    workspace.bundleIDs[path("c.desktop")] = "org.example.C";
    const auto model = makeModel();
    auto asking = FakeWorkspace::app("B", 20, path("b.desktop"), "org.example.B", "B");
    asking.demandsAttention = true;
    workspace.launch(asking);
    launch("C", 30);
    EXPECT_EQ(model->items()[1].badge, std::nullopt) << "badges not allowed";
    EXPECT_TRUE(model->items()[1].urgent) << "but its window's request for attention counts";
    EXPECT_EQ(model->items()[2].badge, "3");

    // Only badges changed: refreshBadges notices without a full refresh, and only real changes.
    changes = 0;
    int badgeChanges = 0;
    const auto subscription = model->onBadgesChange.add([&] { ++badgeChanges; });
    const int iconRequests = workspace.iconRequests;
    model->refreshBadges();
    EXPECT_EQ(badgeChanges, 0);
    labels["org.example.C"] = "0";
    model->refreshBadges();
    EXPECT_EQ(badgeChanges, 1);
    EXPECT_EQ(changes, 0) << "nothing to lay out again";
    EXPECT_EQ(model->items()[2].badge, std::nullopt);
    EXPECT_EQ(workspace.iconRequests, iconRequests);
}

TEST_F(DockModelTest, TrashFollowsStateAndAlwaysEmptySetting)
{
    TrashState state = TrashState::full;
    bool alwaysEmpty = true;
    providers.trashStateProvider = [&] { return state; };
    providers.alwaysEmptyTrashProvider = [&] { return alwaysEmpty; };
    providers.darkTrashProvider = [] { return false; };
    const auto model = makeModel();
    const auto trash = [&] { return model->items().back(); };
    // The icon the Trash shows passes through the artwork, which remembers its source.
    const auto shownSource = [&] { return model->artwork.entries.value(DockModel::trashID).source; };

    // Full, but always shown empty; the description still tells.
    EXPECT_EQ(trash().detail, "Always-empty appearance. Click to open Trash. Files remain in the Trash.");
    EXPECT_TRUE(model->lastKnownTrashFull());
    EXPECT_EQ(shownSource(), model->iconCache.value("TrashIcon-light").cacheKey());

    alwaysEmpty = false;
    state = TrashState::unknown;
    model->refresh();
    EXPECT_EQ(trash().detail, "Trash status is unavailable. Click to open Trash.");
    EXPECT_EQ(shownSource(), model->iconCache.value("FullTrashIcon-light").cacheKey()) << "the last known state";

    state = TrashState::empty;
    model->refresh();
    EXPECT_FALSE(model->lastKnownTrashFull());
    EXPECT_EQ(trash().url, QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                               + "/Trash/files")
        << "the folder the file manager opens, not the one that also holds info/";
}

TEST_F(DockModelTest, MountStartsIdentityAfresh)
{
    QFile::link(path("folder"), path("link"));
    storePins({{path("link"), Kind::folder, std::nullopt}});
    const auto model = makeModel();
    EXPECT_EQ(model->items()[1].id, path("folder"));

    QFile::remove(path("link"));
    QFile::link(path("other"), path("link"));
    model->refresh();
    EXPECT_EQ(model->items()[1].id, path("folder"));
    changes = 0;
    workspace.notifications.notify(WorkspaceNotification::didMount);
    EXPECT_EQ(model->items()[1].id, path("other"));
    EXPECT_EQ(changes, 1);
}

TEST_F(DockModelTest, WatchesThePinsAndRefreshesOnlyWhenTold)
{
    touch("notes.txt");
    storePins({{path("notes.txt"), DockItem::Kind::file, std::nullopt}});
    const auto model = makeModel();
    EXPECT_EQ(workspace.watched, QStringList{path("notes.txt")});

    // No timer: a new program shows only once the desktop announces something.
    workspace.running.push_back(std::make_shared<const RunningApplication>(
        FakeWorkspace::app("A", 10, path("a.desktop"))));
    QCoreApplication::processEvents();
    EXPECT_EQ(titles(*model), QStringList({"Files", "notes.txt", "Trash"}));

    // A pinned file that vanishes stays, and loses its cached icon for a generic one.
    const qint64 icon = model->items()[1].icon.cacheKey();
    QFile::remove(path("notes.txt"));
    workspace.notifications.notify(WorkspaceNotification::didChangeLocations);
    EXPECT_EQ(titles(*model), QStringList({"Files", "A", "notes.txt", "Trash"}));
    EXPECT_NE(model->items()[2].icon.cacheKey(), icon);

    model->setPins({});
    EXPECT_TRUE(workspace.watched.isEmpty());
}

} // namespace
} // namespace wharf::test
