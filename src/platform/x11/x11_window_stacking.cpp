#include "platform/x11/x11_window_stacking.h"

#include <algorithm>
#include <unistd.h>

namespace wharf {

namespace {

bool contains(const std::vector<xcb_atom_t>& atoms, xcb_atom_t atom)
{
    return std::find(atoms.begin(), atoms.end(), atom) != atoms.end();
}

} // namespace

X11WindowStacking::X11WindowStacking() : connection_(std::make_unique<X11Connection>())
{
    if (!connection_->ok())
        return;
    events_ = connection_->events.add([this](const xcb_generic_event_t* event) { handleEvent(event); });
    connection_->followClientList(watched_, true);
}

X11WindowStacking::~X11WindowStacking() = default;

void X11WindowStacking::handleEvent(const xcb_generic_event_t* event)
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
        if (notify->atom == ewmh->_NET_CURRENT_DESKTOP) {
            desktopChanged.notify();
        } else if (notify->atom == ewmh->_NET_CLIENT_LIST) {
            connection_->followClientList(watched_, true);
            changed.notify();
        } else if (notify->atom == ewmh->_NET_CLIENT_LIST_STACKING || notify->atom == ewmh->_NET_ACTIVE_WINDOW) {
            changed.notify();
        }
        return;
    }
    if (notify->atom == ewmh->_NET_WM_STATE || notify->atom == connection_->atoms().wmState)
        changed.notify();
}

std::vector<StackedWindow> X11WindowStacking::stackingOrder()
{
    if (!connection_->ok() || connection_->lost())
        return {};
    xcb_connection_t* c = connection_->xcb();
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    const std::vector<xcb_window_t> windows = connection_->rootWindowList(ewmh->_NET_CLIENT_LIST_STACKING);
    struct Cookies {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
        xcb_translate_coordinates_cookie_t origin;
        xcb_get_property_cookie_t pid, type, state, extents;
    };
    std::vector<Cookies> cookies;
    cookies.reserve(windows.size());
    for (xcb_window_t w : windows) {
        cookies.push_back({xcb_get_window_attributes(c, w), xcb_get_geometry(c, w),
                           xcb_translate_coordinates(c, w, connection_->root(), 0, 0),
                           readProperty(c, w, ewmh->_NET_WM_PID, 1), readProperty(c, w, ewmh->_NET_WM_WINDOW_TYPE, 32),
                           readProperty(c, w, ewmh->_NET_WM_STATE, 64), readProperty(c, w, ewmh->_NET_FRAME_EXTENTS, 4)});
    }
    const pid_t self = getpid();
    std::vector<StackedWindow> out;
    for (const Cookies& k : cookies) {
        // Every reply is taken, so none is left queued; a window that vanished answers with errors.
        const auto attributes = xcbReply(xcb_get_window_attributes_reply(c, k.attributes, nullptr));
        const auto geometry = xcbReply(xcb_get_geometry_reply(c, k.geometry, nullptr));
        const auto origin = xcbReply(xcb_translate_coordinates_reply(c, k.origin, nullptr));
        auto reply = [c](xcb_get_property_cookie_t cookie) { return xcbReply(xcb_get_property_reply(c, cookie, nullptr)); };
        const auto pidReply = reply(k.pid), typeReply = reply(k.type), stateReply = reply(k.state),
                   extentsReply = reply(k.extents);
        // Minimized windows and those of other desktops are unmapped.
        if (!attributes || !geometry || !origin || attributes->map_state != XCB_MAP_STATE_VIEWABLE)
            continue;
        const auto pids = values<uint32_t>(pidReply.get());
        if (!pids.empty() && pid_t(pids.front()) == self)
            continue;
        const auto types = values<xcb_atom_t>(typeReply.get());
        if (contains(types, ewmh->_NET_WM_WINDOW_TYPE_DOCK) || contains(types, ewmh->_NET_WM_WINDOW_TYPE_DESKTOP))
            continue;
        const auto states = values<xcb_atom_t>(stateReply.get());
        if (contains(states, ewmh->_NET_WM_STATE_HIDDEN))
            continue;
        auto extents = values<uint32_t>(extentsReply.get()); // left, right, top, bottom
        if (extents.size() != 4)
            extents.assign(4, 0);
        StackedWindow window;
        window.frame = QRect(origin->dst_x - int(extents[0]), origin->dst_y - int(extents[2]),
                             geometry->width + int(extents[0] + extents[1]),
                             geometry->height + int(extents[2] + extents[3]));
        window.fullScreen = contains(states, ewmh->_NET_WM_STATE_FULLSCREEN);
        out.push_back(window);
    }
    return out;
}

} // namespace wharf
