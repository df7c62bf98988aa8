#include "platform/x11/x11_window_mover.h"

#include <QLoggingCategory>

#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <chrono>
#include <poll.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcWindowMover, "wharf.WindowAvoidance.x11", QtInfoMsg)

namespace wharf {

namespace {

bool contains(const std::vector<xcb_atom_t>& atoms, xcb_atom_t atom)
{
    return std::find(atoms.begin(), atoms.end(), atom) != atoms.end();
}

bool isConfigureOf(const xcb_generic_event_t* event, xcb_window_t window)
{
    return (event->response_type & 0x7f) == XCB_CONFIGURE_NOTIFY
        && reinterpret_cast<const xcb_configure_notify_event_t*>(event)->window == window;
}

} // namespace

X11WindowMover::~X11WindowMover() = default;

bool X11WindowMover::start()
{
    if (connection_)
        return connection_->ok();
    connection_ = std::make_unique<X11Connection>();
    if (!connection_->ok()) {
        qCWarning(lcWindowMover, "Cannot watch windows: %s", qUtf8Printable(connection_->error()));
        return false;
    }
    events_ = connection_->events.add([this](const xcb_generic_event_t* event) { handleEvent(event); });
    readClientList();
    return true;
}

void X11WindowMover::handleEvent(const xcb_generic_event_t* event)
{
    const uint8_t type = event->response_type & 0x7f;
    if (type == XCB_CONFIGURE_NOTIFY) {
        changed.notify();
        return;
    }
    if (type != XCB_PROPERTY_NOTIFY)
        return;
    const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event);
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    if (notify->window == connection_->root()) {
        if (notify->atom == ewmh->_NET_CLIENT_LIST) {
            readClientList();
            changed.notify();
        }
        return;
    }
    if (notify->atom == ewmh->_NET_WM_STATE || notify->atom == ewmh->_NET_FRAME_EXTENTS
        || notify->atom == connection_->atoms().wmState)
        changed.notify();
}

void X11WindowMover::readClientList()
{
    connection_->followClientList(watched_, true);
}

std::vector<MovableWindow> X11WindowMover::visibleWindows()
{
    if (!connection_ || !connection_->ok() || connection_->lost())
        return {};
    xcb_connection_t* c = connection_->xcb();
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    const std::vector<xcb_window_t> windows = connection_->rootWindowList(ewmh->_NET_CLIENT_LIST_STACKING);
    struct Cookies {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
        xcb_translate_coordinates_cookie_t origin;
        xcb_get_property_cookie_t pid, type, state, transientFor, extents;
    };
    std::vector<Cookies> cookies;
    cookies.reserve(windows.size());
    for (xcb_window_t w : windows) {
        cookies.push_back({xcb_get_window_attributes(c, w), xcb_get_geometry(c, w),
                           xcb_translate_coordinates(c, w, connection_->root(), 0, 0),
                           readProperty(c, w, ewmh->_NET_WM_PID, 1), readProperty(c, w, ewmh->_NET_WM_WINDOW_TYPE, 32),
                           readProperty(c, w, ewmh->_NET_WM_STATE, 64), readProperty(c, w, XCB_ATOM_WM_TRANSIENT_FOR, 1),
                           readProperty(c, w, ewmh->_NET_FRAME_EXTENTS, 4)});
    }
    const pid_t self = getpid();
    std::vector<MovableWindow> out;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const Cookies& k = cookies[i];
        // A window that vanished since the list was read answers with errors: skip it.
        const auto attributes = xcbReply(xcb_get_window_attributes_reply(c, k.attributes, nullptr));
        const auto geometry = xcbReply(xcb_get_geometry_reply(c, k.geometry, nullptr));
        const auto origin = xcbReply(xcb_translate_coordinates_reply(c, k.origin, nullptr));
        auto reply = [c](xcb_get_property_cookie_t cookie) { return xcbReply(xcb_get_property_reply(c, cookie, nullptr)); };
        const auto pidReply = reply(k.pid), typeReply = reply(k.type), stateReply = reply(k.state),
                   transientReply = reply(k.transientFor), extentsReply = reply(k.extents);
        if (!attributes || !geometry || !origin || attributes->map_state != XCB_MAP_STATE_VIEWABLE)
            continue;
        const auto pids = values<uint32_t>(pidReply.get());
        const pid_t pid = pids.empty() ? 0 : pid_t(pids.front());
        if (pid == self)
            continue;
        const auto types = values<xcb_atom_t>(typeReply.get());
        const auto states = values<xcb_atom_t>(stateReply.get());
        const bool normal = types.empty() ? values<xcb_window_t>(transientReply.get()).empty()
                                          : types.front() == ewmh->_NET_WM_WINDOW_TYPE_NORMAL;
        // Only task-bar programs' windows: docks, desktops, panels and menus are never touched.
        const bool taskbar = types.empty() || types.front() == ewmh->_NET_WM_WINDOW_TYPE_NORMAL
            || types.front() == ewmh->_NET_WM_WINDOW_TYPE_DIALOG;
        if (!taskbar || contains(states, ewmh->_NET_WM_STATE_SKIP_TASKBAR))
            continue;
        const auto e = values<uint32_t>(extentsReply.get());
        const Extents ext = e.size() == 4 ? Extents{int(e[0]), int(e[1]), int(e[2]), int(e[3])} : Extents{};
        MovableWindow window;
        window.id = windows[i];
        window.pid = pid;
        window.frame = QRectF(origin->dst_x - ext.left, origin->dst_y - ext.top, geometry->width + ext.left + ext.right,
                              geometry->height + ext.top + ext.bottom);
        window.isStandard = normal && !contains(states, ewmh->_NET_WM_STATE_MODAL);
        window.isMinimized = contains(states, ewmh->_NET_WM_STATE_HIDDEN);
        window.isFullScreen = contains(states, ewmh->_NET_WM_STATE_FULLSCREEN);
        out.push_back(window);
    }
    return out;
}

