#include "platform/x11/unity_launcher_entries.h"

#include "platform/x11/process_reader.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QLoggingCategory>
#include <QPointer>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

Q_LOGGING_CATEGORY(lcBadges, "wharf.badges")

namespace wharf {

namespace {

const QString unityName = QStringLiteral("com.canonical.Unity");
const QString busName = QStringLiteral("org.freedesktop.DBus");
const QString busPath = QStringLiteral("/org/freedesktop/DBus");

std::optional<qint64> integer(const QVariant& value)
{
    switch (value.metaType().id()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::UChar: return value.toLongLong();
    case QMetaType::ULongLong: {
        const qulonglong v = value.toULongLong();
        return v > qulonglong(std::numeric_limits<qint64>::max()) ? std::numeric_limits<qint64>::max() : qint64(v);
    }
    default: return std::nullopt;
    }
}

std::optional<double> number(const QVariant& value)
{
    if (value.metaType().id() == QMetaType::Double) {
        const double v = value.toDouble();
        return std::isfinite(v) ? std::optional(v) : std::nullopt;
    }
    if (const auto v = integer(value))
        return double(*v);
    return std::nullopt;
}

std::optional<bool> flag(const QVariant& value)
{
    return value.metaType().id() == QMetaType::Bool ? std::optional(value.toBool()) : std::nullopt;
}

// An a{sv} argument of a received message; none when the argument is anything else.
std::optional<QVariantMap> propertyMap(const QVariant& argument)
{
    if (argument.metaType() != QMetaType::fromType<QDBusArgument>())
        return std::nullopt;
    const auto dbus = argument.value<QDBusArgument>();
    if (dbus.currentSignature() != QLatin1String("a{sv}"))
        return std::nullopt;
    return qdbus_cast<QVariantMap>(dbus);
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

} // namespace

UnityLauncherEntries::UnityLauncherEntries(QDBusConnection connection) : bus(std::move(connection))
{
    if (!bus.isConnected())
        return;
    bus.connect(QString(), QString(), interfaceName, QStringLiteral("Update"), this,
                SLOT(updated(QDBusMessage)));
    // libunity publishes again whenever this name appears: programs started before the dock
    // show their badges without waiting for their next change.
    if (!bus.interface()->registerService(unityName, QDBusConnectionInterface::DontQueueService,
                                          QDBusConnectionInterface::AllowReplacement))
        qCDebug(lcBadges, "%s is owned by another program", qPrintable(unityName));
}

UnityLauncherEntries::~UnityLauncherEntries()
{
    if (!bus.isConnected())
        return;
    bus.disconnect(QString(), QString(), interfaceName, QStringLiteral("Update"), this,
                   SLOT(updated(QDBusMessage)));
    bus.unregisterService(unityName);
}

std::optional<LauncherEntry> UnityLauncherEntries::entry(const QString& desktopID) const
{
    const auto found = entries.constFind(desktopID);
    return found == entries.constEnd() ? std::nullopt : std::optional(*found);
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

bool UnityLauncherEntries::apply(LauncherEntry& entry, const QVariantMap& properties)
{
    const LauncherEntry before = entry;
    for (auto it = properties.constBegin(); it != properties.constEnd(); ++it) {
        const QString& key = it.key();
        const QVariant& value = it.value();
        if (key == QLatin1String("count")) {
            if (const auto v = integer(value))
                entry.count = *v;
        } else if (key == QLatin1String("progress")) {
            if (const auto v = number(value))
                entry.progress = std::clamp(*v, 0.0, 1.0);
        } else if (const auto v = flag(value)) {
            if (key == QLatin1String("count-visible"))
                entry.countVisible = *v;
            else if (key == QLatin1String("progress-visible"))
                entry.progressVisible = *v;
            else if (key == QLatin1String("urgent"))
                entry.urgent = *v;
        }
    }
    return !(entry == before);
}

void UnityLauncherEntries::updated(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    if (arguments.size() != 2 || arguments[0].metaType().id() != QMetaType::QString)
        return;
    if (const auto properties = propertyMap(arguments[1]))
        receive(arguments[0].toString(), *properties);
}

void UnityLauncherEntries::receive(const QString& appURI, const QVariantMap& properties)
{
    const auto id = desktopID(appURI);
    if (!id)
        return;
    auto found = entries.find(*id);
    if (found == entries.end()) {
        if (entries.size() >= maximumEntries)
            return;
        found = entries.insert(*id, LauncherEntry{});
    }
    if (apply(*found, properties))
        changed.notify(*id);
}

void UnityLauncherEntries::query(const std::vector<RunningApplication>& applications)
{
    if (!bus.isConnected() || applications.empty())
        return;
    // Which connection belongs to which program is known only by asking the bus for every
    // connection's process; a program's helper processes count as the program.
    const QDBusMessage list = QDBusMessage::createMethodCall(busName, busPath, busName, QStringLiteral("ListNames"));
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(list), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, applications](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<QStringList> names = *call;
        if (names.isError())
            return;
        for (const QString& name : names.value()) {
            if (name.startsWith(QLatin1Char(':')) && name != bus.baseService())
                queryName(name, applications);
        }
    });
}

void UnityLauncherEntries::queryName(const QString& name, const std::vector<RunningApplication>& applications)
{
    const QDBusMessage pidCall = QDBusMessage::createMethodCall(busName, busPath, busName,
                                                                QStringLiteral("GetConnectionUnixProcessID"))
        << name;
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(pidCall), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, name, applications](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<uint> pid = *call;
        if (pid.isError())
            return;
        const std::vector<pid_t> family = processAndAncestors(pid_t(pid.value()));
        for (const auto& application : applications) {
            if (std::find(family.begin(), family.end(), application.pid) == family.end())
                continue;
            const QString uri = QStringLiteral("application://") + application.desktopID + QStringLiteral(".desktop");
            const QDBusMessage queryCall =
                QDBusMessage::createMethodCall(name, objectPath(uri), interfaceName, QStringLiteral("Query"));
            auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(queryCall), this);
            connect(answer, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* reply) {
                reply->deleteLater();
                const QVariantList arguments = reply->reply().arguments();
                if (arguments.size() != 2 || arguments[0].metaType().id() != QMetaType::QString)
                    return;
                if (const auto properties = propertyMap(arguments[1]))
                    receive(arguments[0].toString(), *properties);
            });
        }
    });
}

} // namespace wharf
