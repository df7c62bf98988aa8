#pragma once

#include "platform/workspace.h"
#include "platform/x11/app_matcher.h"
#include "platform/x11/process_reader.h"
#include "platform/x11/x11_connection.h"

#include <QHash>
#include <QObject>
#include <QTimer>

#include <memory>
#include <unordered_map>

namespace wharf {

// The running desktop on X11 and GIO: client windows grouped into applications and
// matched to desktop entries, actions on them, launching, and every event source
// (X, mounts, installed entries, wake) that tells the model to refresh. Owns all of
// them; nothing outside it calls X or GIO for the model.
class X11Workspace : public QObject, public Workspace {
    Q_OBJECT
public:
    // Connects to $DISPLAY and reads the desktop once. Check ok(); error() says why not.
    explicit X11Workspace(QObject* parent = nullptr);
    ~X11Workspace() override;

    bool ok() const { return error_.isEmpty(); }
    QString error() const { return error_; }
    X11Connection& connection() { return *connection_; }
    // Problems found in the rules files, one line each.
    QStringList ruleErrors() const { return ruleErrors_; }

    // Re-reads whatever changed since the last scan; runs by itself after events.
    void scan();
    // Forgets every cached window and process and reads them all again.
    void rescanAll();
    // Reads the installed desktop entries again and matches every window anew.
    void reloadEntries();

    std::vector<RunningApplicationRef> runningApplications() const override { return applications_; }
    pid_t currentProcessIdentifier() const override;
    QIcon iconForFile(const QString& path) const override;
    QString displayName(const QString& path) const override;
    std::optional<QString> bundleIdentifier(const QString& path) const override;
    std::optional<QString> fileManagerLocation() const override;
    std::optional<QString> webBrowserLocation() const override;
    QString ownBundleLocation() const override;
    bool activate(const RunningApplication& app, QString* error = nullptr) override;
    bool hide(const RunningApplication& app, QString* error = nullptr) override;
    bool unhide(const RunningApplication& app, QString* error = nullptr) override;
    bool terminate(const RunningApplication& app, QString* error = nullptr) override;
    bool launchApplication(const QString& entryPath, const QStringList& uris = {},
                           QString* error = nullptr) override;
    bool openLocation(const QString& path, QString* error = nullptr) override;
    void watchLocations(const QStringList& paths) override;

    // For GIO callbacks.
    void noteMountsChanged(bool mounted);
    void noteEntriesChanged();
    void noteWake();
    void noteLaunched(pid_t pid);

private:
    struct WindowRecord {
        WindowMetadata metadata;
        bool identityDirty = true;  // class, pid, application ids
        bool stateDirty = true;     // type, state, WM_STATE
        bool iconDirty = true;
        bool needsMatch = true;
        bool regularType = true;
        bool skipTaskbar = false;
        bool hidden = false;
        quint64 focusSequence = 0;  // when it was last the active window
        QString groupKey;
        QString entryId;
        QStringList wmCommand;      // WM_COMMAND, for clients that give no pid
    };
    struct GioSources;

    void handleEvent(const xcb_generic_event_t* event);
    void scheduleScan();
    void flushNotifications();
    void readClientList();
    void readActiveWindow();
    void readWindowProperties();
    void matchWindows();
    void rebuildApplications();
    void rebuildIndex();
    QIcon windowIcon(xcb_get_property_cookie_t cookie);
    QIcon entryIcon(const DesktopEntryRecord& entry) const;
    std::vector<xcb_window_t> windowsOf(const RunningApplication& app, QString* error) const;
    std::vector<xcb_window_t> stackingOrder();
    void sendStartupNotification(const QString& id, const DesktopEntryRecord& entry);
    void sendStartupMessage(const QString& text);
    void completeStartups();

    std::unique_ptr<X11Connection> connection_;
    std::unique_ptr<GioSources> gio_;
    CallbackList<const xcb_generic_event_t*>::Subscription events_;
    CallbackList<>::Subscription lostSubscription_;
    QString error_;
    QStringList ruleErrors_;
    MatchRules rules_;
    DesktopEntryIndex index_;
    std::unordered_map<xcb_window_t, WindowRecord> windows_;
    std::vector<xcb_window_t> clientList_;
    std::unordered_map<pid_t, ProcessInfo> processes_;
    xcb_window_t activeWindow_ = XCB_WINDOW_NONE;
    quint64 focusCounter_ = 0;
    bool clientListDirty_ = true;
    bool activeDirty_ = true;
    bool indexDirty_ = false;
    std::vector<RunningApplicationRef> applications_;
    QHash<QString, QIcon> appIcons_;              // group key -> icon, reused so identity stays
    QTimer scanTimer_;
    // Notifications gathered since the last flush; one goes out per event-loop turn.
    bool pendingMount_ = false;
    bool pendingUnmount_ = false;
    bool pendingWake_ = false;
    QStringList watchedLocations_;
    std::optional<WorkspaceNotification> pendingApplicationChange_;
    xcb_window_t startupWindow_ = XCB_WINDOW_NONE;
    quint32 launchCounter_ = 0;
    QHash<QString, QString> pendingStartups_;     // entry id -> startup id not yet completed
};

} // namespace wharf