bool X11WindowMover::leftButtonDown()
{
    if (!connection_ || !connection_->ok())
        return false;
    xcb_connection_t* c = connection_->xcb();
    const auto pointer = xcbReply(xcb_query_pointer_reply(c, xcb_query_pointer(c, connection_->root()), nullptr));
    return pointer && (pointer->mask & XCB_BUTTON_MASK_1);
}

X11WindowMover::Extents X11WindowMover::extents(std::uint32_t window)
{
    xcb_connection_t* c = connection_->xcb();
    const auto reply = xcbReply(
        xcb_get_property_reply(c, readProperty(c, window, connection_->ewmh()->_NET_FRAME_EXTENTS, 4), nullptr));
    const auto e = values<uint32_t>(reply.get());
    return e.size() == 4 ? Extents{int(e[0]), int(e[1]), int(e[2]), int(e[3])} : Extents{};
}

std::optional<QRectF> X11WindowMover::frame(std::uint32_t window)
{
    if (!connection_ || !connection_->ok())
        return std::nullopt;
    xcb_connection_t* c = connection_->xcb();
    xcb_generic_error_t* raw = nullptr;
    const auto geometry = xcbReply(xcb_get_geometry_reply(c, xcb_get_geometry(c, window), &raw));
    XcbReply<xcb_generic_error_t> error(raw, &std::free);
    const auto origin = xcbReply(xcb_translate_coordinates_reply(
        c, xcb_translate_coordinates(c, window, connection_->root(), 0, 0), nullptr));
    if (error || !geometry || !origin) {
        qCDebug(lcWindowMover, "Window 0x%x is gone", window);
        return std::nullopt;
    }
    const Extents e = extents(window);
    return QRectF(origin->dst_x - e.left, origin->dst_y - e.top, geometry->width + e.left + e.right,
                  geometry->height + e.top + e.bottom);
}

bool X11WindowMover::move(std::uint32_t window, const QRectF& target)
{
    if (!connection_ || !connection_->ok())
        return false;
    const std::optional<QRectF> before = frame(window);
    if (!before) {
        qCInfo(lcWindowMover, "Skipped window 0x%x: it closed before it could be moved", window);
        return false;
    }
    const Extents e = extents(window);
    // North-west gravity: x and y place the outer frame; the size is the client's.
    const auto flags = static_cast<xcb_ewmh_moveresize_window_opt_flags_t>(
        XCB_EWMH_MOVERESIZE_WINDOW_X | XCB_EWMH_MOVERESIZE_WINDOW_Y | XCB_EWMH_MOVERESIZE_WINDOW_WIDTH
        | XCB_EWMH_MOVERESIZE_WINDOW_HEIGHT);
    xcb_ewmh_request_moveresize_window(
        connection_->ewmh(), connection_->screenNumber(), window, XCB_GRAVITY_NORTH_WEST,
        XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, flags, uint32_t(std::lround(target.x())), uint32_t(std::lround(target.y())),
        uint32_t(std::max(1L, std::lround(target.width()) - e.left - e.right)),
        uint32_t(std::max(1L, std::lround(target.height()) - e.top - e.bottom)));
    connection_->flush();

    // The window manager answers asynchronously, and a client may push back at once: wait for the
    // window's configure notifications to go quiet before the caller reads the result.
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(300);
    auto quietUntil = deadline;
    std::vector<XcbReply<xcb_generic_event_t>> others;
    xcb_connection_t* c = connection_->xcb();
    for (;;) {
        while (xcb_generic_event_t* raw = xcb_poll_for_event(c)) {
            XcbReply<xcb_generic_event_t> event(raw, &std::free);
            if (isConfigureOf(event.get(), window))
                quietUntil = std::min(deadline, Clock::now() + std::chrono::milliseconds(60));
            else if (event->response_type != 0)
                others.push_back(std::move(event));
        }
        const auto now = Clock::now();
        if (now >= quietUntil || xcb_connection_has_error(c))
            break;
        pollfd fd{xcb_get_file_descriptor(c), POLLIN, 0};
        ::poll(&fd, 1, int(std::chrono::duration_cast<std::chrono::milliseconds>(quietUntil - now).count()) + 1);
    }
    for (const auto& event : others)
        connection_->events.notify(event.get());
    return true;
}

} // namespace wharf
