// The delegate that builds the dock windows, over a scripted desktop, a native dock in memory and
// a recording window system.
#include "dock/dock_window_controller.h"
#include "model/dock_model.h"
#include "settings/action_menu_item.h"
#include "shell/app_delegate.h"
#include "stacks/stack_preferences.h"
#include "takeover/system_dock_integration.h"

#include "doubles/fake_dock_window_system.h"
#include "doubles/fake_native_dock.h"
#include "doubles/fake_workspace.h"
#include "support/temp_preferences.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QKeySequence>
#include <QMenu>
#include <QPointer>
#include <QScreen>

#include <gtest/gtest.h>

namespace wharf {
namespace {

class AppDelegateTest : public ::testing::Test, protected test::TempPreferences {
protected:
    SystemDockIntegration* integration = nullptr;
    QStringList alerts; // "<text>: <informative text>"

    std::unique_ptr<AppDelegate> launchedDelegate()
    {
        auto nativeDock = std::make_unique<FakeNativeDock>();
        nativeDock->installed = false; // nothing to hide, no recovery helper
        AppDelegate::Parts parts;
        parts.workspace = std::make_unique<FakeWorkspace>();
        parts.preferences = &preferences;
        parts.integration = std::make_unique<SystemDockIntegration>(std::move(nativeDock), dir.filePath("data"));
        integration = parts.integration.get();
        parts.windowSystem = std::make_unique<FakeDockWindowSystem>();
        auto delegate = std::make_unique<AppDelegate>(std::move(parts));
        delegate->presentAlert = [this](const QString& text, const QString& more) { alerts << text + ": " + more; };
        delegate->applicationDidFinishLaunching();
        return delegate;
    }
};

// Docks per display, the reserved band, the takeover's failure alert and minimized windows
// reaching the dock and leaving it are checked end to end.
TEST_F(AppDelegateTest, DocksAreRebuiltOnlyWhenAllDisplaysChanges)
{
    auto delegate = launchedDelegate();
    const QPointer<DockView> built = &delegate->docks().front()->dockView();
    preferences.setValue(DockPreferences::iconSizeKey, 40.0);
    EXPECT_TRUE(built) << "an icon size change only lays the docks out again";
    preferences.setValue(DockPreferences::allDisplaysKey, false);
    EXPECT_FALSE(built);
    EXPECT_FALSE(delegate->docks().empty());
}

TEST_F(AppDelegateTest, LaterIntegrationErrorsShowTheWharfAlert)
{
    auto delegate = launchedDelegate();
    integration->onIntegrationError.notify("The recovery helper stopped.");
    integration->onIntegrationError.notify(QString());
    EXPECT_EQ(alerts, QStringList{"Wharf: The recovery helper stopped."}) << "an empty message shows nothing";
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
    const QList<QAction*> actions = menu.actions();
    const auto found = std::ranges::find(actions, title, &QAction::text);
    return found == actions.end() ? nullptr : *found;
}

TEST_F(AppDelegateTest, AFolderMenuChangesItsStackSettingsAndTheTrashMenuItsIcon)
{
    auto delegate = launchedDelegate();
    const QString folder = QFileInfo(dir.path()).canonicalFilePath() + "/Papers & Notes";
    ASSERT_TRUE(QDir().mkpath(folder));
    delegate->model().setPins({{folder, DockItem::Kind::folder, std::nullopt}});

    ASSERT_TRUE(delegate->showEntryMenu(folder));
    QMenu* menu = openMenu(*delegate);
    ASSERT_TRUE(menu);
    EXPECT_TRUE(entry(*menu, "Name")->isChecked());
    ASSERT_TRUE(entry(*menu, "Grid"));
    entry(*menu, "Grid")->trigger();
    entry(*menu, "Date Modified")->trigger();
    const StackSettings settings = delegate->stackPreferences().settings(folder);
    EXPECT_EQ(settings.viewMode, StackViewMode::grid);
    EXPECT_EQ(settings.sortOrder, StackSortOrder::dateModified);
    EXPECT_EQ(settings.displayMode, StackDisplayMode::folder) << "only the chosen field changes";
    EXPECT_TRUE(QKeySequence::mnemonic(menu->actions().back()->text()).isEmpty())
        << "the ampersand of “Open “Papers & Notes”” is shown, not taken for a mnemonic";
    menu->hide();
    // Scripts read the menu the right-click shows, titled as shown.
    QStringList titles;
    for (const QJsonValue& e : delegate->menuEntries(folder))
        titles << e.toObject().value("title").toString();
    EXPECT_TRUE(titles.contains("Grid") && titles.contains("Options/Remove from Dock")
                && titles.contains("Open “Papers & Notes”")) << titles.join(", ").toStdString();

    ASSERT_TRUE(delegate->showEntryMenu(DockModel::trashID));
    menu = openMenu(*delegate);
    ASSERT_TRUE(menu);
    QAction* appearance = entry(*menu, "Appearance");
    ASSERT_TRUE(appearance && appearance->menu());
    QAction* alwaysEmpty = entry(*appearance->menu(), "Always Empty");
    ASSERT_TRUE(alwaysEmpty);
    EXPECT_FALSE(alwaysEmpty->isChecked());
    alwaysEmpty->trigger();
    EXPECT_TRUE(preferences.alwaysEmptyTrashIcon());
    menu->hide();

    EXPECT_FALSE(delegate->showEntryMenu("/no/such/tile"));
}

// In a menu title "&" marks the next letter as the entry's mnemonic, and only "&&" shows one.
TEST_F(AppDelegateTest, TheApplicationMenuShowsNoStrayMnemonics)
{
    auto delegate = launchedDelegate();
    const std::unique_ptr<QMenu> menu(delegate->makeMenu());
    for (const QAction* action : menu->actions())
        EXPECT_FALSE(QString(action->text()).remove("&&").contains('&')) << action->text().toStdString();
    EXPECT_EQ(shownMenuText(menu->actions().back()->text()), "Restore System Dock & Quit");
}

} // namespace
} // namespace wharf
