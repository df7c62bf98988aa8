#pragma once

#include "platform/callback_list.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

#include <cstdlib>
#include <memory>
#include <unordered_set>
#include <vector>

class QSocketNotifier;

namespace wharf {

// An xcb reply owned the way xcb wants it freed.
template <typename T>
using XcbReply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
XcbReply<T> xcbReply(T* reply)
{
    return XcbReply<T>(reply, &std::free);
}

// Asks for up to `words` 32-bit words of a property of any type.
inline xcb_get_property_cookie_t readProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t atom,
                                              uint32_t words)
{
    return xcb_get_property(c, 0, window, atom, XCB_GET_PROPERTY_TYPE_ANY, 0, words);
}

// A property's items, when they have the size of T; none for a missing or differently sized property.
template <typename T>
std::vector<T> values(xcb_get_property_reply_t* reply)
{
    if (!reply || reply->format != sizeof(T) * 8)
        return {};
    const auto* data = static_cast<const T*>(xcb_get_property_value(reply));
    return std::vector<T>(data, data + xcb_get_property_value_length(reply) / int(sizeof(T)));
}

// Wharf's own connection to the X server (not Qt's, so it works whatever Qt's
// platform is). Owns the connection, the EWMH helper, the interned atoms and the
// socket watch that hands every event to `events`. When the server goes away it
// says so on stderr, notifies `connectionLost` and ends the Qt event loop.
class X11Connection : public QObject {
    Q_OBJECT
public:
    struct Atoms {
        xcb_atom_t wmState = XCB_ATOM_NONE;
        xcb_atom_t wmChangeState = XCB_ATOM_NONE;
        xcb_atom_t gtkApplicationId = XCB_ATOM_NONE;
        xcb_atom_t kdeDesktopFile = XCB_ATOM_NONE;
        xcb_atom_t startupInfoBegin = XCB_ATOM_NONE;
        xcb_atom_t startupInfo = XCB_ATOM_NONE;
        xcb_atom_t utf8String = XCB_ATOM_NONE;
    };

    // Connects to `display` (empty: $DISPLAY). Check ok(); error() says what failed.
    explicit X11Connection(const QByteArray& display = {}, QObject* parent = nullptr);
    ~X11Connection() override;
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    bool ok() const { return error_.isEmpty(); }
    QString error() const { return error_; }
    QString displayName() const { return displayName_; }

    xcb_connection_t* xcb() const { return connection_; }
    xcb_ewmh_connection_t* ewmh() { return &ewmh_; }
    xcb_window_t root() const { return root_; }
    int screenNumber() const { return screenNumber_; }
    const Atoms& atoms() const { return atoms_; }

    // Adds PropertyChange (and for clients StructureNotify) to our event mask on `window`.
    void watchProperties(xcb_window_t window, bool structure);
    // A window-list property of the root window (_NET_CLIENT_LIST, _NET_CLIENT_LIST_STACKING).
    std::vector<xcb_window_t> rootWindowList(xcb_atom_t property);
    // Reads _NET_CLIENT_LIST and keeps `watched` in step with it: clients new to it get their
    // properties (and with `structure`, their geometry) watched; clients that left are dropped.
    void followClientList(std::unordered_set<xcb_window_t>& watched, bool structure);
    void flush();
    // The X server's current time (a round trip through a property change), for requests that
    // must carry a real timestamp when no user event gave one; XCB_CURRENT_TIME when the server
    // is gone. Events read meanwhile are dispatched as usual.
    xcb_timestamp_t serverTime();
    // True (and reported once) when the server connection is gone.
    bool lost();
    // Reads and dispatches every queued event now.
    void dispatchPending();

    CallbackList<const xcb_generic_event_t*> events;
    CallbackList<> connectionLost;

private:
    void reportLost();

    xcb_connection_t* connection_ = nullptr;
    xcb_ewmh_connection_t ewmh_{};
    bool ewmhReady_ = false;
    xcb_window_t root_ = XCB_WINDOW_NONE;
    xcb_window_t timeWindow_ = XCB_WINDOW_NONE;
    int screenNumber_ = 0;
    Atoms atoms_;
    QString error_;
    QString displayName_;
    QSocketNotifier* notifier_ = nullptr; // child
    bool lostReported_ = false;
};

} // namespace wharf
