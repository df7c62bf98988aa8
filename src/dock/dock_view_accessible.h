#pragma once

#include <QHash>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

class QAccessibleEvent;
class QWidget;

namespace wharf {

class DockEntry;
class DockTile;

// What an entry's tile tells assistive technology besides its texts: a running application,
// the active one, and a minimized window (or an application whose windows all are).
struct DockEntryStates {
    bool running = false;
    bool active = false;
    bool minimized = false;
    bool operator==(const DockEntryStates&) const = default;
};
DockEntryStates entryStates(const DockEntry& entry);

// Registers the accessibility of dock views with Qt, which bridges it to AT-SPI: each
// view is a toolbar labelled "Wharf" whose children are its tiles, each a button with
// the entry's title as name, the badge as value and the help text as description.
// Safe to call more than once.
// An unmapped dock (the overlay outside a full-screen space) shows nothing: no tiles and an
// invisible state, so screen readers never meet a phantom second dock.
void installDockAccessibility();

// Tells assistive technology what changed in a dock's row since the last announcement, and
// nothing else: tiles added or removed, a new order, a tile's changed name, value or help.
// A dock that is not shown announces nothing.
class DockAccessibilityAnnouncer {
public:
    using Sink = std::function<void(QAccessibleEvent*)>; // empty: Qt's accessibility bridge
    void announce(QWidget& view, const std::vector<DockTile*>& tiles, const Sink& sink);

private:
    struct Texts {
        QString name;
        std::optional<QString> value;
        QString help;
        DockEntryStates states;
    };
    std::vector<DockTile*> order;
    QHash<DockTile*, Texts> announced;
};

} // namespace wharf
