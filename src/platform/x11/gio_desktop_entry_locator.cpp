#include "platform/x11/gio_desktop_entry_locator.h"

#include <gio/gdesktopappinfo.h>

namespace wharf {

std::optional<QString> GioDesktopEntryLocator::entryLocation(const QString& desktopId) const
{
    if (desktopId.isEmpty())
        return std::nullopt;
    g_autoptr(GDesktopAppInfo) info = g_desktop_app_info_new(desktopId.toUtf8().constData());
    if (!info)
        return std::nullopt;
    const char* file = g_desktop_app_info_get_filename(info);
    if (!file)
        return std::nullopt;
    return QString::fromUtf8(file);
}

} // namespace wharf
