#include "platform/x11/launcher_entry_receiver.h"

#include <QLoggingCategory>

#include <dbus/dbus.h>

#include <algorithm>
#include <chrono>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

Q_DECLARE_LOGGING_CATEGORY(lcBadges)

namespace wharf {

namespace {

const char* const interfaceName = "com.canonical.Unity.LauncherEntry";
const char* const busName = "org.freedesktop.DBus";
constexpr std::size_t maxUnansweredQueries = 64;

struct ConnectionCloser {
    void operator()(DBusConnection* connection) const
    {
        dbus_connection_close(connection);
        dbus_connection_unref(connection);
    }
};
using ConnectionPtr = std::unique_ptr<DBusConnection, ConnectionCloser>;

struct MessageUnref {
    void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<DBusMessage, MessageUnref>;

struct ErrorScope {
    DBusError error;
    ErrorScope() { dbus_error_init(&error); }
    ~ErrorScope() { dbus_error_free(&error); }
};

// A rule's value in single quotes; a quote inside closes the value, is escaped, and reopens it.
QByteArray quoted(const QString& value)
{
    QByteArray text = value.toUtf8();
    text.replace('\'', "'\\''");
    return '\'' + text + '\'';
}

std::optional<qint64> integer(DBusMessageIter* value)
{
    DBusBasicValue v;
    switch (dbus_message_iter_get_arg_type(value)) {
    case DBUS_TYPE_BYTE: dbus_message_iter_get_basic(value, &v); return v.byt;
    case DBUS_TYPE_INT16: dbus_message_iter_get_basic(value, &v); return v.i16;
    case DBUS_TYPE_UINT16: dbus_message_iter_get_basic(value, &v); return v.u16;
    case DBUS_TYPE_INT32: dbus_message_iter_get_basic(value, &v); return v.i32;
    case DBUS_TYPE_UINT32: dbus_message_iter_get_basic(value, &v); return v.u32;
    case DBUS_TYPE_INT64: dbus_message_iter_get_basic(value, &v); return v.i64;
    case DBUS_TYPE_UINT64:
        dbus_message_iter_get_basic(value, &v);
        return qint64(std::min<dbus_uint64_t>(v.u64, std::numeric_limits<qint64>::max()));
    default: return std::nullopt;
    }
}

std::optional<double> number(DBusMessageIter* value)
{
    if (dbus_message_iter_get_arg_type(value) == DBUS_TYPE_DOUBLE) {
        double v = 0;
        dbus_message_iter_get_basic(value, &v);
        return std::isfinite(v) ? std::optional(v) : std::nullopt;
    }
    if (const auto v = integer(value))
        return double(*v);
    return std::nullopt;
}

std::optional<bool> flag(DBusMessageIter* value)
{
    if (dbus_message_iter_get_arg_type(value) != DBUS_TYPE_BOOLEAN)
        return std::nullopt;
    dbus_bool_t v = false;
    dbus_message_iter_get_basic(value, &v);
    return bool(v);
}

} // namespace

struct LauncherEntryReceiver::Filter {
    static DBusHandlerResult run(DBusConnection*, DBusMessage* message, void* self)
    {
        return static_cast<LauncherEntryReceiver*>(self)->handle(message) ? DBUS_HANDLER_RESULT_HANDLED
                                                                          : DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }
};

LauncherEntryReceiver::LauncherEntryReceiver(Received receivedCallback)
    : received(std::move(receivedCallback)), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!wake.valid()) {
        qCWarning(lcBadges, "No eventfd (%s): badge updates are not received", std::strerror(errno));
        return;
    }
    reader = std::thread([this] { run(); });
}

LauncherEntryReceiver::~LauncherEntryReceiver()
{
    if (!reader.joinable())
        return;
    {
        const std::lock_guard guard(lock);
        stopping = true;
    }
    const quint64 one = 1;
    [[maybe_unused]] const auto written = ::write(wake.get(), &one, sizeof one);
    reader.join();
}

void LauncherEntryReceiver::post(Request request)
{
    {
        const std::lock_guard guard(lock);
        requests.push_back(std::move(request));
    }
    const quint64 one = 1;
    [[maybe_unused]] const auto written = ::write(wake.get(), &one, sizeof one);
}

