#include <gio/gio.h>

#include "platform/x11/gio_folder_watcher.h"

#include <QFile>

namespace wharf {

namespace {

class GioFolderWatch : public FolderWatch {
public:
    GioFolderWatch(GFileMonitor* monitor, std::function<void()> onChange)
        : monitor(monitor), onChange(std::move(onChange))
    {
        handler = g_signal_connect(monitor, "changed", G_CALLBACK(&GioFolderWatch::changed), this);
    }
    ~GioFolderWatch() override
    {
        g_signal_handler_disconnect(monitor, handler);
        g_file_monitor_cancel(monitor);
        g_object_unref(monitor);
    }
    GioFolderWatch(const GioFolderWatch&) = delete;
    GioFolderWatch& operator=(const GioFolderWatch&) = delete;

private:
    static void changed(GFileMonitor*, GFile*, GFile*, GFileMonitorEvent event, gpointer self)
    {
        // A write shows as several "changed" events and then one "changes done": count the latter.
        if (event == G_FILE_MONITOR_EVENT_CHANGED)
            return;
        static_cast<GioFolderWatch*>(self)->onChange();
    }

    GFileMonitor* monitor;
    std::function<void()> onChange;
    gulong handler = 0;
};

} // namespace

std::unique_ptr<FolderWatch> GioFolderWatcher::watch(const QString& folder, std::function<void()> onChange)
{
    GFile* file = g_file_new_for_path(QFile::encodeName(folder).constData());
    GFileMonitor* monitor =
        g_file_monitor_directory(file, G_FILE_MONITOR_WATCH_MOVES, nullptr, nullptr);
    g_object_unref(file);
    if (!monitor)
        return nullptr;
    return std::make_unique<GioFolderWatch>(monitor, std::move(onChange));
}

} // namespace wharf
