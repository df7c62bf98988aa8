// GLib first: its headers use `signals` as an identifier.
#include <gio/gio.h>
#include <gio/gunixmounts.h>

#include "platform/x11/gio_trash_volumes.h"

#include <QFile>

namespace wharf {

struct GioTrashVolumes::Monitor {
    GUnixMountMonitor* monitor = nullptr;
    gulong handler = 0;

    static void mountsChanged(GUnixMountMonitor*, gpointer owner)
    {
        static_cast<GioTrashVolumes*>(owner)->changed.notify();
    }

    ~Monitor()
    {
        if (monitor) {
            g_signal_handler_disconnect(monitor, handler);
            g_object_unref(monitor);
        }
    }
};

GioTrashVolumes::GioTrashVolumes() : monitor(std::make_unique<Monitor>())
{
    monitor->monitor = g_unix_mount_monitor_get();
    monitor->handler = g_signal_connect(monitor->monitor, "mounts-changed", G_CALLBACK(&Monitor::mountsChanged), this);
}

GioTrashVolumes::~GioTrashVolumes() = default;

Result<std::vector<MountedVolume>> GioTrashVolumes::mountedVolumes() const
{
    GList* mounts = g_unix_mounts_get(nullptr);
    if (!mounts)
        return Error{QStringLiteral("Mounted Trash locations could not be determined.")};
    std::vector<MountedVolume> out;
    for (GList* it = mounts; it; it = it->next) {
        auto* entry = static_cast<GUnixMountEntry*>(it->data);
        out.push_back({QFile::decodeName(g_unix_mount_get_mount_path(entry)),
                       QString::fromUtf8(g_unix_mount_get_fs_type(entry))});
    }
    g_list_free_full(mounts, reinterpret_cast<GDestroyNotify>(&g_unix_mount_free));
    return out;
}

} // namespace wharf
