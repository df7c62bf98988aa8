#pragma once

#include <QIcon>
#include <QString>

#include <cstdint>

namespace wharf {

// One window of another program, as the window list reports it.
struct DockWindow {
    std::uint32_t id = 0;   // X11 window id
    QString title;
    QString appKey;         // its program's RunningApplication::key; empty when no running program claims it
    QString appName;
    bool isMinimized = false;
    QIcon icon{};           // the window's own icon (_NET_WM_ICON); null when it has none

    bool operator==(const DockWindow& other) const
    {
        return id == other.id && title == other.title && appKey == other.appKey && appName == other.appName
            && isMinimized == other.isMinimized && icon.cacheKey() == other.icon.cacheKey();
    }
};

} // namespace wharf
