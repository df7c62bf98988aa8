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

// The applications' launcher entries, by desktop-file id ("org.gnome.Calculator"). Only the
// applications the dock shows are listened to; entries arrive as events, nothing is polled.
class LauncherEntries {
public:
    virtual ~LauncherEntries() = default;

    // The entry `desktopID` published last; none when it published nothing, or is not watched.
    virtual std::optional<LauncherEntry> entry(const QString& desktopID) const = 0;

    struct Application {
        QString desktopID;
        std::vector<pid_t> pids; // its processes with windows; none: not running
    };
    // The applications whose entries the dock wants; the entries of all others are dropped and
    // their updates never received. A running application new to the list, or newly running, is
    // asked for its current entry: programs that published before their tile appeared are seen
    // without waiting for their next change.
    virtual void watch(const std::vector<Application>& applications) = 0;

    // Some entries changed: at once after a quiet spell, then at most once a frame however fast
    // applications send.
    CallbackList<> changed;
};

} // namespace wharf
