#pragma once

#include "platform/result.h"
#include "platform/running_application.h"
#include "platform/x11/app_matcher.h"
#include "platform/x11/x11_connection.h"

#include <QHash>
#include <QStringList>

#include <vector>

namespace wharf {

// Starts desktop entries and opens files through GIO, with X startup notification so
// the desktop shows launch feedback; ends that feedback once the program's windows show.
class X11Launcher {
public:
    X11Launcher(X11Connection& connection, const MatchRules& rules);
    ~X11Launcher();
    X11Launcher(const X11Launcher&) = delete;
    X11Launcher& operator=(const X11Launcher&) = delete;

    // `time` stamps the startup notification (0: the server's current time).
    Status launchApplication(const QString& entryPath, const QStringList& uris, xcb_timestamp_t time);
    Status openLocation(const QString& path);
    // Completes the startups of programs that now run.
    void completeStartups(const std::vector<RunningApplicationRef>& running);

private:
    void sendStartupNotification(const QString& id, const DesktopEntryRecord& entry);
    void sendStartupMessage(const QString& text);

    X11Connection& connection_;
    const MatchRules& rules_;
    xcb_window_t startupWindow_ = XCB_WINDOW_NONE;
    quint32 launchCounter_ = 0;
    QHash<QString, QString> pendingStartups_; // entry id -> startup id not yet completed
};

} // namespace wharf
