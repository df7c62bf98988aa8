#pragma once

#include "model/dock_item.h"
#include "windows/dock_window.h"

#include <QIcon>
#include <QString>

#include <variant>

namespace wharf {

// One unit of the dock's row: a model item, or a minimized window of another program.
class DockEntry {
public:
    enum class Kind { item, window };

    static DockEntry fromItem(DockItem item);
    // `appIcon` is the icon of the program that owns the window; a null icon
    // falls back to the generic application icon.
    static DockEntry fromWindow(DockWindow window, QIcon appIcon = {});

    Kind kind() const;
    // The item's id, or "window-" + the window id; keys every per-entry table of the view.
    QString identifier() const;
    QString title() const;
    // What the dock draws: the item's or program's icon on the common canvas (DockArtwork).
    const QIcon& icon() const;

    const DockItem* item() const;     // null for windows
    const DockWindow* window() const; // null for items
    bool isApplication() const;       // an application item; windows are not
    bool isTrash() const;

private:
    DockEntry() = default;
    std::variant<DockItem, DockWindow> payload;
    QIcon artwork;
};

} // namespace wharf
