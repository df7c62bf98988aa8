#pragma once

#include "model/dock_badge.h"
#include "model/app_artwork.h"
#include "model/dock_item.h"
#include "platform/workspace.h"
#include "trash/trash_state.h"

#include <QByteArray>
#include <QHash>
#include <QIcon>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sys/types.h>
#include <vector>

class QMenu;

namespace wharf {

class DockPreferences;
class SerialWorker;

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

    // The visible state of one item; icons compare by object identity (cache key), which the
    // artwork keeps while the pixels stay the same.
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

    // A warning alert; the presenter answers the index of the chosen button (Escape chooses
    // the default one).
    struct Alert {
        QString text;
        QString informativeText;
        QStringList buttons{QStringLiteral("OK")};
        int defaultButton = 0;
    };
    // Trash operations answer the first failure, or nothing.
    using TrashDone = std::function<void(std::optional<Error>)>;

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
        // Shows an alert and waits for the user's answer; none: the alert is only logged.
        std::function<int(const Alert&)> alertPresenter;
        // Moving files to the Trash and emptying every Trash of the user, answering later on
        // the main thread; none: the Trash takes nothing.
        std::function<void(const QStringList& paths, TrashDone done)> recycleProvider;
        std::function<void(TrashDone done)> emptyTrashProvider;
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

    // What the user does to an item (dock_model_operations.cpp). `eventTime` is the X server
    // time of the click or key that asked, 0 when none.
    void activate(const DockItem& item, std::uint32_t eventTime = 0);
    // Adds the item's own entries to `menu`.
    void contextMenu(const DockItem& item, QMenu& menu);
    // Pins a location at a displayed index (the end of its section when none), or moves an
    // existing pin there; with no index an existing pin stays where it is.
    void pin(const QUrl& url, std::optional<int> displayedIndex = std::nullopt);
    // Reorders an item; an unpinned running application becomes pinned where it was dropped.
    void move(const DockItem& item, int displayedIndex);
    void remove(const DockItem& item);
    // Files dropped onto an item: opened with an application, copied or moved into a folder,
    // moved to the Trash; a file takes nothing.
    void open(const QList<QUrl>& urls, const DockItem& target, bool copyFiles, std::uint32_t eventTime = 0);
    // Asks, then erases every Trash of the user.
    void emptyTrash();
    // Places `pin` at a displayed index so that the stored order stays the displayed order of
    // pinned items, whatever running applications sit between them.
    void insert(const Pin& pin, std::optional<int> displayedIndex);
    // The item with this id, if the dock shows one.
    std::optional<DockItem> item(const QString& id) const;
    bool isFileManager(const DockItem& item) const;

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

    bool lastKnownTrashFull() const { return trashFull; }
    // The desktop-file id of an application item: its running program's, else its entry's as last
    // read; none for other items or an unknown entry.
    std::optional<QString> desktopID(const DockItem& item) const;
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
    // Every item's icon passes through it, so an icon changes only when its pixels do.
    AppArtwork artwork;

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
    // Pins what a running program without a desktop entry needs: an entry written for it.
    std::optional<Pin> pinForProgram(const DockItem& item);
    void changePins(); // persist, watch, refresh
    int presentAlert(const Alert& alert) const;
    void presentError(const QString& actionText, const Error& error) const;
    void transfer(const QStringList& paths, const QString& folder, bool copyFiles);

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
    // Runs drops into folders off the main thread; joined (letting a copy finish) before the rest goes.
    std::unique_ptr<SerialWorker> transferWorker;
    // Menu entries and late answers hold this weakly and do nothing once the model is gone.
    std::shared_ptr<int> lifetime = std::make_shared<int>(0);
};

} // namespace wharf
