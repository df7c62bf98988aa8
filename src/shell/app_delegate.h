#pragma once

#include "dock/dock_view.h"
#include "model/dock_model.h"
#include "platform/callback_list.h"
#include "model/system_pins_importer.h"
#include "platform/desktop_appearance.h"
#include "platform/dock_window_platform.h"
#include "platform/file_trash.h"
#include "platform/hot_key.h"
#include "platform/launcher_entries.h"
#include "platform/trash_volumes.h"
#include "platform/folder_watcher.h"
#include "platform/window_control.h"
#include "platform/window_stacking.h"
#include "platform/workspace.h"
#include "shell/applied_preferences.h"
#include "shell/login_item.h"
#include "shell/wharf_dbus_service.h"
#include "takeover/system_dock_integration.h"
#include "trash/trash_operations.h"
#include "trash/trash_state_monitor.h"
#include "windows/dock_window.h"
#include "windows/dock_window_avoidance.h"
#include "windows/window_manager.h"

#include <QApplication>
#include <QIcon>
#include <QMenu>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QSystemTrayIcon>
#include <QTimer>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class QMessageBox;
class QScreen;
class QTimer;

namespace wharf {

class DockFullScreenState;
class DockPreferences;
class DockView;
class DockWindowController;
class KeyEquivalents;
class SettingsController;
struct DockSizing;
class FolderAccessStore;
class StackController;
class StackPreferences;
class StackArtwork;
class StackThumbnailCache;
struct DockViewActions;

// Owns every long-lived part of the running dock and wires them together. Each subsystem's
// wiring lives in app_delegate_<subsystem>.cpp as one `wire<Subsystem>()` function that
// applicationDidFinishLaunching calls in order. To add a subsystem: a field in Parts, a wiring
// function in its own file, and one call in applicationDidFinishLaunching.
class AppDelegate : public QObject {
    Q_OBJECT

public:
    struct Parts {
        std::unique_ptr<Workspace> workspace;                 // required
        DockPreferences* preferences = nullptr;               // required, outlives the delegate
        std::unique_ptr<SystemDockIntegration> integration;   // required
        std::unique_ptr<DockWindowSystem> windowSystem; // null: plain Qt windows
        std::unique_ptr<DesktopAppearance> appearance;  // null: light, full motion
        std::unique_ptr<TrashVolumes> trashVolumes;     // null: the home Trash only
        std::unique_ptr<FileTrash> fileTrash;           // null: nothing can be moved to the Trash
        std::unique_ptr<HotKey> hotKey;                 // null: no global shortcut
        std::unique_ptr<SystemPinsImporter> importer;   // null: the fallback pins only
        QStringList systemDockSettingsCommand;          // empty: the native dock has no settings to open
        std::unique_ptr<LoginItem> loginItem;           // null: the user's autostart folder
        std::unique_ptr<FolderWatcher> folderWatcher;   // null: open stacks do not refresh by themselves
        std::unique_ptr<WindowControl> windowControl;   // null: no minimized windows in the dock
        std::unique_ptr<WindowStacking> windowStacking; // null: no display is ever full screen
        std::unique_ptr<LauncherEntries> launcherEntries; // null: no badges
    };

    // The whole process in normal mode: single instance, launch, event loop, shutdown.
    // `makeParts` builds the desktop services, only once this process is the one instance.
    static int run(QApplication& app, const std::function<Parts()>& makeParts);

    explicit AppDelegate(Parts parts, QObject* parent = nullptr);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();
    void applicationWillTerminate();
    void rebuildDocks();
    void updateWindowAvoidance();
    void integrationError(const QString& message);
    // Keyboard access to the dock under the pointer (the global shortcut's handler); on a
    // display that shows a full-screen window, the overlay dock's. `eventTime` is the key press's
    // X server time, 0 when none.
    void focusDock(std::uint32_t eventTime = 0);
    // Which displays show a full-screen window; shared by every dock.
    DockFullScreenState& fullScreenState() { return *fullScreen; }
    // A menu of the application (the status item's, the divider's) is open: docks stay shown.
    bool isMenuTracking() const { return openMenus > 0; }

    // The Trash (app_delegate_trash.cpp): its state as the model sees it, and the operations.
    TrashState trashState() const;
    void recycle(const QStringList& paths, TrashOperations::Done done);
    void emptyTrash(TrashOperations::Done done);
    // Menus and settings (app_delegate_menus.cpp, app_delegate_settings.cpp).
    // The status item's menu; also shown over D-Bus and by the divider. The caller owns it.
    QMenu* makeMenu(QWidget* parent = nullptr);
    // The status item's menu at the pointer, for desktops without a tray.
    void showApplicationMenu();
    // The divider's context menu over the first dock's divider (for scripts and tests).
    void showDividerMenu();
    void showSettings();
    void openSystemDockSettings();
    // "Add Applications or Folders…": pins every file or folder chosen in the "Add to Wharf" dialog.
    void addItems();
    SettingsController* settings() const { return settingsWindow.get(); }
    static QIcon applicationIcon();

