#include "platform/x11/unity_launcher_entries.h"

#include "platform/x11/process_reader.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QLoggingCategory>
#include <QTimer>

#include <algorithm>
#include <mutex>

Q_LOGGING_CATEGORY(lcBadges, "wharf.badges")

namespace wharf {

namespace {

const QString unityName = QStringLiteral("com.canonical.Unity");
const QString busName = QStringLiteral("org.freedesktop.DBus");
const QString busPath = QStringLiteral("/org/freedesktop/DBus");

QString uriOf(const QString& desktopID)
{
    return QStringLiteral("application://") + desktopID + QStringLiteral(".desktop");
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

// What the thread that reads the bus and the main thread share: the watched applications'
// entries, and whether the main thread has been told of a change.
struct UnityLauncherEntries::Inbox {
    struct Slot {
        LauncherEntry entry;
        bool published = false;
    };

    mutable std::mutex lock;
    QHash<QString, Slot> byURI; // the watched applications
    bool dirty = false;         // changed since the main thread last heard
    bool posted = false;        // the main thread has been woken, or waits out a frame
    UnityLauncherEntries* owner = nullptr;

    // Any thread.
    void receive(const QString& uri, const LauncherEntryChanges& changes)
    {
        const std::lock_guard guard(lock);
        const auto found = byURI.find(uri);
        if (found == byURI.end())
            return;
        found->published = true;
        if (!apply(found->entry, changes))
            return;
        dirty = true;
        if (posted || !owner)
            return;
        posted = true;
        QMetaObject::invokeMethod(owner, &UnityLauncherEntries::deliver, Qt::QueuedConnection);
    }
};

UnityLauncherEntries::UnityLauncherEntries(QDBusConnection connection)
    : bus(std::move(connection)), inbox(std::make_shared<Inbox>()), frameTimer(new QTimer(this))
{
    inbox->owner = this;
    frameTimer->setSingleShot(true);
    connect(frameTimer, &QTimer::timeout, this, &UnityLauncherEntries::frameEnded);
    if (!bus.isConnected())
        return;
    receiver = std::make_unique<LauncherEntryReceiver>(
        [inbox = inbox](const QString& uri, const LauncherEntryChanges& changes) { inbox->receive(uri, changes); });
    // libunity publishes again whenever this name appears: programs started before the dock
    // show their badges without waiting for their next change.
    if (!bus.interface()->registerService(unityName, QDBusConnectionInterface::DontQueueService,
                                          QDBusConnectionInterface::AllowReplacement))
        qCDebug(lcBadges, "%s is owned by another program", qPrintable(unityName));
}

UnityLauncherEntries::~UnityLauncherEntries()
{
    {
        const std::lock_guard guard(inbox->lock);
        inbox->owner = nullptr;
    }
    // Its connection's rules end with it.
    receiver.reset();
    if (bus.isConnected())
        bus.unregisterService(unityName);
}

std::optional<LauncherEntry> UnityLauncherEntries::entry(const QString& desktopID) const
{
    const std::lock_guard guard(inbox->lock);
    const auto found = inbox->byURI.constFind(uriOf(desktopID));
    if (found == inbox->byURI.constEnd() || !found->published)
        return std::nullopt;
    return found->entry;
}

void UnityLauncherEntries::deliver()
{
    {
        const std::lock_guard guard(inbox->lock);
        inbox->dirty = false;
    }
    frameTimer->start(busyFrames >= floodAfterFrames ? floodPeriodMs : framePeriodMs);
    changed.notify();
}

void UnityLauncherEntries::frameEnded()
{
    {
        const std::lock_guard guard(inbox->lock);
        if (!inbox->dirty) {
            inbox->posted = false;
            busyFrames = 0;
            return;
        }
    }
    ++busyFrames;
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

bool UnityLauncherEntries::apply(LauncherEntry& entry, const LauncherEntryChanges& changes)
{
    const LauncherEntry before = entry;
    entry.count = changes.count.value_or(entry.count);
    entry.countVisible = changes.countVisible.value_or(entry.countVisible);
    entry.progress = changes.progress.value_or(entry.progress);
    entry.progressVisible = changes.progressVisible.value_or(entry.progressVisible);
    entry.urgent = changes.urgent.value_or(entry.urgent);
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
            listen(id, true);
        // A new process of the application may be the one that publishes.
        if (!pids.empty()
            && (before == watched.end()
                || !std::includes(before->second.begin(), before->second.end(), pids.begin(), pids.end())))
            ask.push_back({id, pids});
    }
    for (const auto& [id, pids] : watched) {
        if (!next.count(id))
            listen(id, false);
    }
    watched = std::move(next);
    if (ask.empty() || !receiver)
        return;
    // Asked once the bus sends their updates: a change made while the answer travels is not lost.
    // Runs before the receiver ends, which is before this object does.
    receiver->afterRules([this, ask = std::move(ask)] {
        QMetaObject::invokeMethod(this, [this, ask] { query(ask); }, Qt::QueuedConnection);
    });
}

void UnityLauncherEntries::listen(const QString& desktopID, bool on)
{
    const QString uri = uriOf(desktopID);
    {
        const std::lock_guard guard(inbox->lock);
        if (on)
            inbox->byURI.insert(uri, {});
        else
            inbox->byURI.remove(uri);
    }
    if (receiver)
        receiver->listen(uri, on);
}

void UnityLauncherEntries::query(const std::vector<Application>& applications)
{
    if (!receiver || !bus.isConnected() || applications.empty())
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

void UnityLauncherEntries::queryName(const QString& name, const std::vector<Application>& applications)
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
            if (std::none_of(application.pids.begin(), application.pids.end(), [&](pid_t p) {
                    return std::find(family.begin(), family.end(), p) != family.end();
                }))
                continue;
            receiver->query(name, objectPath(uriOf(application.desktopID)));
        }
    });
}

} // namespace wharf
