#pragma once

#include "platform/running_application.h"
#include "platform/workspace.h"
#include "platform/x11/app_matcher.h"

#include <optional>
#include <vector>

namespace wharf {

// What the window tracker knows about one client window, all that grouping needs.
struct WindowFacts {
    quint32 window = 0;
    QString groupKey;                       // windows with equal keys are one application
    const DesktopEntryRecord* entry = nullptr;
    std::optional<pid_t> pid;
    std::optional<quint64> startTime;       // of the process, in clock ticks after boot
    QString executable;
    bool interpreted = false;               // the executable runs something else (python, wine, java, ...)
    QString wmInstance;
    QString wmClass;
    bool regular = true;                    // a normal window that belongs in a task bar
    bool hidden = false;
    bool urgent = false;                    // the urgency hint, or the window manager's demands-attention state
    quint64 focusSequence = 0;              // when it was last the active window; 0 never
};

// Groups windows into applications, oldest process first; applications without a pid
// follow, by their lowest window id, so the order survives restarts of Wharf and the
// window manager. Icons are left for the caller.
std::vector<RunningApplication> groupApplications(const std::vector<WindowFacts>& windows, quint32 activeWindow);

// The notification a change from `before` to `after` deserves, or none when nothing a
// user can see changed. Launches and quits count most.
std::optional<WorkspaceNotification> applicationChange(const std::vector<RunningApplicationRef>& before,
                                                       const std::vector<RunningApplication>& after);

// Everything that happened in one event-loop turn.
struct TurnEvents {
    bool mounted = false;
    bool unmounted = false;
    bool locationsChanged = false;
    bool woke = false;
    std::optional<WorkspaceNotification> applicationChange;
};

// The one notification of a turn: every kind makes the model refresh; mounts also clear
// its caches and a changed location may need its icon again, so they win.
std::optional<WorkspaceNotification> chooseNotification(const TurnEvents& events);

} // namespace wharf
