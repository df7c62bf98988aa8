#pragma once

#include "platform/callback_list.h"

#include <QRect>

#include <vector>

namespace wharf {

// One shown top-level window of another program.
struct StackedWindow {
    QRect frame;             // with its decorations, in root-window pixels
    bool fullScreen = false; // the window manager shows it full screen

    bool operator==(const StackedWindow&) const = default;
};

// The window manager's stacking order, for telling which displays show a full-screen window.
// Used on the main thread.
class WindowStacking {
public:
    virtual ~WindowStacking() = default;

    // The shown windows of other programs on the current desktop, bottom to top; docks, desktop
    // backgrounds, minimized windows and Wharf's own windows are left out. Empty when unreadable.
    virtual std::vector<StackedWindow> stackingOrder() = 0;

    // The stacking order, the active window or a window's state or geometry changed; not
    // coalesced, so listeners that read the order limit how often they do.
    CallbackList<> changed;
    // The current desktop changed: what is shown changed all at once.
    CallbackList<> desktopChanged;
};

} // namespace wharf
