#include "dock/dock_entry.h"

#include "model/dock_artwork.h"

namespace wharf {

DockEntry DockEntry::fromItem(DockItem item)
{
    DockEntry entry;
    entry.artwork = DockArtwork::image(item.icon, item.id);
    entry.payload = std::move(item);
    return entry;
}

DockEntry DockEntry::fromWindow(DockWindow window, QIcon appIcon)
{
    DockEntry entry;
    // The application's icon first; a window of a process the dock has no icon for shows its own.
    if (appIcon.isNull())
        appIcon = window.icon.isNull() ? QIcon::fromTheme(QStringLiteral("application-x-executable")) : window.icon;
    entry.payload = std::move(window);
    entry.artwork = DockArtwork::image(appIcon, entry.identifier());
    return entry;
}

DockEntry::Kind DockEntry::kind() const
{
    return std::holds_alternative<DockItem>(payload) ? Kind::item : Kind::window;
}

QString DockEntry::identifier() const
{
    if (const auto* i = item())
        return i->id;
    return QStringLiteral("window-") + QString::number(window()->id);
}

QString DockEntry::title() const
{
    if (const auto* i = item())
        return i->title;
    return window()->title;
}

const QIcon& DockEntry::icon() const { return artwork; }

const DockItem* DockEntry::item() const { return std::get_if<DockItem>(&payload); }

const DockWindow* DockEntry::window() const { return std::get_if<DockWindow>(&payload); }

bool DockEntry::isApplication() const
{
    const auto* i = item();
    return i && i->kind == DockItem::Kind::application;
}

bool DockEntry::isTrash() const
{
    const auto* i = item();
    return i && i->kind == DockItem::Kind::trash;
}

} // namespace wharf
