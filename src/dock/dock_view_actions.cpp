#include "dock/dock_view.h"

#include <QMenu>
#include <QPointer>

namespace wharf {

void DockView::activateEntry(int index, std::uint32_t eventTime)
{
    if (index < 0 || index >= static_cast<int>(entryList.size()) || !context.actions.activate)
        return;
    const QString id = entryList[static_cast<std::size_t>(index)].identifier();
    // Keyboard navigation ends first: whatever the entry opens takes the keyboard from there.
    endKeyboardNavigation(eventTime);
    context.actions.activate(id, eventTime);
}

void DockView::showEntryMenu(int index, std::uint32_t /*eventTime*/)
{
    const std::vector<QRectF> frameList = tileFrames();
    if (index < 0 || index >= static_cast<int>(entryList.size()) || index >= static_cast<int>(frameList.size())
        || !context.actions.fillMenu)
        return;
    auto* menu = new QMenu(this); // owned by the view until it closes
    menu->setAttribute(Qt::WA_DeleteOnClose);
    context.actions.fillMenu(entryList[static_cast<std::size_t>(index)].identifier(), *menu);
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
}

void DockView::trackMenu(QMenu& menu)
{
    ++openMenus;
    const QPointer<DockView> self(this);
    connect(&menu, &QMenu::aboutToHide, this, [self] {
        if (self && self->openMenus > 0)
            --self->openMenus;
    });
}

} // namespace wharf
