#pragma once

#include "model/dock_item.h"

#include <QJsonObject>

namespace wharf {

// One dock item as a JSON object: id, title, kind, pinned, pid (null when not running),
// active, hidden, badge (null when none); the Trash item also has full (its icon shows a full
// bin; `trashFull`). Used by --list-items and the D-Bus service.
QJsonObject itemJson(const DockItem& item, bool trashFull = false);

} // namespace wharf
