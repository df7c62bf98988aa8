#pragma once

#include "platform/window_stacking.h"
#include "platform/x11/x11_connection.h"

#include <memory>
#include <unordered_set>

namespace wharf {

// The stacking order on X11 from _NET_CLIENT_LIST_STACKING, on a connection of its own: the root
// window's stacking list, active window and current desktop, and each client's _NET_WM_STATE and
// geometry are watched.
class X11WindowStacking final : public WindowStacking {
public:
    X11WindowStacking();
    ~X11WindowStacking() override;

    bool ok() const { return connection_->ok(); }
    std::vector<StackedWindow> stackingOrder() override;

private:
    void handleEvent(const xcb_generic_event_t* event);

    std::unique_ptr<X11Connection> connection_;
    CallbackList<const xcb_generic_event_t*>::Subscription events_;
    std::unordered_set<xcb_window_t> watched_;
};

} // namespace wharf
