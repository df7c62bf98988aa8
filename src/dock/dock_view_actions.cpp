#include "dock/dock_view.h"

#include "settings/action_menu_item.h"
#include "settings/dock_preferences.h"

#include <QMenu>
#include <QPointer>

namespace wharf {

void DockView::activateEntry(int index, std::uint32_t eventTime)
{
    if (index < 0 || index >= static_cast<int>(entryList.size()) || !context.actions.activate)
        return;
    const DockEntry& entry = entryList[static_cast<std::size_t>(index)];
    const QString id = entry.identifier();
    // A folder's click toggles its own stack; anything else leaves the open stack behind.
    if (const DockItem* item = entry.item(); !item || item->kind != DockItem::Kind::folder)
        stacks.close();
    // Keyboard navigation ends first: whatever the entry opens takes the keyboard from there.
    endKeyboardNavigation(eventTime);
    context.actions.activate(id, eventTime);
}

namespace {

void addTrashAppearance(QMenu& menu, DockPreferences& preferences)
{
    menu.addSeparator();
    QMenu* appearance = menu.addMenu(QStringLiteral("Appearance"));
    appearance->setToolTipsVisible(true);
    const bool alwaysEmpty = preferences.alwaysEmptyTrashIcon();
    DockPreferences* settings = &preferences;
    auto* automatic = new ActionMenuItem(QStringLiteral("Automatic"), {}, [settings] {
        settings->setValue(DockPreferences::alwaysEmptyTrashIconKey, false);
    }, appearance);
    automatic->setCheckable(true);
    automatic->setChecked(!alwaysEmpty);
    auto* empty = new ActionMenuItem(QStringLiteral("Always Empty"), {}, [settings] {
        settings->setValue(DockPreferences::alwaysEmptyTrashIconKey, true);
    }, appearance);
    empty->setCheckable(true);
    empty->setChecked(alwaysEmpty);
    empty->setToolTip(QStringLiteral("Changes the icon only. Files remain in the Trash."));
    appearance->addAction(automatic);
    appearance->addAction(empty);
}

} // namespace

void DockView::showEntryMenu(int index, std::uint32_t /*eventTime*/)
{
    const std::vector<QRectF> frameList = tileFrames();
    if (index < 0 || index >= static_cast<int>(entryList.size()) || index >= static_cast<int>(frameList.size()))
        return;
    const DockEntry& entry = entryList[static_cast<std::size_t>(index)];
    const QString id = entry.identifier();
    auto* menu = new QMenu(this); // owned by the view until it closes
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setToolTipsVisible(true);
    if (entry.kind() == DockEntry::Kind::window) {
        // A minimized window's one choice: bring it back.
        const QPointer<DockView> self(this);
        menu->addAction(new ActionMenuItem(QStringLiteral("Restore ") + entry.title(), {}, [self, id] {
            if (self && self->context.actions.activate)
                self->context.actions.activate(id, 0);
        }, menu));
    } else {
        if (context.actions.fillMenu)
            context.actions.fillMenu(id, *menu);
        if (entry.isTrash() && context.preferences)
            addTrashAppearance(*menu, *context.preferences);
    }
    if (menu->isEmpty()) {
        menu->deleteLater();
        return;
    }
    trackMenu(*menu);
    // Above the tile, centred on it.
    const QRectF tile = frameList[static_cast<std::size_t>(index)];
    const QSize size = menu->sizeHint();
    const QPoint anchor = mapToGlobal(QPointF(tile.center().x() - size.width() / 2.0, tile.top()).toPoint());
    menu->popup(anchor - QPoint(0, size.height()));
    layoutDirty = true;
    ensureTicking();
}

void DockView::trackMenu(QMenu& menu)
{
    ++openMenus;
    const QPointer<DockView> self(this);
    connect(&menu, &QMenu::aboutToHide, this, [self] {
        if (self && self->openMenus > 0) {
            --self->openMenus;
            self->markLayoutDirty(); // a dock kept shown by the menu may hide now
        }
    });
}

} // namespace wharf
