#pragma once

#include <QString>

#include <cstdint>
#include <sys/types.h>

namespace wharf {

// One window of another program, as the window list reports it.
struct DockWindow {
    std::uint32_t id = 0;   // X11 window id
    QString title;
    pid_t pid = 0;
    QString appName;
    bool isMinimized = false;

    bool operator==(const DockWindow&) const = default;
};

} // namespace wharf
