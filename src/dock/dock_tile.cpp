#include "dock/dock_tile.h"

namespace wharf {

DockTile::DockTile(DockEntry entry, QObject* parent) : QObject(parent), tileEntry(std::move(entry))
{
    setObjectName(tileEntry.identifier());
}

void DockTile::setEntry(DockEntry entry)
{
    tileEntry = std::move(entry);
    setObjectName(tileEntry.identifier());
}

QString DockTile::label() const { return tileEntry.title(); }

std::optional<QString> DockTile::value() const
{
    const auto* item = tileEntry.item();
    if (item && item->badge && !item->badge->isEmpty())
        return QStringLiteral("Badge: ") + *item->badge;
    return std::nullopt;
}

QString DockTile::help() const
{
    const auto* item = tileEntry.item();
    if (item && item->detail)
        return *item->detail;
    if (item && item->runningApplication)
        return QStringLiteral("Running. Click to switch. Right-click for app and window actions.");
    return QStringLiteral("Click to open. Drag to arrange. Right-click for options.");
}

} // namespace wharf
