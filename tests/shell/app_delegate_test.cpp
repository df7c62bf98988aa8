// The delegate that builds the dock windows, over a scripted desktop, a native dock in memory and
// a recording window system.
#include "dock/dock_window_controller.h"
#include "model/dock_model.h"
#include "shell/app_delegate.h"
#include "settings/dock_preferences.h"
#include "stacks/stack_preferences.h"
#include "takeover/system_dock_integration.h"

#include "doubles/fake_dock_window_system.h"
#include "doubles/fake_native_dock.h"
#include "doubles/fake_workspace.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

namespace wharf {
namespace {

// The delegate over doubles: a scripted desktop, a native dock in memory, recorded windows.
class AppDelegateTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    DockPreferences preferences{std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat)};
    FakeWorkspace* workspace = nullptr;
    SystemDockIntegration* integration = nullptr;
    FakeDockWindowSystem* system = nullptr;
    std::vector<std::pair<QString, QString>> alerts;

    std::unique_ptr<AppDelegate> makeDelegate(std::unique_ptr<NativeDock> nativeDock, const QString& directory)
    {
        AppDelegate::Parts parts;
        auto fakeWorkspace = std::make_unique<FakeWorkspace>();
        workspace = fakeWorkspace.get();
        parts.workspace = std::move(fakeWorkspace);
        parts.preferences = &preferences;
        parts.integration = std::make_unique<SystemDockIntegration>(std::move(nativeDock), directory);
        integration = parts.integration.get();
        auto fakeSystem = std::make_unique<FakeDockWindowSystem>();
        system = fakeSystem.get();
        parts.windowSystem = std::move(fakeSystem);
        auto delegate = std::make_unique<AppDelegate>(std::move(parts));
        delegate->presentAlert = [this](const QString& text, const QString& informative) {
            alerts.emplace_back(text, informative);
        };
        return delegate;
    }

    std::unique_ptr<AppDelegate> launchedDelegate()
    {
        auto nativeDock = std::make_unique<FakeNativeDock>();
        nativeDock->installed = false; // nothing to hide, no recovery helper
        auto delegate = makeDelegate(std::move(nativeDock), dir.filePath(QStringLiteral("data")));
        delegate->applicationDidFinishLaunching();
        return delegate;
    }

    static std::vector<const DockWindowController*> controllers(const AppDelegate& delegate)
    {
        std::vector<const DockWindowController*> out;
        for (const auto& dock : delegate.docks())
            out.push_back(dock.get());
        return out;
    }
};

TEST_F(AppDelegateTest, DocksAreRebuiltOnlyWhenAllDisplaysChanges)
{
    auto delegate = launchedDelegate();
    const std::size_t screens = QGuiApplication::screens().size();
    ASSERT_EQ(delegate->docks().size(), 2 * screens);

    const auto built = controllers(*delegate);
    preferences.setValue(DockPreferences::iconSizeKey, 40.0);
    EXPECT_EQ(controllers(*delegate), built) << "an icon size change only lays the docks out again";

    preferences.setValue(DockPreferences::allDisplaysKey, false);
    EXPECT_EQ(delegate->docks().size(), 2u) << "docks on the first display only";
    EXPECT_EQ(delegate->docks().front()->screen(), QGuiApplication::primaryScreen());
    preferences.setValue(DockPreferences::allDisplaysKey, true);
    EXPECT_EQ(delegate->docks().size(), 2 * screens);
    EXPECT_EQ(system->windows.size(), 2 * screens + 2 + 2 * screens) << "every rebuild makes new windows";
}

TEST_F(AppDelegateTest, NormalDocksReserveTheRestingBandWhileAvoidanceIsInForce)
{
    auto delegate = launchedDelegate();
    ASSERT_TRUE(delegate->windowAvoidanceEnabled());
    const auto reservation = [&](std::size_t dock) {
        const auto& window = *system->windows[dock];
        return window.reservations.empty() ? 0 : window.reservations.back();
    };
    const int resting = int(std::ceil(delegate->docks()[0]->dockView().restingContentHeight()));
    EXPECT_GT(resting, 0);
    EXPECT_EQ(reservation(0), resting);
    EXPECT_EQ(reservation(1), 0) << "the overlay dock reserves nothing";

    preferences.setValue(DockPreferences::autoHideKey, true);
    EXPECT_FALSE(delegate->windowAvoidanceEnabled());
    EXPECT_EQ(reservation(0), 0) << "a hiding dock leaves the band to the windows";
    const std::size_t writes = system->windows[0]->reservations.size();
    preferences.setValue(DockPreferences::iconSizeKey, 30.0);
    EXPECT_EQ(system->windows[0]->reservations.size(), writes) << "written only when it changes";
}