    DockModel& model() { return *dockModel; }
    const std::vector<std::unique_ptr<DockWindowController>>& docks() const { return dockControllers; }
    std::vector<DockSnapshot> dockSnapshots() const;

    // Window-list scanner; it answers through the callback on the main thread. Window-control
    // events ask for a scan; the 2-second poll runs only when nothing watches the windows, so an
    // idle dock never wakes up.
    using WindowScanner = std::function<void(std::function<void(std::vector<DockWindow>)>)>;
    void setWindowScanner(WindowScanner scanner, bool watched = false);
    // One scan: a changed window list reloads every dock. A request during a scan runs after it.
    void pollWindows();
    const std::vector<DockWindow>& minimizedWindows() const { return minimized; }
    // What a click on the tile `id` does; false when no such tile can be activated.
    // What a click on tile `id` does; `eventTime` is the X time of the click (0 = none).
    bool activateEntry(const QString& id, std::uint32_t eventTime = 0);
    // The windows of item `id`'s running application, minimized or not (its context menu's list).
    std::vector<DockWindow> windowsOfItem(const QString& id) const;
    // Minimizes the window "window-<id>" of a running application on the next turn; false when none
    // has it.
    bool minimizeEntry(const QString& id);
    WindowManager* windows() const { return windowManager.get(); }
    // Pops up the context menu of tile `id` over the first dock that shows it; false when none does.
    bool showEntryMenu(const QString& id);

    // Stacks: opens the stack of the pinned folder `id` over its tile (a second call for the
    // same folder closes it); false with a reason when there is no such folder tile.
    bool openStack(const QString& id, QString* error = nullptr);
    bool isFolderTile(const QString& id) const;
    void closeStack();
    // The open stack as scripts see it; {"open": false} when none is open.
    QJsonObject stackSnapshot() const;
    bool setStackViewMode(const QString& id, const QString& mode, QString* error = nullptr);
    StackPreferences& stackPreferences() { return *stackSettings; }

    // Frames drawn by all dock views since launch (diagnostics and benchmarks).
    quint64 framesRendered() const { return frames; }

    // Shows a warning alert with one "OK" button; replaceable so that nothing blocks in tests.
    std::function<void(const QString& text, const QString& informativeText)> presentAlert;
    // Shows the model's alerts and answers the chosen button's index; replaceable in tests.
    std::function<int(const DockModel::Alert&)> alertPresenter;
    // A modal warning alert (QMessageBox) whose default button also answers Escape.
    int showAlert(const DockModel::Alert& alert);
    // The alert on screen, for scripts: {"open": false} when none; and a click on its button.
    QJsonObject alertSnapshot() const;
    bool answerAlert(const QString& button);
    // The dock views' gestures, carried out by the model (app_delegate_interaction.cpp).
    DockViewActions interactionActions();
    // For scripts: the entries of tile `id`'s context menu ("Options/Keep in Dock" for a submenu's
    // entry, with its check mark), choosing one as a click would, and dropping files onto a tile.
    QJsonArray menuEntries(const QString& id);
    bool chooseMenuEntry(const QString& id, const QString& title);
    bool dropFiles(const QStringList& paths, const QString& id, bool copyFiles);

    // The displays in dock order: the primary first, then the others in Qt's order.
    static std::vector<QScreen*> orderedScreens();
    // The displays that carry docks now.
    std::vector<QScreen*> dockScreens() const;

private:
    // Wiring, one per subsystem, in launch order.
    void wireMenus();    // app_delegate_menus.cpp: the status item, its menu and the key equivalents
    void wireModel();    // app_delegate_model.cpp: model, preferences and appearance changes
    void wireBadges();   // app_delegate_badges.cpp: applications' badges, progress and attention
    void wireStacks();   // app_delegate_stacks.cpp: stack settings, piles and thumbnails
    void wireTakeover(); // app_delegate_takeover.cpp: hides the desktop's dock
    void wireFullScreen(); // app_delegate_full_screen.cpp: which displays show a full-screen window
    void wireDocks();    // app_delegate_docks.cpp: dock windows and display changes
    void wireWindows();  // app_delegate_windows.cpp: window avoidance and the window poll
    void wireTrash();    // app_delegate_trash.cpp: the Trash monitor behind the Trash tile
    void wireHotKey();   // app_delegate_hot_key.cpp: Ctrl+Alt+D gives the keyboard to the dock
    void wireSettings(); // app_delegate_settings.cpp: the settings window follows the model and settings

