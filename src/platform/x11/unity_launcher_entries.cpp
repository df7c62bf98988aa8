#include "platform/x11/unity_launcher_entries.h"

#include "platform/x11/process_reader.h"

#include <QFile>
#include <QLoggingCategory>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <string>
#include <string_view>

Q_LOGGING_CATEGORY(lcBadges, "wharf.badges")

namespace wharf {

namespace {

const char* const unityName = "com.canonical.Unity";
const char* const busName = "org.freedesktop.DBus";
const char* const busPath = "/org/freedesktop/DBus";

struct GVariantDeleter {
    void operator()(GVariant* v) const { g_variant_unref(v); }
};
using GVariantPtr = std::unique_ptr<GVariant, GVariantDeleter>;

std::string uriOf(const QString& desktopID)
{
    return "application://" + desktopID.toStdString() + ".desktop";
}

std::optional<qint64> integer(GVariant* value)
{
    switch (g_variant_classify(value)) {
    case G_VARIANT_CLASS_BYTE: return g_variant_get_byte(value);
    case G_VARIANT_CLASS_INT16: return g_variant_get_int16(value);
    case G_VARIANT_CLASS_UINT16: return g_variant_get_uint16(value);
    case G_VARIANT_CLASS_INT32: return g_variant_get_int32(value);
    case G_VARIANT_CLASS_UINT32: return g_variant_get_uint32(value);
    case G_VARIANT_CLASS_INT64: return g_variant_get_int64(value);
    case G_VARIANT_CLASS_UINT64: {
        const guint64 v = g_variant_get_uint64(value);
        return v > guint64(std::numeric_limits<qint64>::max()) ? std::numeric_limits<qint64>::max() : qint64(v);
    }
    default: return std::nullopt;
    }
}

std::optional<double> number(GVariant* value)
{
    if (g_variant_classify(value) == G_VARIANT_CLASS_DOUBLE) {
        const double v = g_variant_get_double(value);
        return std::isfinite(v) ? std::optional(v) : std::nullopt;
    }
    if (const auto v = integer(value))
        return double(*v);
    return std::nullopt;
}

std::optional<bool> flag(GVariant* value)
{
    return g_variant_classify(value) == G_VARIANT_CLASS_BOOLEAN ? std::optional(bool(g_variant_get_boolean(value)))
                                                                : std::nullopt;
}

// A helper process (a GApplication's service, a terminal's shell) publishes for its program.
std::vector<pid_t> processAndAncestors(pid_t pid)
{
    std::vector<pid_t> family{pid};
    for (int depth = 0; depth < 8; ++depth) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(family.back()));
        if (!stat.open(QIODevice::ReadOnly))
            break;
        const auto parent = parentFromStat(stat.read(4096));
        if (!parent || *parent <= 1)
            break;
        family.push_back(*parent);
    }
    return family;
}

// A match rule's quoted value: an apostrophe ends the quote, is escaped, and opens it again.
QString quoted(const QString& value)
{
    QString escaped = value;
    escaped.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + escaped + QLatin1Char('\'');
}

} // namespace

// What the receiving thread and the main thread share: the watched applications' entries, and
// whether the main thread has been told of a change.
struct UnityLauncherEntries::Inbox {
    struct Slot {
        LauncherEntry entry;
        bool published = false;
    };

    std::mutex lock;
    std::map<std::string, Slot, std::less<>> byURI; // the watched applications
    bool dirty = false;  // changed since the main thread last heard
    bool posted = false; // the main thread has been woken, or waits out a frame
    UnityLauncherEntries* owner = nullptr;

    // Any thread. Allocates nothing for an application's repeat of what it sent before.
    void receive(std::string_view uri, GVariant* properties)
    {
        const std::lock_guard guard(lock);
        const auto found = byURI.find(uri);
        if (found == byURI.end())
            return;
        found->second.published = true;
        if (!apply(found->second.entry, properties))
            return;
        dirty = true;
        if (posted || !owner)
            return;
        posted = true;
        QMetaObject::invokeMethod(owner, &UnityLauncherEntries::deliver, Qt::QueuedConnection);
    }

    // Runs on GIO's D-Bus thread for every message of the private connection.
    static GDBusMessage* filter(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer data)
    {
        if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_SIGNAL
            || g_strcmp0(g_dbus_message_get_member(message), "Update") != 0
            || g_strcmp0(g_dbus_message_get_interface(message), interfaceName) != 0)
            return message;
        GVariant* body = g_dbus_message_get_body(message);
        if (body && g_variant_is_of_type(body, G_VARIANT_TYPE("(sa{sv})"))) {
            const char* uri = nullptr;
            GVariant* properties = nullptr;
            g_variant_get(body, "(&s@a{sv})", &uri, &properties);
            const GVariantPtr owned(properties);
            (*static_cast<std::shared_ptr<Inbox>*>(data))->receive(uri, properties);
        }
        g_object_unref(message);
        return nullptr;
    }
};