TEST_F(AppDelegateTest, ModelChangesAndChangedWindowListsReachEveryDock)
{
    auto delegate = launchedDelegate();
    workspace->launch(FakeWorkspace::app(QStringLiteral("calc"), 42, QStringLiteral("/apps/calc.desktop")));
    ASSERT_TRUE(waitFor([&] {
        for (const auto& dock : delegate->docks()) {
            if (!entryIDs(dock->dockView()).contains(QStringLiteral("/apps/calc.desktop")))
                return false;
        }
        return true;
    }));

    // One scan round (the poll's timer only repeats it).
    std::vector<DockWindow> scanned{DockWindow{7, QStringLiteral("Report"), 42, QStringLiteral("calc"), true}};
    delegate->setWindowScanner([&](std::function<void(std::vector<DockWindow>)> deliver) { deliver(scanned); });
    delegate->pollWindows();
    ASSERT_EQ(delegate->minimizedWindows().size(), 1u);
    for (const auto& dock : delegate->docks())
        EXPECT_TRUE(entryIDs(dock->dockView()).contains(QStringLiteral("window-7")));

    scanned.clear();
    delegate->pollWindows();
    EXPECT_TRUE(delegate->minimizedWindows().empty());
    for (const auto& dock : delegate->docks())
        EXPECT_FALSE(entryIDs(dock->dockView()).contains(QStringLiteral("window-7")));
}

TEST_F(AppDelegateTest, TakeoverFailureAlertsTurnsThePreferenceOffAndStillBuildsDocks)
{
    preferences.setValue(DockPreferences::replaceSystemDockKey, true);
    // The takeover's folder cannot exist under a regular file.
    QFile blocker(dir.filePath(QStringLiteral("blocker")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    auto nativeDock = std::make_unique<FakeNativeDock>();
    nativeDock->installed = true;
    auto delegate = makeDelegate(std::move(nativeDock), blocker.fileName() + QStringLiteral("/wharf"));
    delegate->applicationDidFinishLaunching();

    ASSERT_EQ(alerts.size(), 1u);
    ASSERT_TRUE(integration->lastError.has_value());
    EXPECT_EQ(alerts.front().first, *integration->lastError);
    EXPECT_FALSE(integration->isEnabled());
    EXPECT_FALSE(preferences.replaceSystemDock());
    EXPECT_EQ(delegate->docks().size(), 2 * QGuiApplication::screens().size());
}

TEST_F(AppDelegateTest, LaterIntegrationErrorsShowTheWharfAlert)
{
    auto delegate = launchedDelegate();
    ASSERT_FALSE(integration->onIntegrationError.empty());
    integration->onIntegrationError.notify(QStringLiteral("The recovery helper stopped."));
    integration->onIntegrationError.notify(QString());
    ASSERT_EQ(alerts.size(), 1u) << "an empty message shows nothing";
    EXPECT_EQ(alerts.front(), std::make_pair(QStringLiteral("Wharf"), QStringLiteral("The recovery helper stopped.")));
}

// The menu a tile's right-click pops up, found among the first dock's children; null when none.
QMenu* openMenu(AppDelegate& delegate)
{
    for (QMenu* menu : delegate.docks().front()->dockView().findChildren<QMenu*>()) {
        if (menu->isVisible() && !menu->actions().isEmpty())
            return menu;
    }
    return nullptr;
}

QAction* entry(const QMenu& menu, const QString& title)
{
    for (QAction* action : menu.actions()) {
        if (action->text() == title)
            return action;
    }
    return nullptr;
}

TEST_F(AppDelegateTest, AFolderMenuChangesItsStackSettingsAndTheTrashMenuItsIcon)
{
    auto delegate = launchedDelegate();
    const QString folder = QFileInfo(dir.path()).canonicalFilePath() + QStringLiteral("/Papers");
    ASSERT_TRUE(QDir().mkpath(folder));
    delegate->model().setPins({{folder, DockItem::Kind::folder, std::nullopt}});

    ASSERT_TRUE(delegate->showEntryMenu(folder));
    QMenu* menu = openMenu(*delegate);
    ASSERT_TRUE(menu);
    EXPECT_TRUE(delegate->docks().front()->dockView().isMenuTracking());
    ASSERT_TRUE(entry(*menu, QStringLiteral("Sort by")));
    EXPECT_FALSE(entry(*menu, QStringLiteral("Sort by"))->isEnabled()) << "a heading";
    EXPECT_TRUE(entry(*menu, QStringLiteral("Name"))->isChecked());
    ASSERT_TRUE(entry(*menu, QStringLiteral("Grid")));
    entry(*menu, QStringLiteral("Grid"))->trigger();
    entry(*menu, QStringLiteral("Date Modified"))->trigger();
    const StackSettings settings = delegate->stackPreferences().settings(folder);
    EXPECT_EQ(settings.viewMode, StackViewMode::grid);
    EXPECT_EQ(settings.sortOrder, StackSortOrder::dateModified);
    EXPECT_EQ(settings.displayMode, StackDisplayMode::folder) << "only the chosen field changes";
    menu->hide();
    EXPECT_FALSE(delegate->docks().front()->dockView().isMenuTracking());

    ASSERT_TRUE(delegate->showEntryMenu(DockModel::trashID));
    menu = openMenu(*delegate);
    ASSERT_TRUE(menu);
    QAction* appearance = entry(*menu, QStringLiteral("Appearance"));
    ASSERT_TRUE(appearance && appearance->menu());
    QAction* alwaysEmpty = entry(*appearance->menu(), QStringLiteral("Always Empty"));
    ASSERT_TRUE(alwaysEmpty);
    EXPECT_FALSE(alwaysEmpty->isChecked());
    alwaysEmpty->trigger();
    EXPECT_TRUE(preferences.alwaysEmptyTrashIcon());
    menu->hide();

    EXPECT_FALSE(delegate->showEntryMenu(QStringLiteral("/no/such/tile")));
}

} // namespace
} // namespace wharf
