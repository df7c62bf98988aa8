#include "platform/x11/gio_event_sources.h"

#include "platform/x11/gobject_ptr.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QSet>

#include <algorithm>
#include <map>

namespace wharf {

Q_LOGGING_CATEGORY(lcEvents, "wharf.events")

namespace {

QString pathOf(GFile* file)
{
    if (!file)
        return {};
    GCharPtr path(g_file_get_path(file));
    return path ? QString::fromLocal8Bit(path.get()) : QString();
}

} // namespace

struct GioEventSources::Sources {
    Handlers handlers;
    GObjectPtr<GVolumeMonitor> volumes;
    GObjectPtr<GAppInfoMonitor> entries;
    GObjectPtr<GCancellable> cancellable{g_cancellable_new()};
    GObjectPtr<GDBusConnection> systemBus;
    guint sleepSubscription = 0;

    // Each watched folder: the parents of the pins (only events naming a pin count) and
    // the pinned folders themselves (every change inside counts).
    struct Watch {
        GObjectPtr<GFileMonitor> monitor;
        bool parentOfPins = false;
    };
    std::map<QString, Watch> watches;
    QSet<QString> pins;

    static void mountAdded(GVolumeMonitor*, GMount*, gpointer self)
    {
        static_cast<Sources*>(self)->handlers.mountsChanged(true);
    }
    static void mountRemoved(GVolumeMonitor*, GMount*, gpointer self)
    {
        static_cast<Sources*>(self)->handlers.mountsChanged(false);
    }
    static void entriesChanged(GAppInfoMonitor*, gpointer self)
    {
        static_cast<Sources*>(self)->handlers.entriesChanged();
    }
    static void prepareForSleep(GDBusConnection*, const char*, const char*, const char*, const char*,
                                GVariant* parameters, gpointer self)
    {
        gboolean sleeping = TRUE;
        if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(b)")))
            g_variant_get(parameters, "(b)", &sleeping);
        if (!sleeping)
            static_cast<Sources*>(self)->handlers.woke();
    }
    static void systemBusReady(GObject*, GAsyncResult* result, gpointer data)
    {
        GError* rawError = nullptr;
        GDBusConnection* bus = g_bus_get_finish(result, &rawError);
        const GErrorPtr error(rawError);
        if (!bus) {
            // Cancelled means the sources are gone: `data` must not be touched.
            if (error && !g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED))
                qCDebug(lcEvents) << "no system bus, wake notifications off:" << error->message;
            return;
        }
        auto* sources = static_cast<Sources*>(data);
        sources->systemBus.reset(bus);
        sources->sleepSubscription = g_dbus_connection_signal_subscribe(
            bus, "org.freedesktop.login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
            "/org/freedesktop/login1", nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &Sources::prepareForSleep, sources, nullptr);
    }
    static void locationChanged(GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event,
                                gpointer self)
    {
        auto* sources = static_cast<Sources*>(self);
        if (event == G_FILE_MONITOR_EVENT_CHANGES_DONE_HINT || event == G_FILE_MONITOR_EVENT_PRE_UNMOUNT)
            return;
        const auto it = std::find_if(sources->watches.begin(), sources->watches.end(),
                                     [&](const auto& entry) { return entry.second.monitor.get() == monitor; });
        if (it == sources->watches.end())
            return;
        const QString folder = it->first;
        const bool parentOfPins = it->second.parentOfPins;
        const QString named = pathOf(file);
        const QString otherNamed = pathOf(other);
        if (parentOfPins && !sources->pins.contains(named) && !sources->pins.contains(otherNamed))
            return;
        if (event == G_FILE_MONITOR_EVENT_DELETED && named == folder)
            g_file_monitor_cancel(monitor);
        // A pinned folder that comes back needs its own watch again; one that went away
        // must not be polled for.
        for (const QString& pin : {named, otherNamed}) {
            if (pin == folder || !sources->pins.contains(pin))
                continue;
            if (QFileInfo(pin).isDir())
                sources->watch(pin, false);
            else if (const auto own = sources->watches.find(pin); own != sources->watches.end())
                g_file_monitor_cancel(own->second.monitor.get());
        }
        sources->handlers.locationsChanged();
    }

    explicit Sources(Handlers h) : handlers(std::move(h))
    {
        volumes.reset(g_volume_monitor_get());
        g_signal_connect(volumes.get(), "mount-added", G_CALLBACK(&Sources::mountAdded), this);
        g_signal_connect(volumes.get(), "mount-removed", G_CALLBACK(&Sources::mountRemoved), this);
        entries.reset(g_app_info_monitor_get());
        g_signal_connect(entries.get(), "changed", G_CALLBACK(&Sources::entriesChanged), this);
        g_bus_get(G_BUS_TYPE_SYSTEM, cancellable.get(), &Sources::systemBusReady, this);
    }

    void stopWatching()
    {
        for (auto& [path, watch] : watches) {
            g_signal_handlers_disconnect_by_data(watch.monitor.get(), this);
            g_file_monitor_cancel(watch.monitor.get());
        }
        watches.clear();
        pins.clear();
    }

    ~Sources()
    {
        g_cancellable_cancel(cancellable.get());
        stopWatching();
        g_signal_handlers_disconnect_by_data(volumes.get(), this);
        g_signal_handlers_disconnect_by_data(entries.get(), this);
        if (systemBus && sleepSubscription)
            g_dbus_connection_signal_unsubscribe(systemBus.get(), sleepSubscription);
    }

    // Only folders that exist are watched: GIO polls for missing ones, which would wake an idle dock.
    void watch(const QString& folder, bool parentOfPins)
    {
        if (const auto it = watches.find(folder); it != watches.end() && !g_file_monitor_is_cancelled(it->second.monitor.get())) {
            it->second.parentOfPins = it->second.parentOfPins && parentOfPins;
            return;
        }
        if (!QFileInfo(folder).isDir())
            return;
        GObjectPtr<GFile> file(g_file_new_for_path(folder.toLocal8Bit().constData()));
        GError* rawError = nullptr;
        GObjectPtr<GFileMonitor> monitor(
            g_file_monitor_directory(file.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, &rawError));
        const GErrorPtr error(rawError);
        if (!monitor) {
            qCDebug(lcEvents) << "cannot watch" << folder << (error ? error->message : "");
            return;
        }
        g_signal_connect(monitor.get(), "changed", G_CALLBACK(&Sources::locationChanged), this);
        if (const auto old = watches.find(folder); old != watches.end())
            g_signal_handlers_disconnect_by_data(old->second.monitor.get(), this);
        watches[folder] = Watch{std::move(monitor), parentOfPins};
    }
};

GioEventSources::GioEventSources(Handlers handlers) : sources_(std::make_unique<Sources>(std::move(handlers))) {}

GioEventSources::~GioEventSources() = default;

void GioEventSources::watchLocations(const QStringList& paths)
{
    QSet<QString> pins;
    for (const QString& path : paths) {
        if (!path.isEmpty())
            pins.insert(QFileInfo(path).absoluteFilePath());
    }
    // The same pins again (every refresh may say so): the watches already in place stay.
    if (pins == sources_->pins && !sources_->watches.empty())
        return;
    sources_->stopWatching();
    sources_->pins = std::move(pins);
    // Pinned folders first, so that a folder that is both pinned and a pin's parent reports everything.
    for (const QString& pin : std::as_const(sources_->pins))
        sources_->watch(pin, false);
    for (const QString& pin : std::as_const(sources_->pins))
        sources_->watch(QFileInfo(pin).absolutePath(), true);
}

} // namespace wharf
