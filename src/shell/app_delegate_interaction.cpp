// What the user's gestures on the docks do to the items: activation, the items' own context-menu
// entries, moves, unpins, pins and drops, carried out by the model; and the alerts it shows.
#include "shell/app_delegate.h"

#include "dock/dock_view.h"
#include "settings/action_menu_item.h"

#include <QAbstractButton>
#include <QJsonArray>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

#include <algorithm>

namespace wharf {

DockViewActions AppDelegate::interactionActions()
{
    const QPointer<AppDelegate> self(this);
    DockViewActions actions;
    actions.activate = [self](const QString& id, std::uint32_t eventTime) {
        if (self)
            self->activateEntry(id, eventTime);
    };
    actions.move = [self](const QString& id, int displayedIndex) {
        if (!self)
            return;
        if (const auto item = self->dockModel->item(id))
            self->dockModel->move(*item, displayedIndex);
    };
    actions.remove = [self](const QString& id) {
        if (!self)
            return;
        if (const auto item = self->dockModel->item(id))
            self->dockModel->remove(*item);
    };
    actions.pin = [self](const QString& path, std::optional<int> displayedIndex) {
        if (!self)
            return;
        const QUrl url = path.startsWith(QLatin1Char('/')) ? QUrl::fromLocalFile(path) : QUrl(path);
        self->dockModel->pin(url, displayedIndex);
    };
    actions.open = [self](const QList<QUrl>& urls, const QString& targetID, bool copyFiles) {
        if (!self)
            return;
        if (const auto item = self->dockModel->item(targetID))
            self->dockModel->open(urls, *item, copyFiles);
    };
    // Ctrl-click on a folder: the folder itself, not its stack.
    actions.openItem = [self](const QString& id, std::uint32_t eventTime) {
        if (!self)
            return;
        if (const auto item = self->dockModel->item(id))
            self->dockModel->activate(*item, eventTime);
    };
    // A tile's menu, the same for a right-click and for scripts. Last, so that the menu's own
    // entries can use the other actions.
    actions.fillMenu = [self, actions](const QString& id, QMenu& menu) {
        if (self)
            self->fillEntryMenu(id, menu, actions);
    };
    return actions;
}

namespace {

// Every entry of `menu`, submenus' entries as "Submenu/Entry".
void collectEntries(const QMenu& menu, const QString& prefix, std::vector<std::pair<QString, QAction*>>& out)
{
    for (QAction* action : menu.actions()) {
        if (action->isSeparator())
            continue;
        const QString title = prefix + shownMenuText(action->text());
        if (action->menu())
            collectEntries(*action->menu(), title + QLatin1Char('/'), out);
        else
            out.emplace_back(title, action);
    }
}

} // namespace

QJsonArray AppDelegate::menuEntries(const QString& id)
{
    QMenu menu;
    interactionActions().fillMenu(id, menu);
    std::vector<std::pair<QString, QAction*>> entries;
    collectEntries(menu, QString(), entries);
    QJsonArray out;
    for (const auto& [title, action] : entries)
        out.append(QJsonObject{{QStringLiteral("title"), title}, {QStringLiteral("checked"), action->isChecked()}});
    return out;
}

bool AppDelegate::chooseMenuEntry(const QString& id, const QString& title)
{
    auto menu = std::make_shared<QMenu>();
    interactionActions().fillMenu(id, *menu);
    std::vector<std::pair<QString, QAction*>> entries;
    collectEntries(*menu, QString(), entries);
    const auto chosen = std::find_if(entries.begin(), entries.end(), [&](const auto& entry) { return entry.first == title; });
    if (chosen == entries.end())
        return false;
    // On the next turn, as after a click in the menu: an alert it shows must not hold up the caller.
    QTimer::singleShot(0, this, [menu, action = QPointer<QAction>(chosen->second)] {
        if (action)
            action->trigger();
    });
    return true;
}

bool AppDelegate::dropFiles(const QStringList& paths, const QString& id, bool copyFiles)
{
    if (!dockModel->item(id))
        return false;
    QList<QUrl> urls;
    for (const QString& path : paths)
        urls << (path.startsWith(QLatin1Char('/')) ? QUrl::fromLocalFile(path) : QUrl(path));
    QTimer::singleShot(0, this, [self = QPointer<AppDelegate>(this), urls, id, copyFiles] {
        if (self)
            self->interactionActions().open(urls, id, copyFiles);
    });
    return true;
}

int AppDelegate::showAlert(const DockModel::Alert& alert)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Wharf"), alert.text, QMessageBox::NoButton);
    box.setInformativeText(alert.informativeText);
    std::vector<QAbstractButton*> buttons;
    for (int i = 0; i < alert.buttons.size(); ++i) {
        // The default answers Return and Escape alike, so neither can do harm by accident.
        const bool isDefault = i == alert.defaultButton;
        QPushButton* button = box.addButton(alert.buttons[i], isDefault ? QMessageBox::RejectRole
                                                                        : QMessageBox::AcceptRole);
        if (isDefault) {
            box.setDefaultButton(button);
            box.setEscapeButton(button);
        }
        buttons.push_back(button);
    }
    openAlert = &box;
    box.activateWindow();
    box.exec();
    openAlert = nullptr;
    const auto chosen = std::find(buttons.begin(), buttons.end(), box.clickedButton());
    return chosen == buttons.end() ? alert.defaultButton : int(chosen - buttons.begin());
}

QJsonObject AppDelegate::alertSnapshot() const
{
    if (!openAlert)
        return {{QStringLiteral("open"), false}};
    QJsonArray buttons;
    for (QAbstractButton* button : openAlert->buttons())
        buttons.append(button->text());
    return {{QStringLiteral("open"), true},
            {QStringLiteral("text"), openAlert->text()},
            {QStringLiteral("informativeText"), openAlert->informativeText()},
            {QStringLiteral("buttons"), buttons},
            {QStringLiteral("defaultButton"), openAlert->defaultButton() ? openAlert->defaultButton()->text() : QString()}};
}

bool AppDelegate::answerAlert(const QString& button)
{
    if (!openAlert)
        return false;
    for (QAbstractButton* candidate : openAlert->buttons()) {
        if (candidate->text() == button) {
            // After the D-Bus reply: the click ends the alert's own event loop.
            QTimer::singleShot(0, candidate, &QAbstractButton::click);
            return true;
        }
    }
    return false;
}

} // namespace wharf
