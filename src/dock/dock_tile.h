#pragma once

#include "dock/dock_entry.h"

#include <QObject>
#include <QPointF>
#include <QRectF>

#include <optional>

namespace wharf {

// The per-entry object of a dock view. Tiles are drawn by the view itself (one paint
// pass for the whole row is far cheaper than a widget per icon); a tile carries the
// entry, its placed frame and its fade, and is what assistive technology sees as a button.
class DockTile : public QObject {
    Q_OBJECT

public:
    DockTile(DockEntry entry, QObject* parent);

    const DockEntry& entry() const { return tileEntry; }
    void setEntry(DockEntry entry); // refreshes the accessible texts

    QRectF frame;       // layout coordinates (y up), moved down with the dock
    double alpha = 1.0;

    // A press in progress: where it went down (widget coordinates), and whether it became a drag.
    std::optional<QPointF> downPoint;
    bool dragged = false;

    QString label() const;                // the entry's title
    std::optional<QString> value() const; // "Badge: …"
    QString help() const;

private:
    DockEntry tileEntry;
};

} // namespace wharf
