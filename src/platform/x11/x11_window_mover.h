#pragma once

#include "platform/window_mover.h"
#include "platform/x11/x11_connection.h"

#include <memory>
#include <unordered_set>

namespace wharf {

// Moves client windows on X11 on a connection of its own (made in start(), on the calling thread):
// PropertyNotify and ConfigureNotify on every client, frames from _NET_FRAME_EXTENTS, the stacking
// list for what is shown, the pointer's button mask, and _NET_MOVERESIZE_WINDOW to move.
class X11WindowMover : public WindowMover {
public:
    X11WindowMover() = default;
    ~X11WindowMover() override;

    bool start() override;
    std::vector<MovableWindow> visibleWindows() override;
    bool leftButtonDown() override;
    bool move(std::uint32_t window, const QRectF& frame) override;
    std::optional<QRectF> frame(std::uint32_t window) override;

private:
    struct Extents {
        int left = 0, right = 0, top = 0, bottom = 0;
    };
    void handleEvent(const xcb_generic_event_t* event);
    void readClientList();
    Extents extents(std::uint32_t window);

    std::unique_ptr<X11Connection> connection_;
    CallbackList<const xcb_generic_event_t*>::Subscription events_;
    std::unordered_set<xcb_window_t> watched_;
};

} // namespace wharf
