#include "shell/item_json.h"

#include <QJsonValue>

namespace wharf {

QJsonObject itemJson(const DockItem& item, bool trashFull)
{
    const auto& app = item.runningApplication;
    QJsonObject object;
    object.insert(QStringLiteral("id"), item.id);
    object.insert(QStringLiteral("title"), item.title);
    object.insert(QStringLiteral("kind"), rawValue(item.kind));
    object.insert(QStringLiteral("pinned"), item.isPinned);
    object.insert(QStringLiteral("pid"), app && app->processIdentifier
                                             ? QJsonValue(static_cast<qint64>(*app->processIdentifier))
                                             : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("active"), app && app->isActive);
    object.insert(QStringLiteral("hidden"), app && app->isHidden);
    object.insert(QStringLiteral("badge"), item.badge ? QJsonValue(*item.badge) : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("progress"), item.progress ? QJsonValue(*item.progress) : QJsonValue(QJsonValue::Null));
    object.insert(QStringLiteral("urgent"), item.urgent);
    if (item.kind == DockItem::Kind::trash)
        object.insert(QStringLiteral("full"), trashFull);
    return object;
}

} // namespace wharf