    // Shutdown, in reverse.
    void unregisterHotKey();
    void stopTrash();
    void stopWindows();
    void restoreTakeover();

    DockModel::Providers modelProviders();
    void badgeProviders(DockModel::Providers& providers) const;
    void watchLauncherEntries();
    void preferencesChanged();
    void relayoutDocks();
    void startWindowTimer();
    void scheduleRebuild();
    void watchScreen(QScreen* screen);
    static std::unique_ptr<TrashStateMonitor> makeTrashMonitor(const TrashVolumes* volumes);
    static std::unique_ptr<TrashOperations> makeTrashOperations(std::unique_ptr<FileTrash> fileTrash,
                                                                const TrashVolumes* volumes);
    std::optional<DockSizing> firstDockSizing() const;
    std::function<std::optional<QIcon>(const QString&)> stackArtworkProvider() const;
    std::unique_ptr<StackArtwork> makeStackArtwork() const;
    // A tile's context menu (app_delegate_entry_menu.cpp): the stack menu of a folder, and the
    // windows of a running application around the item's own entries.
    void fillEntryMenu(const QString& id, QMenu& menu, const DockViewActions& actions);
    void addStackMenu(const DockItem& folder, QMenu& menu, const DockViewActions& actions);
    void addWindowEntries(const DockItem& item, QMenu& menu);

    std::unique_ptr<Workspace> workspace;
    DockPreferences* preferences;
    std::unique_ptr<DesktopAppearance> appearance;
    // Before the model, whose Trash item reads the monitor from the start.
    std::unique_ptr<TrashVolumes> trashVolumes;
    std::unique_ptr<TrashStateMonitor> trashMonitor;
    std::unique_ptr<TrashOperations> trashOperations;
    std::unique_ptr<SystemPinsImporter> importer;
    // Before the model, whose items read their badges from it.
    std::unique_ptr<LauncherEntries> launcherEntries;
    // The stacks' stores come before the model, which asks for folder piles as it builds items.
    std::unique_ptr<StackPreferences> stackSettings;
    std::unique_ptr<FolderAccessStore> folderAccess;
    std::unique_ptr<StackArtwork> artwork;
    std::unique_ptr<DockModel> dockModel;
    std::unique_ptr<SystemDockIntegration> integration;
    std::unique_ptr<DockWindowSystem> windowSystem;
    std::unique_ptr<WindowStacking> windowStacking;
    std::unique_ptr<DockFullScreenState> fullScreen; // before the docks, which read it
    std::vector<std::unique_ptr<DockWindowController>> dockControllers;
    std::unique_ptr<FolderWatcher> folderWatcher;
    std::unique_ptr<StackThumbnailCache> thumbnails;
    CallbackList<QString>::Subscription artworkSubscription;
    QPointer<StackController> stack;
    std::unique_ptr<WindowControl> windowControl;
    std::unique_ptr<WindowManager> windowManager;
    std::unique_ptr<DockWindowAvoidance> windowAvoidance; // owns the reserved band and the corrections
    CallbackList<>::Subscription windowEvents;
    QTimer* windowTimer = nullptr;
    WindowScanner windowScanner;
    bool windowsWatched = false;
    bool windowScanRunning = false;
    bool windowScanPending = false;
    std::vector<DockWindow> minimized;
    AppliedPreferences applied;
    quint64 frames = 0;
    int openMenus = 0;
    bool rebuildPending = false;
    bool launched = false;
    bool terminated = false;
    // Every notifier the wiring joined; dropped first, so nothing calls into a dying delegate.
    std::vector<Subscription> subscriptions;
    std::vector<CallbackList<WorkspaceNotification>::Subscription> trashSubscriptions;
    CallbackList<>::Subscription volumeSubscription;
    std::unique_ptr<HotKey> hotKey;

    QStringList systemDockSettingsCommand;
    std::unique_ptr<LoginItem> loginItem;
    KeyEquivalents* keyEquivalents = nullptr;
    std::unique_ptr<QMenu> statusMenu;
    std::unique_ptr<QMenu> applicationMenu;
    QSystemTrayIcon* statusItem = nullptr;
    std::unique_ptr<SettingsController> settingsWindow;
    QPointer<QMessageBox> openAlert;
};

// The hover label, divider, open menus and badges of `view` as scripts see them.
void fillDecorations(DockSnapshot& snapshot, const DockView& view);

// Which displays get docks: mirrored or overlapping outputs share pixels, so of each group whose
// areas overlap only the first (in the given order) counts. Returns indices into `areas`.
std::vector<std::size_t> distinctDisplayAreas(const std::vector<QRect>& areas);

// The window poll's rule: a new list matters only when its identifiers differ, in order.
bool windowListChanged(const std::vector<DockWindow>& stored, const std::vector<DockWindow>& scanned);

} // namespace wharf
