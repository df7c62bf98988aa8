#pragma once

#include "dock/dock_interaction.h"
#include "model/dock_item.h"
#include "platform/result.h"
#include "windows/dock_window.h"

#include <QDBusContext>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QRect>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

namespace wharf {

// One dock window as scripts see it; frames in global screen coordinates.
struct DockSnapshot {
    QString display;
    bool overlay = false;
    bool mapped = false;
    QRect frame;
    std::vector<QString> entryIDs;
    std::vector<QRectF> tiles;
    std::optional<int> hoveredIndex;
    std::optional<int> keyboardIndex; // the selection while the dock has the keyboard
    std::optional<DockPendingDrop> drop; // while another program's drag is over the dock
    std::optional<DockOwnDrag> drag;
    double hiddenAmount = 0;
    bool fullScreen = false;
    // The hover label's window (global coordinates) and text while it is shown.
    std::optional<QRect> hoverLabel;
    QString hoverLabelText;
    std::optional<QRect> divider; // global coordinates; none while hidden
    bool menuOpen = false;        // a menu of this dock is open
    struct Badge {
        QString id;
        QString label;  // as drawn ("999+"); empty without a count
        QRectF frame;   // the count badge, global coordinates
        std::optional<double> progress;
        bool urgent = false;
        QPointF indicator; // the running indicator's centre, global coordinates
    };
    std::vector<Badge> badges;
    bool pulsing = false; // the attention pulse runs
};

QJsonArray docksJson(const std::vector<DockSnapshot>& docks);

// The session bus API of a running Wharf (com.tamberly.Wharf at /com/tamberly/Wharf), used by
// scripts and the end-to-end tests. Documented in the README.
class WharfDBusService : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.tamberly.Wharf")

public:
    static inline const QString serviceName = QStringLiteral("com.tamberly.Wharf");
    static inline const QString objectPath = QStringLiteral("/com/tamberly/Wharf");

    struct Source {
        std::function<std::vector<DockItem>()> items;
        std::function<std::vector<DockSnapshot>()> docks;
        std::function<quint64()> framesRendered;
        std::function<void()> focusDock;
        std::function<bool()> trashFull;
        // Trash operations; `done` gets the first failure's description ("" when none).
        using Done = std::function<void(std::optional<Error>)>;
        std::function<void(Done done)> emptyTrash;
        std::function<void(const QStringList& paths, Done done)> recycle;
        std::function<void()> showSettings;
        std::function<void()> showApplicationMenu;
        std::function<void()> showDividerMenu;
        std::function<bool(const QString& id)> activate;
        std::function<std::vector<DockWindow>(const QString& id)> windows;
        std::function<bool(const QString& id)> minimize;
        std::function<bool(const QString& id)> showMenu;
        std::function<void()> quit;
        // Stacks: open (or toggle off) a folder tile's stack, read it, change its view mode.
        std::function<bool(const QString& id, QString* error)> openStack;
        std::function<QJsonObject()> stack;
        std::function<bool(const QString& id, const QString& mode, QString* error)> setStackViewMode;
        // The alert on screen and a click on one of its buttons.
        std::function<QJsonObject()> alert;
        std::function<bool(const QString& button)> answerAlert;
        // A tile's context menu: its entries, and one chosen; files dropped onto a tile.
        std::function<QJsonArray(const QString& id)> menuItems;
        std::function<bool(const QString& id, const QString& title)> chooseMenuItem;
        std::function<bool(const QStringList& paths, const QString& id, bool copy)> drop;
    };

    explicit WharfDBusService(QObject* parent = nullptr) : QObject(parent) {}

    // Filled once the dock is up; until then every list is empty.
    Source source;

public Q_SLOTS:
    // The items in dock order, as a JSON array of the objects `wharf --list-items` prints.
    Q_SCRIPTABLE QString Items() const;
    // Every dock window with its tile frames, as a JSON array.
    Q_SCRIPTABLE QString Docks() const;
    // The tile under the pointer in the first dock that has one; -1 when none.
    Q_SCRIPTABLE int HoveredIndex() const;
    // Frames drawn by all dock windows since launch; for benchmarks and diagnostics.
    Q_SCRIPTABLE qulonglong FramesRendered() const;
    // Gives the dock under the pointer the keyboard, like the global shortcut.
    Q_SCRIPTABLE void FocusDock();
    // Empties every Trash of the user without asking; answers the first failure, "" when none.
    Q_SCRIPTABLE QString EmptyTrash();
    // Moves the files to the Trash; answers the first failure, "" when none.
    Q_SCRIPTABLE QString MoveToTrash(const QStringList& paths);
    // Opens the settings window, or brings it to the front with freshly read values.
    Q_SCRIPTABLE void ShowSettings();
    // Shows the status item's menu at the pointer (for desktops without a tray).
    Q_SCRIPTABLE void ShowApplicationMenu();
    // Opens the divider's context menu (the application's menu) over the first dock's divider.
    Q_SCRIPTABLE void ShowDividerMenu();
    // Opens the stack of the pinned folder `id` over its tile; the same id again closes it.
    Q_SCRIPTABLE void OpenStack(const QString& id);
    // The open stack as a JSON object (mode, frame, shown entries, selection, preview).
    Q_SCRIPTABLE QString Stack() const;
    // Sets the view mode (automatic, fan, grid, list) of the folder `id`; an open stack follows.
    Q_SCRIPTABLE void SetStackViewMode(const QString& id, const QString& mode);
    // Does what a click on the tile `id` does: opens or switches to an item, opens a folder's
    // stack, restores a minimized window ("window-<id>"); false when there is no such tile.
    Q_SCRIPTABLE bool Activate(const QString& id);
    // The windows of the running application of item `id` (what its context menu lists), as a
    // JSON array; empty when it is not running.
    Q_SCRIPTABLE QString Windows(const QString& id) const;
    // Sends the window "window-<id>" to the dock; false when no running application has it.
    Q_SCRIPTABLE bool Minimize(const QString& id);
    // Pops up the context menu of the tile `id` above it, as a right-click does; false when no
    // dock shows that tile.
    Q_SCRIPTABLE bool ShowMenu(const QString& id);
    // The alert Wharf shows now, as a JSON object ({"open": false} when none).
    Q_SCRIPTABLE QString Alert() const;
    // Clicks the button titled `button` of the alert on screen; false when there is none.
    Q_SCRIPTABLE bool AnswerAlert(const QString& button);
    // The entries of tile `id`'s context menu as a JSON array of {title, checked}; a submenu's
    // entries are titled "Submenu/Entry".
    Q_SCRIPTABLE QString MenuItems(const QString& id) const;
    // Chooses the entry `title` (as MenuItems names it) of tile `id`'s context menu; false when
    // there is no such entry. The entry acts after the reply.
    Q_SCRIPTABLE bool ChooseMenuItem(const QString& id, const QString& title);
    // Does what dropping these files onto tile `id` does (moving, or with `copy` copying, into a
    // folder; opening with an application; moving to the Trash); false when no item has that id.
    Q_SCRIPTABLE bool Drop(const QStringList& paths, const QString& id, bool copy);
    // Quits through the normal shutdown, which gives the desktop's dock back.
    Q_SCRIPTABLE void Quit();

private:
    QString answerLater(const std::function<void(Source::Done)>& start);
};

} // namespace wharf
