#pragma once

#include "platform/x11/x11_connection.h"

#include <QImage>

#include <vector>

namespace wharf {

// Reads the icons other clients give their windows: _NET_WM_ICON, else the ICCCM
// WM_HINTS icon pixmap and mask that old X clients set. All windows at once, in as
// few round trips as the protocol allows.
class X11IconReader {
public:
    explicit X11IconReader(X11Connection& connection) : connection_(connection) {}

    // One image per window, best for `side` pixels; null where the window has no icon.
    std::vector<QImage> read(const std::vector<xcb_window_t>& windows, int side);

private:
    X11Connection& connection_;
};

} // namespace wharf
