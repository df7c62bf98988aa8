#include "trash/trash_state_monitor.h"

#include "trash/trash_directories.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QHash>
#include <QLoggingCategory>
#include <QSet>
#include <QTimer>

#include <map>

Q_LOGGING_CATEGORY(lcTrashState, "wharf.trash-state", QtInfoMsg)

namespace wharf {

// Everything here except the constructor runs on the monitor's thread.
class TrashObservationWorker {
public:
    TrashObservationWorker(TrashStateMonitor::Options options, std::function<void(TrashState, QString)> receive)
        : options(std::move(options)), receive(std::move(receive))
    {
    }

    void start()
    {
        coalesce = new QTimer(&context);
        coalesce->setSingleShot(true);
        coalesce->setInterval(options.coalescing);
        QObject::connect(coalesce, &QTimer::timeout, &context, [this] {
            pending = false;
            if (!stopped)
                scan();
        });
        poll = new QTimer(&context);
        poll->setTimerType(Qt::CoarseTimer); // leeway, so the system can batch the wake-ups
        poll->setInterval(options.pollInterval);
        QObject::connect(poll, &QTimer::timeout, &context, [this] { schedule(); });
        watcher = new QFileSystemWatcher(&context);
        const auto changed = [this](const QString& path) { watchFired(path); };
        QObject::connect(watcher, &QFileSystemWatcher::directoryChanged, &context, changed);
        QObject::connect(watcher, &QFileSystemWatcher::fileChanged, &context, changed);
        schedule();
    }

    void schedule()
    {
        if (stopped || pending)
            return;
        pending = true;
        coalesce->start();
    }

    void stop(QThread* home)
    {
        stopped = true;
        // The children go with the thread's event loop; the context goes back to be deleted there.
        const QObjectList children = context.children();
        qDeleteAll(children);
        coalesce = poll = nullptr;
        watcher = nullptr;
        watches.clear();
        context.moveToThread(home);
    }

    QObject context;

private:
    void scan()
    {
        TrashState state = TrashState::unknown;
        QString source = QStringLiteral("filesystem unavailable");
        const Result<QStringList> folders = options.directories();
        if (!folders) {
            qCDebug(lcTrashState, "Trash locations: %s", qUtf8Printable(folders.error().message));
            updateWatchers({});
        } else {
            // Watch before listing: a file that lands in between is then seen by one or the other.
            updateWatchers(folders.value());
            state = TrashDirectories::combinedState(folders.value());
            if (state != TrashState::unknown)
                source = QStringLiteral("filesystem");
        }
        receive(state, source);
    }

    void updateWatchers(const QStringList& paths)
    {
        const QSet<QString> wanted(paths.begin(), paths.end());
        for (auto it = watches.begin(); it != watches.end();) {
            if (wanted.contains(it->first)) {
                ++it;
                continue;
            }
            release(it->second);
            it = watches.erase(it);
        }
        for (const QString& path : paths) {
            if (!watches.count(path))
                watches[path] = acquire(path);
        }
        bool unwatched = false;
        for (const auto& [path, target] : watches)
            unwatched = unwatched || target.isEmpty();
        if (unwatched && !poll->isActive())
            poll->start();
        else if (!unwatched && poll->isActive())
            poll->stop();
    }

    // Watches `path`, or its nearest existing parent while it does not exist; "" when it can't.
    QString acquire(const QString& path)
    {
        QString target = path;
        while (!QFileInfo::exists(target)) {
            const QString parent = QFileInfo(target).absolutePath();
            if (parent == target)
                return {};
            target = parent;
        }
        if (options.watchable && !options.watchable(target))
            return {};
        if (refs.value(target) == 0 && !watcher->addPath(target))
            return {};
        ++refs[target];
        return target;
    }

    void release(const QString& target)
    {
        if (target.isEmpty())
            return;
        if (--refs[target] <= 0) {
            refs.remove(target);
            watcher->removePath(target);
        }
    }

    void watchFired(const QString& target)
    {
        // Drop the watches this event concerns; the next scan makes fresh ones, so a folder that
        // was moved away, replaced or created is followed.
        for (auto it = watches.begin(); it != watches.end();) {
            if (it->second == target) {
                release(it->second);
                it = watches.erase(it);
            } else {
                ++it;
            }
        }
        schedule();
    }

    TrashStateMonitor::Options options;
    std::function<void(TrashState, QString)> receive;
    QTimer* coalesce = nullptr;
    QTimer* poll = nullptr;
    QFileSystemWatcher* watcher = nullptr;
    std::map<QString, QString> watches; // Trash folder -> the path actually watched ("" for none)
    QHash<QString, int> refs;           // watched path -> Trash folders sharing it
    bool pending = false;
    bool stopped = false;
};

TrashStateMonitor::TrashStateMonitor(Options options, QObject* parent) : QObject(parent)
{
    thread.setObjectName(QStringLiteral("com.tamberly.Wharf.trash-state"));
    // Results go to the main thread through this object: once it is gone they are dropped.
    worker = std::make_unique<TrashObservationWorker>(std::move(options), [this](TrashState s, QString src) {
        QMetaObject::invokeMethod(this, [this, s, src] { receive(s, src); }, Qt::QueuedConnection);
    });
}

TrashStateMonitor::~TrashStateMonitor()
{
    stop();
}

void TrashStateMonitor::start()
{
    if (thread.isRunning() || !worker)
        return;
    worker->context.moveToThread(&thread);
    thread.start(QThread::LowPriority);
    QMetaObject::invokeMethod(&worker->context, [w = worker.get()] { w->start(); });
}

void TrashStateMonitor::refresh()
{
    if (thread.isRunning())
        QMetaObject::invokeMethod(&worker->context, [w = worker.get()] { w->schedule(); });
}

void TrashStateMonitor::stop()
{
    if (!thread.isRunning())
        return;
    QMetaObject::invokeMethod(&worker->context, [w = worker.get(), home = QThread::currentThread()] { w->stop(home); },
                              Qt::BlockingQueuedConnection);
    thread.quit();
    thread.wait();
    worker.reset();
}

void TrashStateMonitor::receive(TrashState newState, const QString& newSource)
{
    if (newState != state || newSource != source)
        qCInfo(lcTrashState, "Trash state: %s, source: %s", rawValue(newState), qUtf8Printable(newSource));
    const bool changed = newState != state;
    state = newState;
    source = newSource;
    if (changed && onChange)
        onChange(state);
}

} // namespace wharf
