// A tile's context menu as the delegate fills it: a folder's stack settings, and a running
// application's windows around the item's own entries.
#include "shell/app_delegate.h"

#include "dock/dock_view.h"
#include "dock/dock_window_controller.h"
#include "settings/action_menu_item.h"
#include "stacks/folder_access_store.h"
#include "stacks/stack_preferences.h"

#include <QMenu>
#include <QPointer>
#include <QScreen>

namespace wharf {

namespace {

QString capitalized(const QString& raw) { return raw.left(1).toUpper() + raw.mid(1); }

QString sortTitle(StackSortOrder order)
{
    switch (order) {
    case StackSortOrder::name: return QStringLiteral("Name");
    case StackSortOrder::dateAdded: return QStringLiteral("Date Added");
    case StackSortOrder::dateModified: return QStringLiteral("Date Modified");
    case StackSortOrder::dateCreated: return QStringLiteral("Date Created");
    case StackSortOrder::kind: return QStringLiteral("Kind");
    }
    return {};
}

QAction* heading(QMenu& menu, const QString& title)
{
    QAction* action = menu.addAction(title);
    action->setEnabled(false);
    return action;
}

// One checkable entry per case; choosing one stores the folder's settings with that field changed.
template <typename Value, typename Cases, typename Title, typename Field>
void addChoices(QMenu& menu, const QPointer<AppDelegate>& self, const QString& folder, Value current,
                const Cases& cases, Title title, Field field)
{
    for (const Value value : cases) {
        auto* item = new ActionMenuItem(title(value), {}, [self, folder, value, field] {
            if (!self)
                return;
            StackSettings settings = self->stackPreferences().settings(folder);
            settings.*field = value;
            self->stackPreferences().setSettings(settings, folder);
        }, &menu);
        item->setCheckable(true);
        item->setChecked(value == current);
        menu.addAction(item);
    }
}

} // namespace

void AppDelegate::fillEntryMenu(const QString& id, QMenu& menu, const DockViewActions& actions)
{
    std::optional<DockItem> item;
    for (const DockItem& candidate : dockModel->items()) {
        if (candidate.id == id)
            item = candidate;
    }
    if (!item)
        return;
    if (item->kind == DockItem::Kind::folder) {
        addStackMenu(*item, menu, actions);
        return;
    }
    // The item's own entries, then its windows around them.
    dockModel->contextMenu(*item, menu);
    addWindowEntries(*item, menu);
}

void AppDelegate::addStackMenu(const DockItem& folder, QMenu& menu, const DockViewActions& actions)
{
    const QPointer<AppDelegate> self(this);
    const QString path = folder.url;
    const StackSettings current = stackSettings->settings(path);
    menu.setTitle(folder.title);
    heading(menu, QStringLiteral("Sort by"));
    addChoices(menu, self, path, current.sortOrder, allStackSortOrders, sortTitle, &StackSettings::sortOrder);
    menu.addSeparator();
    heading(menu, QStringLiteral("Display as"));
    addChoices(menu, self, path, current.displayMode, allStackDisplayModes,
               [](StackDisplayMode mode) { return capitalized(rawValue(mode)); }, &StackSettings::displayMode);
    menu.addSeparator();
    heading(menu, QStringLiteral("View content as"));
    const std::array viewModes{StackViewMode::fan, StackViewMode::grid, StackViewMode::list, StackViewMode::automatic};
    addChoices(menu, self, path, current.viewMode, viewModes,
               [](StackViewMode mode) { return capitalized(rawValue(mode)); }, &StackSettings::viewMode);
    menu.addSeparator();

    QMenu* options = menu.addMenu(QStringLiteral("Options"));
    options->addAction(new ActionMenuItem(QStringLiteral("Remember Folder Access…"), {}, [self, path] {
        if (self && self->folderAccess->remember(path))
            self->dockModel->refresh();
    }, options));
    const QString id = folder.id;
    if (actions.remove) {
        options->addAction(new ActionMenuItem(QStringLiteral("Remove from Dock"), {}, [remove = actions.remove, id] {
            remove(id);
        }, options));
    }
    if (actions.openItem) {
        menu.addAction(new ActionMenuItem(QStringLiteral("Open “") + folder.title + QStringLiteral("”"), {},
                                          [open = actions.openItem, id] { open(id, 0); }, &menu));
    }
}

void AppDelegate::addWindowEntries(const DockItem& item, QMenu& menu)
{
    if (!item.runningApplication || !windowManager)
        return;
    const std::vector<DockWindow> windows = windowsOfItem(item.id);
    if (windows.empty())
        return;
    const QPointer<AppDelegate> self(this);
    // Each choice holds its own copy of the window: the application may quit while the menu is open,
    // and focusing then reports that instead of touching anything gone.
    const auto focus = [self](const DockWindow& window) {
        return [self, window] {
            if (self && self->windowManager)
                self->windowManager->focus(window);
        };
    };
    QAction* first = menu.actions().isEmpty() ? nullptr : menu.actions().front();
    for (const DockWindow& window : windows) {
        const QString title = (window.isMinimized ? QStringLiteral("◇ ") : QString()) + window.title;
        menu.insertAction(first, new ActionMenuItem(title, {}, focus(window), &menu));
    }
    menu.insertSeparator(first);

    std::vector<DockWindow> shown;
    std::copy_if(windows.begin(), windows.end(), std::back_inserter(shown),
                 [](const DockWindow& w) { return !w.isMinimized; });
    if (shown.empty())
        return;
    QAction* before = nullptr;
    for (QAction* action : menu.actions()) {
        const QString text = action->text();
        if (text == QLatin1String("Hide") || text == QLatin1String("Show") || text == QLatin1String("Quit")) {
            before = action;
            break;
        }
    }
    auto* minimize = new QMenu(QStringLiteral("Minimize Window"), &menu);
    for (const DockWindow& window : shown) {
        minimize->addAction(new ActionMenuItem(window.title, {}, [self, window] {
            if (self && self->windowManager)
                self->windowManager->minimize(window);
        }, minimize));
    }
    menu.insertMenu(before, minimize);
}

bool AppDelegate::showEntryMenu(const QString& id)
{
    for (auto& dock : dockControllers) {
        DockView& view = dock->dockView();
        if (view.isFullScreenOverlay() || !dock->isMapped())
            continue;
        const auto& entries = view.entries();
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (entries[i].identifier() == id) {
                view.showEntryMenu(int(i), 0);
                return true;
            }
        }
    }
    return false;
}

} // namespace wharf
