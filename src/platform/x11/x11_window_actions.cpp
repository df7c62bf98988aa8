#include "platform/x11/x11_window_actions.h"

#include <xcb/xcb_icccm.h>

#include <algorithm>

namespace wharf {

X11WindowActions::X11WindowActions(X11Connection& connection, const X11WindowTracker& tracker)
    : connection_(connection), tracker_(tracker)
{
}

Result<std::vector<X11WindowTracker::WindowState>> X11WindowActions::windowsOf(const RunningApplication& app) const
{
    auto windows = tracker_.windowsOf(app.key);
    if (windows.empty())
        return Error{QStringLiteral("%1 is no longer running").arg(app.localizedName)};
    return windows;
}

std::vector<xcb_window_t> X11WindowActions::stackingOrder()
{
    xcb_ewmh_connection_t* ewmh = connection_.ewmh();
    xcb_ewmh_get_windows_reply_t list{};
    std::vector<xcb_window_t> windows;
    if (xcb_ewmh_get_client_list_stacking_reply(
            ewmh, xcb_ewmh_get_client_list_stacking(ewmh, connection_.screenNumber()), &list, nullptr)) {
        windows.assign(list.windows, list.windows + list.windows_len);
        xcb_ewmh_get_windows_reply_wipe(&list);
    }
    return windows;
}

xcb_timestamp_t X11WindowActions::timeOf(xcb_timestamp_t eventTime)
{
    // Window managers that prevent focus stealing refuse requests stamped with time 0.
    return eventTime != XCB_CURRENT_TIME ? eventTime : connection_.serverTime();
}

void X11WindowActions::requestActive(xcb_window_t window, xcb_timestamp_t time)
{
    // Source 2: a pager or dock asks on the user's behalf, so the request is honoured.
    xcb_ewmh_request_change_active_window(connection_.ewmh(), connection_.screenNumber(), window,
                                          XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, time, tracker_.activeWindow());
}

Status X11WindowActions::sent()
{
    connection_.flush();
    if (connection_.lost())
        return Error{QStringLiteral("lost the connection to the X server on display %1").arg(connection_.displayName())};
    return {};
}

Status X11WindowActions::activate(const RunningApplication& app, xcb_timestamp_t eventTime)
{
    auto found = windowsOf(app);
    if (!found)
        return found.error();
    auto& windows = found.value();
    // Raise in the current stacking order, bottom first, and end on the window used last.
    const std::vector<xcb_window_t> stacking = stackingOrder();
    auto position = [&](xcb_window_t w) { return std::find(stacking.begin(), stacking.end(), w) - stacking.begin(); };
    const quint64 latest = tracker_.latestFocus();
    std::stable_sort(windows.begin(), windows.end(), [&](const auto& a, const auto& b) {
        if (a.focusSequence != b.focusSequence && (a.focusSequence == latest || b.focusSequence == latest))
            return b.focusSequence == latest;
        if (a.focusSequence != b.focusSequence)
            return a.focusSequence < b.focusSequence;
        return position(a.window) < position(b.window);
    });
    const xcb_timestamp_t time = timeOf(eventTime);
    for (const auto& window : windows) {
        if (window.regular)
            requestActive(window.window, time);
    }
    return sent();
}

Status X11WindowActions::hide(const RunningApplication& app)
{
    const auto windows = windowsOf(app);
    if (!windows)
        return windows.error();
    for (const auto& window : windows.value()) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window.window;
        message.type = connection_.atoms().wmChangeState;
        message.data.data32[0] = XCB_ICCCM_WM_STATE_ICONIC;
        xcb_send_event(connection_.xcb(), 0, connection_.root(),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
    }
    return sent();
}

Status X11WindowActions::unhide(const RunningApplication& app)
{
    auto found = windowsOf(app);
    if (!found)
        return found.error();
    auto& windows = found.value();
    std::stable_sort(windows.begin(), windows.end(),
                     [](const auto& a, const auto& b) { return a.focusSequence < b.focusSequence; });
    // Restoring goes through the window manager, which also raises what it restores.
    const xcb_timestamp_t time = timeOf(XCB_CURRENT_TIME);
    for (const auto& window : windows) {
        if (window.hidden)
            requestActive(window.window, time);
    }
    return sent();
}

Status X11WindowActions::terminate(const RunningApplication& app)
{
    const auto windows = windowsOf(app);
    if (!windows)
        return windows.error();
    for (const auto& window : windows.value())
        xcb_ewmh_request_close_window(connection_.ewmh(), connection_.screenNumber(), window.window,
                                      XCB_CURRENT_TIME, XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
    return sent();
}

} // namespace wharf
