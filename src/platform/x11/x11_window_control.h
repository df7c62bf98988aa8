#pragma once

#include "platform/window_control.h"
#include "platform/x11/x11_connection.h"

#include <QObject>

#include <memory>
#include <unordered_set>

namespace wharf {

// Other programs' windows on X11 through EWMH: the client list, minimized state from
// _NET_WM_STATE_HIDDEN and WM_STATE, restoring through _NET_ACTIVE_WINDOW (as a pager, with a
// server timestamp), minimizing through WM_CHANGE_STATE. Watches the root window's client list
// and each client's state and names on its own connection.
class X11WindowControl : public QObject, public WindowControl {
    Q_OBJECT
public:
    explicit X11WindowControl(QObject* parent = nullptr);
    ~X11WindowControl() override;

    bool ok() const { return connection_->ok(); }

    std::unique_ptr<WindowReader> makeReader() override;
    std::unique_ptr<WindowMover> makeMover() override;
    Result<bool, WindowControlFailure> isMinimized(std::uint32_t window) override;
    Result<void, WindowControlFailure> activate(std::uint32_t window) override;
    Result<void, WindowControlFailure> minimize(std::uint32_t window) override;
    bool watchesChanges() const override { return connection_->ok(); }

private:
    void handleEvent(const xcb_generic_event_t* event);
    void readClientList();
    void scheduleChanged();
    Result<void, WindowControlFailure> checkExists(std::uint32_t window);
    xcb_timestamp_t serverTime();

    std::unique_ptr<X11Connection> connection_;
    CallbackList<const xcb_generic_event_t*>::Subscription events_;
    std::unordered_set<xcb_window_t> watched_;
    xcb_window_t clock_ = XCB_WINDOW_NONE; // our own window, whose property changes tell the time
    xcb_atom_t clockAtom_ = XCB_ATOM_NONE;
    bool changePending_ = false;
};

} // namespace wharf
