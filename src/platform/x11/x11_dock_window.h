#pragma once

#include <QString>

namespace wharf {

class X11DockWindow {
public:
    // Whether an X display can be opened; otherwise a sentence saying why in `error`.
    static bool displayReachable(QString* error);
};

} // namespace wharf
