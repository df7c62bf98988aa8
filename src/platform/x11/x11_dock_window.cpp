#include "platform/x11/x11_dock_window.h"

#include <xcb/xcb.h>

#include <cstdlib>

namespace wharf {

bool X11DockWindow::displayReachable(QString* error)
{
    // Another Qt platform (offscreen, for instance) needs no X display.
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (!platform.isEmpty() && !platform.startsWith("xcb"))
        return true;
    const char* display = std::getenv("DISPLAY");
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool ok = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    if (!ok && error) {
        *error = (display && *display)
            ? QStringLiteral("cannot open the X display \"%1\"; Wharf needs an X11 session.")
                  .arg(QString::fromLocal8Bit(display))
            : QStringLiteral("no X display (DISPLAY is not set); Wharf needs an X11 session.");
    }
    return ok;
}

} // namespace wharf
