#pragma once

#include "platform/workspace.h"
#include "platform/x11/app_matcher.h"
#include "platform/x11/application_grouping.h"
#include "platform/x11/x11_connection.h"

#include <QHash>
#include <QObject>
#include <QTimer>

#include <memory>

namespace wharf {

class GioEventSources;
class GioFileInfo;
class X11IconReader;
class X11Launcher;
class X11WindowActions;
class X11WindowTracker;

// The running desktop on X11 and GIO, composed of the window tracker, the window
// actions, the launcher, file information and the GIO event sources. Turns their
// events into one notification per event-loop turn; nothing outside it calls X or
// GIO for the model.
class X11Workspace : public QObject, public Workspace {
    Q_OBJECT
public:
    // Connects to $DISPLAY and reads the desktop once. Check ok(); error() says why not.
    explicit X11Workspace(QObject* parent = nullptr);
    ~X11Workspace() override;

    bool ok() const { return error_.isEmpty(); }
    QString error() const { return error_; }
    X11Connection& connection() { return *connection_; }

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
    Status activate(const RunningApplication& app, std::uint32_t eventTime = 0) override;
    Status hide(const RunningApplication& app) override;
    Status unhide(const RunningApplication& app) override;
    Status terminate(const RunningApplication& app) override;
    Status launchApplication(const QString& entryPath, const QStringList& uris = {},
                             std::uint32_t eventTime = 0) override;
    Status openLocation(const QString& path, std::uint32_t eventTime = 0) override;
    Status showInFiles(const QString& path) override;
    Status transferFile(const QString& source, const QString& destination, bool copy) override;
    void beep() override;
    Result<QString> writeDesktopEntry(const RunningApplication& app) override;
    void watchLocations(const QStringList& paths) override;

private:
    void handleEvent(const xcb_generic_event_t* event);
    void scheduleScan();
    void flushNotifications();
    void rebuildIndex();
    void rebuildApplications();

    std::unique_ptr<X11Connection> connection_;
    QString error_;
    MatchRules rules_;
    DesktopEntryIndex index_;
    std::unique_ptr<X11WindowTracker> tracker_;
    std::unique_ptr<X11WindowActions> actions_;
    std::unique_ptr<X11IconReader> iconReader_;
    std::unique_ptr<X11Launcher> launcher_;
    std::unique_ptr<GioFileInfo> fileInfo_;
    std::unique_ptr<GioEventSources> gio_;
    CallbackList<const xcb_generic_event_t*>::Subscription events_;
    CallbackList<>::Subscription lostSubscription_;
    bool indexDirty_ = false;
    std::vector<RunningApplicationRef> applications_;
    QHash<QString, QIcon> appIcons_; // group key -> icon, reused so identity stays
    QTimer scanTimer_;
    TurnEvents pending_; // gathered since the last flush; one notification goes out per turn
};

} // namespace wharf