UnityLauncherEntries::UnityLauncherEntries()
    : inbox(std::make_shared<Inbox>()), cancellable(g_cancellable_new()), frameTimer(new QTimer(this))
{
    inbox->owner = this;
    frameTimer->setSingleShot(true);
    frameTimer->setInterval(framePeriodMs);
    connect(frameTimer, &QTimer::timeout, this, &UnityLauncherEntries::frameEnded);

    // A connection of its own: its filter sees only the updates this object asked for.
    GError* error = nullptr;
    const GCharPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &error));
    if (address) {
        bus.reset(g_dbus_connection_new_for_address_sync(
            address.get(),
            GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT
                                 | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error));
    }
    if (!bus) {
        qCWarning(lcBadges, "no session bus, no badges: %s", error ? error->message : "");
        GErrorPtr owned(error);
        return;
    }
    filterID = g_dbus_connection_add_filter(bus.get(), &Inbox::filter,
                                            std::make_unique<std::shared_ptr<Inbox>>(inbox).release(),
                                            [](gpointer data) { delete static_cast<std::shared_ptr<Inbox>*>(data); });
    // libunity publishes again whenever this name appears: programs started before the dock
    // show their badges without waiting for their next change.
    nameID = g_bus_own_name_on_connection(
        bus.get(), unityName,
        GBusNameOwnerFlags(G_BUS_NAME_OWNER_FLAGS_ALLOW_REPLACEMENT | G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE), nullptr,
        nullptr, nullptr, nullptr);
}

UnityLauncherEntries::~UnityLauncherEntries()
{
    {
        const std::lock_guard guard(inbox->lock);
        inbox->owner = nullptr;
    }
    g_cancellable_cancel(cancellable.get());
    if (!bus)
        return;
    g_bus_unown_name(nameID);
    g_dbus_connection_remove_filter(bus.get(), filterID);
    g_dbus_connection_close(bus.get(), nullptr, nullptr, nullptr);
}

std::optional<LauncherEntry> UnityLauncherEntries::entry(const QString& desktopID) const
{
    const std::lock_guard guard(inbox->lock);
    const auto found = inbox->byURI.find(uriOf(desktopID));
    if (found == inbox->byURI.end() || !found->second.published)
        return std::nullopt;
    return found->second.entry;
}

void UnityLauncherEntries::deliver()
{
    {
        const std::lock_guard guard(inbox->lock);
        inbox->dirty = false;
    }
    frameTimer->start();
    changed.notify();
}

void UnityLauncherEntries::frameEnded()
{
    {
        const std::lock_guard guard(inbox->lock);
        if (!inbox->dirty) {
            inbox->posted = false;
            return;
        }
    }
    deliver();
}

std::optional<QString> UnityLauncherEntries::desktopID(const QString& appURI)
{
    static const QString scheme = QStringLiteral("application://");
    static const QString suffix = QStringLiteral(".desktop");
    if (!appURI.startsWith(scheme) || !appURI.endsWith(suffix))
        return std::nullopt;
    const QString id = appURI.mid(scheme.size(), appURI.size() - scheme.size() - suffix.size());
    if (id.isEmpty() || id.contains(QLatin1Char('/')))
        return std::nullopt;
    return id;
}

QString UnityLauncherEntries::objectPath(const QString& appURI)
{
    quint32 hash = 5381;
    for (const char c : appURI.toUtf8())
        hash = hash * 33 + quint32(static_cast<signed char>(c));
    return QStringLiteral("/com/canonical/unity/launcherentry/") + QString::number(hash);
}

bool UnityLauncherEntries::apply(LauncherEntry& entry, GVariant* properties)
{
    if (!properties || !g_variant_is_of_type(properties, G_VARIANT_TYPE_VARDICT))
        return false;
    const LauncherEntry before = entry;
    GVariantIter iter;
    g_variant_iter_init(&iter, properties);
    const char* key = nullptr;
    GVariant* raw = nullptr;
    while (g_variant_iter_next(&iter, "{&sv}", &key, &raw)) {
        const GVariantPtr value(raw);
        const std::string_view name(key);
        if (name == "count") {
            if (const auto v = integer(raw))
                entry.count = *v;
        } else if (name == "progress") {
            if (const auto v = number(raw))
                entry.progress = std::clamp(*v, 0.0, 1.0);
        } else if (const auto v = flag(raw)) {
            if (name == "count-visible")
                entry.countVisible = *v;
            else if (name == "progress-visible")
                entry.progressVisible = *v;
            else if (name == "urgent")
                entry.urgent = *v;
        }
    }
    return !(entry == before);
}

