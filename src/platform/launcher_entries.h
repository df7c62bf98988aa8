#pragma once

#include "platform/callback_list.h"

#include <QString>
#include <QtGlobal>

#include <optional>
#include <sys/types.h>
#include <vector>

namespace wharf {

// What an application publishes for its dock tile: a count, a progress fraction and a request
// for attention, each shown only while its "visible" flag is on.
struct LauncherEntry {
    qint64 count = 0;
    bool countVisible = false;
    double progress = 0;
    bool progressVisible = false;
    bool urgent = false;

    bool operator==(const LauncherEntry&) const = default;
};

// The applications' launcher entries, by desktop-file id ("org.gnome.Calculator"). Entries arrive
// as events; nothing is polled.
class LauncherEntries {
public:
    virtual ~LauncherEntries() = default;

    // The entry `desktopID` published last; none when it published nothing (or has gone).
    virtual std::optional<LauncherEntry> entry(const QString& desktopID) const = 0;

    struct RunningApplication {
        QString desktopID;
        pid_t pid = 0;
    };
    // Asks these running applications for their current entries: programs that published before
    // the dock started are seen without waiting for their next change.
    virtual void query(const std::vector<RunningApplication>& applications) = 0;

    // The desktop id whose entry changed.
    CallbackList<QString> changed;
};

} // namespace wharf
