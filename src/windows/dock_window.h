#pragma once

#include <QIcon>
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
    QIcon icon{};           // the window's own icon (_NET_WM_ICON); null when it has none

    bool operator==(const DockWindow& other) const
    {
        return id == other.id && title == other.title && pid == other.pid && appName == other.appName
            && isMinimized == other.isMinimized && icon.cacheKey() == other.icon.cacheKey();
    }
};

} // namespace wharf
