#pragma once

#include "model/dock_badge.h"
#include "model/dock_item.h"
#include "platform/workspace.h"
#include "trash/trash_state.h"

#include <QByteArray>
#include <QHash>
#include <QIcon>
#include <QSet>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace wharf {

class DockPreferences;

// The ordered list of dock tiles: the file manager, pinned applications, running
// applications that are not pinned, pinned folders and files, and the Trash.
// Rebuilt on every workspace notification (launches, quits, activations, mounts and changes of
// the pinned files); `onChange` fires only when something visible changed. Nothing runs on a
// timer, so an idle desktop costs nothing.
class DockModel {
public:
    struct Pin {
        QString path;
        DockItem::Kind kind = DockItem::Kind::file;
        std::optional<QString> title;

        bool operator==(const Pin&) const = default;
    };

    // The visible state of one item; icons compare by object identity (cache key).
    struct ItemState {
        QString id;
        QString title;
        DockItem::Kind kind = DockItem::Kind::file;
        bool pinned = false;
        std::optional<pid_t> processID;
        bool active = false;
        bool hidden = false;
        qint64 icon = 0;
        std::optional<QString> detail;
        std::optional<QString> badge;
        DockBadge::Status badgeStatus;

        bool operator==(const ItemState&) const = default;
    };

    // Where the model gets what it does not own; an empty provider means "none".
    struct Providers {
        std::function<TrashState()> trashStateProvider;
        std::function<bool()> alwaysEmptyTrashProvider;
        std::function<bool()> darkTrashProvider;
        // Keyed by the application's identity: its desktop-file id, else its item id.
        std::function<std::optional<QString>(const QString& identity)> badgeLabelProvider;
        std::function<DockBadge::Status(const QString& identity)> badgeStatusProvider;
        std::function<std::map<QString, bool>()> badgeSettingsProvider;
        std::function<std::vector<Pin>()> systemPinsProvider;
        // A folder tile's pile of documents, when it shows one instead of the folder icon.
        std::function<std::optional<QIcon>(const QString& folderPath)> stackArtworkProvider;
    };

    static inline const QString pinnedItemsKey = QStringLiteral("Wharf.pinnedItems.v1");
    static inline const QString trashID = QStringLiteral("wharf.trash");
    static inline const QString fileManagerTitle = QStringLiteral("Files");

    // `live` follows the desktop and saves pin changes; `snapshot` is built once and never
    // writes the store nor watches anything (for `wharf --list-items`).
    enum class Mode { live, snapshot };

    DockModel(Workspace& workspace, DockPreferences& preferences, Providers providers = {},
              Mode mode = Mode::live);
    ~DockModel();
    DockModel(const DockModel&) = delete;
    DockModel& operator=(const DockModel&) = delete;

    const std::vector<DockItem>& items() const { return itemList; }
    const std::vector<Pin>& pins() const { return pinList; }
    CallbackList<> onChange;
    // Only badges, progress or attention changed (refreshBadges): nothing to lay out again.
    CallbackList<> onBadgesChange;

    void refresh();
    // Re-reads only the badges of the current items: far cheaper than a refresh, for the stream
    // of badge changes applications send.
    void refreshBadges();

    // Replaces the pins, saves them and refreshes.
    void setPins(std::vector<Pin> pins);
    // Replaces the pins with the native dock's items and starts every cache afresh.
    void restoreSystemPins();
    // The native dock's items (or the fallback set), cleaned.
    std::vector<Pin> systemPins();

    // Identity: the real path, the file manager's desktop-file id, or "wharf.trash".
    QString itemID(const QString& path);
    std::optional<QString> bundleIdentifier(const QString& path, const QString& id);
    std::vector<Pin> sanitized(const std::vector<Pin>& pins);
    DockItem makeItem(const QString& path, DockItem::Kind kind, bool pinned,
                      const std::optional<QString>& title);
    DockItem makeTrashItem();
    void persist() const;

    const std::vector<QString>& runningOrder() const { return order; }
    bool lastKnownTrashFull() const { return trashFull; }
    // The folder the file manager shows as the Trash: files/ of the home trash, not the folder
    // that also holds the info/ records.
    static QString trashLocation();

    static QByteArray encodePins(const std::vector<Pin>& pins);
    // Any malformed element rejects the whole list.
    static std::optional<std::vector<Pin>> decodePins(const QByteArray& data);
    static ItemState itemState(const DockItem& item);

    // Caches keyed by item id (icons also by Trash icon key), kept across refreshes.
    QHash<QString, QIcon> iconCache;
    QHash<QString, QString> pathIDCache;
    QHash<QString, std::optional<QString>> bundleIDCache;
    QSet<QString> bundleIDsRead;
    QHash<QString, QString> titleCache;

private:
    void loadPins();
    // Asks the workspace to report changes of the pinned files.
    void watchPins();
    void workspaceChanged(WorkspaceNotification notification);
    void clearIdentityCaches();
    void updateFileManager();
    QIcon baseIcon(const QString& id, const QString& path, DockItem::Kind kind);
    void applyBadge(DockItem& item, const std::optional<QString>& bundleID) const;
    // Stores the items' visible state; true when it changed.
    bool stateChanged();

    Workspace& workspace;
    DockPreferences& preferences;
    Providers providers;
    Mode mode;

    std::vector<Pin> pinList;
    std::vector<DockItem> itemList;
    std::vector<ItemState> lastState;
    std::vector<QString> order;
    QHash<QString, RunningApplicationRef> runningByID;
    QHash<QString, RunningApplicationRef> runningByBundleID;
    std::map<QString, bool> badgePermissions;
    bool trashFull = false;

    std::optional<QString> fileManagerLocation;   // as the workspace reports it
    QString fileManagerPath;                       // resolved
    std::optional<QString> fileManagerID;

    CallbackList<WorkspaceNotification>::Subscription subscription;
};

} // namespace wharf
