#pragma once

#include "platform/running_application.h"

#include <QIcon>
#include <QString>

#include <optional>

namespace wharf {

// One tile of the dock: a pinned or running application, a folder, a file, or the Trash.
struct DockItem {
    enum class Kind { application, folder, file, trash };

    QString id;                               // identity; two items are the same item when ids match
    QString url;                              // file-system path of the item
    QString title;
    QIcon icon;
    Kind kind = Kind::file;
    bool isPinned = false;
    RunningApplicationRef runningApplication; // null when not running
    std::optional<QString> detail;            // tooltip and accessibility text
    std::optional<QString> badge;
    std::optional<double> progress;           // 0…1 while the application shows progress
    bool urgent = false;                      // the application asks for attention
};

// Raw text values, which are also the persisted values.
QString rawValue(DockItem::Kind kind);
std::optional<DockItem::Kind> dockItemKind(const QString& rawValue);

} // namespace wharf