void UnityLauncherEntries::watch(const std::vector<Application>& applications)
{
    std::map<QString, std::vector<pid_t>> next;
    for (const auto& application : applications) {
        if (application.desktopID.isEmpty())
            continue;
        auto& pids = next[application.desktopID];
        pids.insert(pids.end(), application.pids.begin(), application.pids.end());
    }
    std::vector<Application> ask;
    for (auto& [id, pids] : next) {
        std::sort(pids.begin(), pids.end());
        pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
        const auto before = watched.find(id);
        if (before == watched.end())
            match(id, true);
        // A new process of the application may be the one that publishes.
        if (!pids.empty()
            && (before == watched.end() || !std::includes(before->second.begin(), before->second.end(), pids.begin(), pids.end())))
            ask.push_back({id, pids});
    }
    for (const auto& [id, pids] : watched) {
        if (!next.count(id))
            match(id, false);
    }
    watched = std::move(next);
    query(ask);
}

void UnityLauncherEntries::match(const QString& desktopID, bool add)
{
    {
        const std::lock_guard guard(inbox->lock);
        if (add)
            inbox->byURI.try_emplace(uriOf(desktopID));
        else
            inbox->byURI.erase(uriOf(desktopID));
    }
    if (!bus)
        return;
    const QString rule = QStringLiteral("type='signal',interface='%1',member='Update',arg0=%2")
                             .arg(QLatin1String(interfaceName), quoted(QString::fromStdString(uriOf(desktopID))));
    // No reply is waited for; the bus takes a connection's messages in order, so the rule is in
    // place before any query sent after it is answered.
    g_dbus_connection_call(bus.get(), busName, busPath, busName, add ? "AddMatch" : "RemoveMatch",
                           g_variant_new("(s)", rule.toUtf8().constData()), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
                           nullptr, nullptr, nullptr);
}

void UnityLauncherEntries::call(const QString& destination, const QString& path, const char* interface,
                                const char* method, GVariant* parameters, std::function<void(GVariant*)> done)
{
    using Done = std::function<void(GVariant*)>;
    auto handler = std::make_unique<Done>(std::move(done));
    g_dbus_connection_call(
        bus.get(), destination.toUtf8().constData(), path.toUtf8().constData(), interface, method, parameters,
        nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, cancellable.get(),
        [](GObject* source, GAsyncResult* result, gpointer data) {
            const std::unique_ptr<Done> handler(static_cast<Done*>(data));
            GError* error = nullptr;
            const GVariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error));
            const GErrorPtr owned(error);
            // A cancelled call's object is gone.
            if (reply)
                (*handler)(reply.get());
        },
        handler.release());
}

void UnityLauncherEntries::query(const std::vector<Application>& applications)
{
    if (!bus || applications.empty())
        return;
    // Which connection belongs to which program is known only by asking the bus for every
    // connection's process; a program's helper processes count as the program.
    call(QString::fromLatin1(busName), QString::fromLatin1(busPath), busName, "ListNames", nullptr,
         [this, applications](GVariant* reply) {
             if (!g_variant_is_of_type(reply, G_VARIANT_TYPE("(as)")))
                 return;
             const char* own = g_dbus_connection_get_unique_name(bus.get());
             GVariantIter* names = nullptr;
             g_variant_get(reply, "(as)", &names);
             const char* name = nullptr;
             while (g_variant_iter_next(names, "&s", &name)) {
                 if (name[0] == ':' && g_strcmp0(name, own) != 0)
                     queryName(QString::fromUtf8(name), applications);
             }
             g_variant_iter_free(names);
         });
}

void UnityLauncherEntries::queryName(const QString& name, const std::vector<Application>& applications)
{
    call(QString::fromLatin1(busName), QString::fromLatin1(busPath), busName, "GetConnectionUnixProcessID",
         g_variant_new("(s)", name.toUtf8().constData()), [this, name, applications](GVariant* reply) {
             if (!g_variant_is_of_type(reply, G_VARIANT_TYPE("(u)")))
                 return;
             guint32 pid = 0;
             g_variant_get(reply, "(u)", &pid);
             const std::vector<pid_t> family = processAndAncestors(pid_t(pid));
             for (const auto& application : applications) {
                 if (std::none_of(application.pids.begin(), application.pids.end(), [&](pid_t p) {
                         return std::find(family.begin(), family.end(), p) != family.end();
                     }))
                     continue;
                 const std::string uri = uriOf(application.desktopID);
                 call(name, objectPath(QString::fromStdString(uri)), interfaceName, "Query", nullptr,
                      [this](GVariant* answer) {
                          if (!g_variant_is_of_type(answer, G_VARIANT_TYPE("(sa{sv})")))
                              return;
                          const char* published = nullptr;
                          GVariant* properties = nullptr;
                          g_variant_get(answer, "(&s@a{sv})", &published, &properties);
                          const GVariantPtr owned(properties);
                          inbox->receive(published, properties);
                      });
             }
         });
}

} // namespace wharf