void LauncherEntryReceiver::listen(const QString& appURI, bool on)
{
    if (!reader.joinable())
        return;
    post({on ? Request::Kind::addRule : Request::Kind::removeRule,
          QByteArrayLiteral("type='signal',interface='") + interfaceName + QByteArrayLiteral("',member='Update',arg0=")
              + quoted(appURI),
          {}, {}});
}

void LauncherEntryReceiver::afterRules(std::function<void()> done)
{
    if (!reader.joinable()) {
        done();
        return;
    }
    post({Request::Kind::done, {}, {}, std::move(done)});
}

void LauncherEntryReceiver::query(const QString& busName, const QString& objectPath)
{
    if (reader.joinable())
        post({Request::Kind::query, objectPath.toUtf8(), busName.toUtf8(), {}});
}

std::optional<std::pair<QString, LauncherEntryChanges>> LauncherEntryReceiver::parse(DBusMessage* message)
{
    const bool update = dbus_message_is_signal(message, interfaceName, "Update");
    const bool answer = dbus_message_get_type(message) == DBUS_MESSAGE_TYPE_METHOD_RETURN;
    if (!(update || answer) || !dbus_message_has_signature(message, "sa{sv}"))
        return std::nullopt;
    DBusMessageIter arguments;
    dbus_message_iter_init(message, &arguments);
    const char* uri = nullptr;
    dbus_message_iter_get_basic(&arguments, &uri);
    dbus_message_iter_next(&arguments);

    LauncherEntryChanges changes;
    DBusMessageIter properties;
    dbus_message_iter_recurse(&arguments, &properties);
    for (; dbus_message_iter_get_arg_type(&properties) == DBUS_TYPE_DICT_ENTRY; dbus_message_iter_next(&properties)) {
        DBusMessageIter entry;
        dbus_message_iter_recurse(&properties, &entry);
        const char* key = nullptr;
        dbus_message_iter_get_basic(&entry, &key);
        dbus_message_iter_next(&entry);
        DBusMessageIter value;
        dbus_message_iter_recurse(&entry, &value);
        if (!std::strcmp(key, "count")) {
            if (const auto v = integer(&value))
                changes.count = *v;
        } else if (!std::strcmp(key, "progress")) {
            if (const auto v = number(&value))
                changes.progress = std::clamp(*v, 0.0, 1.0);
        } else if (!std::strcmp(key, "count-visible")) {
            changes.countVisible = flag(&value);
        } else if (!std::strcmp(key, "progress-visible")) {
            changes.progressVisible = flag(&value);
        } else if (!std::strcmp(key, "urgent")) {
            changes.urgent = flag(&value);
        }
    }
    return std::pair(QString::fromUtf8(uri), changes);
}

bool LauncherEntryReceiver::handle(DBusMessage* message)
{
    switch (dbus_message_get_type(message)) {
    case DBUS_MESSAGE_TYPE_ERROR:
    case DBUS_MESSAGE_TYPE_METHOD_RETURN: {
        const quint32 replyTo = dbus_message_get_reply_serial(message);
        if (const auto asked = std::find(queries.begin(), queries.end(), replyTo); asked != queries.end()) {
            queries.erase(asked);
            // An application with nothing to show may answer with an error.
            if (const auto answer = parse(message))
                received(answer->first, answer->second);
            return true;
        }
        if (!dbus_message_has_sender(message, busName))
            return true; // a query given up on
        if (dbus_message_get_type(message) == DBUS_MESSAGE_TYPE_ERROR)
            qCWarning(lcBadges, "The bus refused a badge rule: %s", dbus_message_get_error_name(message));
        // Everything else asked on this connection is a rule, and the bus answers them in order.
        lastAnswered = std::max(lastAnswered, replyTo);
        const auto ready = std::stable_partition(waiting.begin(), waiting.end(),
                                                 [&](const auto& w) { return w.first > lastAnswered; });
        std::vector<std::function<void()>> done;
        for (auto it = ready; it != waiting.end(); ++it)
            done.push_back(std::move(it->second));
        waiting.erase(ready, waiting.end());
        for (const auto& callback : done)
            callback();
        return true;
    }
    case DBUS_MESSAGE_TYPE_SIGNAL:
        if (const auto update = parse(message)) {
            received(update->first, update->second);
            return true;
        }
        return false;
    default: return false;
    }
}

