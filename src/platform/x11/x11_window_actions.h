#pragma once

#include "platform/result.h"
#include "platform/running_application.h"
#include "platform/x11/x11_connection.h"
#include "platform/x11/x11_window_tracker.h"

namespace wharf {

// Activating, hiding, restoring and closing an application's windows, asked of the
// window manager the EWMH/ICCCM way.
class X11WindowActions {
public:
    X11WindowActions(X11Connection& connection, const X11WindowTracker& tracker);

    // `time` is the user event's X time; 0 takes the server's current time (never 0 on the wire).
    Status activate(const RunningApplication& app, xcb_timestamp_t time);
    Status hide(const RunningApplication& app);
    Status unhide(const RunningApplication& app);
    Status terminate(const RunningApplication& app);

private:
    Result<std::vector<X11WindowTracker::WindowState>> windowsOf(const RunningApplication& app) const;
    std::vector<xcb_window_t> stackingOrder();
    void requestActive(xcb_window_t window, xcb_timestamp_t time);
    xcb_timestamp_t timeOf(xcb_timestamp_t eventTime);
    Status sent();

    X11Connection& connection_;
    const X11WindowTracker& tracker_;
};

} // namespace wharf
