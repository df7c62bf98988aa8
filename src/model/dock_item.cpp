#include "model/dock_item.h"

namespace wharf {

QString rawValue(DockItem::Kind kind)
{
    switch (kind) {
    case DockItem::Kind::application: return QStringLiteral("application");
    case DockItem::Kind::folder: return QStringLiteral("folder");
    case DockItem::Kind::file: return QStringLiteral("file");
    case DockItem::Kind::trash: return QStringLiteral("trash");
    }
    return {};
}

std::optional<DockItem::Kind> dockItemKind(const QString& rawValue)
{
    for (auto kind : {DockItem::Kind::application, DockItem::Kind::folder, DockItem::Kind::file,
                      DockItem::Kind::trash}) {
        if (wharf::rawValue(kind) == rawValue)
            return kind;
    }
    return std::nullopt;
}

} // namespace wharf