void LauncherEntryReceiver::run()
{
    pthread_setname_np(pthread_self(), "wharf-badges");
    ErrorScope failure;
    ConnectionPtr bus(dbus_bus_get_private(DBUS_BUS_SESSION, &failure.error));
    int busFd = -1;
    if (bus) {
        dbus_connection_set_exit_on_disconnect(bus.get(), false);
        dbus_connection_add_filter(bus.get(), &Filter::run, this, nullptr);
        dbus_connection_get_unix_fd(bus.get(), &busFd);
    } else {
        qCWarning(lcBadges, "No session bus for badges: %s", failure.error.message);
    }
    quint32 lastSent = 0;
    constexpr std::chrono::milliseconds gatherPeriod{16};
    auto lastRead = std::chrono::steady_clock::time_point();
    for (;;) {
        std::vector<Request> batch;
        {
            const std::lock_guard guard(lock);
            if (stopping)
                break;
            batch.swap(requests);
        }
        for (auto& request : batch) {
            if (request.kind == Request::Kind::done) {
                if (!bus || lastSent <= lastAnswered)
                    request.done();
                else
                    waiting.emplace_back(lastSent, std::move(request.done));
                continue;
            }
            if (!bus)
                continue;
            const bool query = request.kind == Request::Kind::query;
            const char* text = request.text.constData();
            const MessagePtr call(
                query ? dbus_message_new_method_call(request.destination.constData(), text, interfaceName, "Query")
                      : dbus_message_new_method_call(busName, "/org/freedesktop/DBus", busName,
                                                     request.kind == Request::Kind::addRule ? "AddMatch" : "RemoveMatch"));
            dbus_uint32_t serial = 0;
            if (!call || (!query && !dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID))
                || !dbus_connection_send(bus.get(), call.get(), &serial))
                continue;
            if (!query) {
                lastSent = serial;
                continue;
            }
            // A program that never answers is not waited for without end.
            if (queries.size() >= maxUnansweredQueries)
                queries.erase(queries.begin());
            queries.push_back(serial);
        }

        pollfd fds[2] = {{wake.get(), POLLIN, 0}, {busFd, POLLIN, 0}};
        if (bus && dbus_connection_has_messages_to_send(bus.get()))
            fds[1].events |= POLLOUT;
        if (::poll(fds, bus ? 2 : 1, -1) < 0) {
            if (errno == EINTR)
                continue;
            qCWarning(lcBadges, "Badge updates stop: poll failed (%s)", std::strerror(errno));
            break;
        }
        if (fds[0].revents & POLLIN) {
            quint64 count = 0;
            [[maybe_unused]] const auto read = ::read(wake.get(), &count, sizeof count);
        }
        if (!bus || !fds[1].revents)
            continue;
        // Everything the socket holds: libdbus reads a little at a time.
        bool open = true;
        pollfd more{busFd, POLLIN, 0};
        do {
            open = dbus_connection_read_write(bus.get(), 0);
            while (dbus_connection_dispatch(bus.get()) == DBUS_DISPATCH_DATA_REMAINS) {
            }
        } while (open && ::poll(&more, 1, 0) > 0 && (more.revents & POLLIN));
        if (!open) {
            qCWarning(lcBadges, "The session bus went away: badge updates stop");
            bus.reset();
            for (auto& [serial, done] : std::exchange(waiting, {}))
                done();
            continue;
        }
        // A stream of updates gathers for a frame and is read in one go, instead of waking
        // this thread for each; the first update after a quiet spell is read at once. Sending
        // rules is no stream.
        if (!(fds[1].revents & POLLIN))
            continue;
        const auto now = std::chrono::steady_clock::now();
        const bool streaming = now - lastRead < gatherPeriod;
        lastRead = now;
        if (streaming) {
            pollfd stop{wake.get(), POLLIN, 0};
            ::poll(&stop, 1, int(gatherPeriod.count()));
        }
    }
    if (bus)
        dbus_connection_remove_filter(bus.get(), &Filter::run, this);
}

} // namespace wharf
