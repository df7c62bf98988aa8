// The application's commands: the status item's menu, which the D-Bus API and the divider's
// context menu reuse, and the key equivalents Ctrl+, and Ctrl+Q.
#include "shell/app_delegate.h"

#include "settings/action_menu_item.h"
#include "shell/add_items_dialog.h"
#include "shell/key_equivalents.h"
#include "shell/settings_controller.h"

#include <QApplication>
#include <QCursor>
#include <QIcon>
#include <QMenu>
#include <QSystemTrayIcon>

#include <algorithm>

namespace wharf {

QIcon AppDelegate::applicationIcon()
{
    // The installed themed icon; the copy built into the executable when running uninstalled.
    return QIcon::fromTheme(QStringLiteral("com.tamberly.Wharf"),
                            QIcon(QStringLiteral(":/icons/com.tamberly.Wharf.svg")));
}

QMenu* AppDelegate::makeMenu(QWidget* parent)
{
    auto* menu = new QMenu(parent);
    const QPointer<AppDelegate> self(this);
    // While it is open the docks stay shown; when it closes an auto-hiding dock may hide.
    connect(menu, &QMenu::aboutToShow, this, [this] { ++openMenus; });
    connect(menu, &QMenu::aboutToHide, this, [this] {
        openMenus = std::max(0, openMenus - 1);
        relayoutDocks();
    });
    const auto add = [&](const QString& title, const QString& key, std::function<void(AppDelegate&)> action) {
        auto* item = new ActionMenuItem(title, key, [self, action] {
            if (self)
                action(*self);
        }, menu);
        menu->addAction(item);
        return item;
    };

    QAction* header = menu->addAction(tr("Wharf"));
    header->setEnabled(false);
    add(tr("Settings…"), QStringLiteral("Ctrl+,"), [](AppDelegate& app) { app.showSettings(); });
    add(tr("Focus Wharf"), QStringLiteral("Ctrl+Alt+D"), [](AppDelegate& app) { app.focusDock(); });
    add(tr("Add Applications or Folders…"), QString(), [](AppDelegate& app) { app.addItems(); });
    add(tr("Import Current System Dock"), QString(), [](AppDelegate& app) { app.model().restoreSystemPins(); });
    menu->addSeparator();
    add(tr("Show Applications"), QString(), [](AppDelegate& app) {
        if (const Status shown = app.workspace->openLocation(QStringLiteral("/usr/share/applications")); !shown)
            app.presentAlert(tr("Couldn’t show applications"), shown.error().message);
    });
    if (!systemDockSettingsCommand.isEmpty())
        add(tr("System Dock Settings…"), QString(), [](AppDelegate& app) { app.openSystemDockSettings(); });
    menu->addSeparator();
    add(tr("Restore System Dock & Quit"), QStringLiteral("Ctrl+Q"), [](AppDelegate&) { QCoreApplication::quit(); });
    return menu;
}

void AppDelegate::wireMenus()
{
    const QPointer<AppDelegate> self(this);
    keyEquivalents = new KeyEquivalents(
        [self] {
            if (self)
                self->showSettings();
        },
        [] { QCoreApplication::quit(); }, this);
    qApp->installEventFilter(keyEquivalents);

    statusMenu.reset(makeMenu());
    statusItem = new QSystemTrayIcon(applicationIcon(), this);
    statusItem->setToolTip(tr("Wharf"));
    statusItem->setContextMenu(statusMenu.get());
    // A left click opens the same menu as a right click.
    connect(statusItem, &QSystemTrayIcon::activated, this, [self](QSystemTrayIcon::ActivationReason reason) {
        if (self && reason == QSystemTrayIcon::Trigger)
            self->statusMenu->popup(QCursor::pos());
    });
    // Without a tray now, Qt embeds the icon once one appears.
    statusItem->show();
}

void AppDelegate::addItems()
{
    AddItemsDialog dialog;
    dialog.activateWindow();
    if (dialog.exec() != QDialog::Accepted)
        return;
    // Each at the end of its section; what is already pinned stays where it is.
    for (const QString& path : dialog.chosen())
        dockModel->pin(QUrl::fromLocalFile(path));
}

void AppDelegate::showApplicationMenu()
{
    if (!applicationMenu)
        applicationMenu.reset(makeMenu());
    applicationMenu->popup(QCursor::pos());
    applicationMenu->activateWindow();
}

} // namespace wharf
