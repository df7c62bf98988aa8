#pragma once

#include "platform/callback_list.h"

#include <QRectF>

#include <cstdint>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace wharf {

// A client window as keeping windows clear of the dock sees it.
struct MovableWindow {
    std::uint32_t id = 0;
    pid_t pid = 0;
    QRectF frame;            // outer frame with the window manager's decorations, global coordinates
    bool isStandard = true;  // a normal window: not a dialog, transient or modal
    bool isMinimized = false;
    bool isFullScreen = false;

    bool operator==(const MovableWindow&) const = default;
};

// Watches and moves other programs' windows. Lives on one worker thread: every call and every
// notification happens there.
class WindowMover {
public:
    virtual ~WindowMover() = default;

    // Connects and starts watching the client windows; false when the window system is out of reach.
    virtual bool start() = 0;
    // The shown windows of task-bar programs (not Wharf's), bottom to top, read in one pass.
    virtual std::vector<MovableWindow> visibleWindows() = 0;
    virtual bool leftButtonDown() = 0;
    // Asks the window manager for this outer frame and waits briefly for it to settle; false when
    // the window is gone.
    virtual bool move(std::uint32_t window, const QRectF& frame) = 0;
    // The outer frame now; none when the window is gone.
    virtual std::optional<QRectF> frame(std::uint32_t window) = 0;

    // A client window appeared, moved, resized or changed state.
    CallbackList<> changed;
};

} // namespace wharf
