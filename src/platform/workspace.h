#pragma once

#include "platform/callback_list.h"
#include "platform/result.h"
#include "platform/running_application.h"

#include <QIcon>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <vector>

namespace wharf {

enum class WorkspaceNotification {
    didLaunchApplication,
    didTerminateApplication,
    didActivateApplication,
    didHideApplication,
    didUnhideApplication,
    didWake,
    didMount,
    didUnmount,
    // A watched location (see watchLocations) or an installed desktop entry changed.
    didChangeLocations,
};

// The desktop as the dock model sees it: running programs, file icons and names,
// and the actions the dock takes on them. One real implementation talks to X11
// and GIO; tests use a double. Everything is called on the main thread.
class Workspace {
public:
    virtual ~Workspace() = default;

    // Running programs in the order the desktop reports them (oldest first).
    virtual std::vector<RunningApplicationRef> runningApplications() const = 0;
    virtual pid_t currentProcessIdentifier() const = 0;

    // File icons and names as the file manager shows them.
    virtual QIcon iconForFile(const QString& path) const = 0;
    virtual QString displayName(const QString& path) const = 0;
    // The desktop-file id of the entry at `path` ("org.gnome.Calculator"); none for other files.
    virtual std::optional<QString> bundleIdentifier(const QString& path) const = 0;

    // The desktop entry of the default file manager (handler of inode/directory), if any.
    virtual std::optional<QString> fileManagerLocation() const = 0;
    // The default web browser's entry (handler of x-scheme-handler/https), if any.
    virtual std::optional<QString> webBrowserLocation() const = 0;
    // Wharf's own location, which is never shown as a pin.
    virtual QString ownBundleLocation() const = 0;

    // Actions; an error says why the desktop refused. `eventTime` is the X server time of the
    // click or key that asked (0 when none: the implementation takes the server's current time).
    // Raises and focuses every window of the program, the one used last on top.
    virtual Status activate(const RunningApplication& app, std::uint32_t eventTime = 0) = 0;
    virtual Status hide(const RunningApplication& app) = 0;
    virtual Status unhide(const RunningApplication& app) = 0;
    virtual Status terminate(const RunningApplication& app) = 0;
    // Starts the desktop entry at `entryPath` (with `uris` as its arguments, if any), with startup
    // notification stamped with `eventTime`.
    virtual Status launchApplication(const QString& entryPath, const QStringList& uris = {},
                                     std::uint32_t eventTime = 0) = 0;
    // Opens a file, folder or URI (trash:///) with its default application.
    virtual Status openLocation(const QString& path, std::uint32_t eventTime = 0) = 0;
    // Shows the file manager with `path` selected (or, failing that, its folder open).
    virtual Status showInFiles(const QString& path) = 0;
    // Copies or moves one file or folder (with its contents) to `destination`, which must not
    // exist yet. Safe to call off the main thread.
    virtual Status transferFile(const QString& source, const QString& destination, bool copy) = 0;
    // The desktop's alert sound.
    virtual void beep() = 0;
    // Writes a desktop entry for a program that has none (its command line, its window icon and
    // class), so it can be pinned and started again; answers the entry's path.
    virtual Result<QString> writeDesktopEntry(const RunningApplication& app) = 0;

    // Watches these files and folders (the pins) and notifies didChangeLocations when one
    // appears, vanishes, is renamed or changes; replaces the previously watched set.
    virtual void watchLocations(const QStringList& paths) = 0;

    // Launch, quit, activate, hide, unhide, wake, mount, unmount and location changes.
    CallbackList<WorkspaceNotification> notifications;
};

} // namespace wharf
