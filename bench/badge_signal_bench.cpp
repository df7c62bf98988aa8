// Badge signals against a running Wharf (started by bench/badge_bench.sh, which passes its pid):
// the time from an Update signal to the first frame drawn after it, and the CPU and frame rate
// of the dock while applications send 1,000 badge signals a second.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QElapsedTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <map>
#include <unistd.h>
#include <vector>

namespace {

long ticksOf(const QString& statPath)
{
    QFile stat(statPath);
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = stat.readAll().split(')').last().trimmed().split(' ');
    // utime and stime are fields 14 and 15; after the ')' the list starts at field 3.
    return fields.size() > 12 ? fields[11].toLong() + fields[12].toLong() : 0;
}

long cpuTicks(qint64 pid) { return ticksOf(QStringLiteral("/proc/%1/stat").arg(pid)); }

// CPU nanoseconds by thread name (the scheduler's count, finer than the 10 ms ticks): which thread
// pays for the receiving, which for the drawing.
std::map<QString, qint64> threadNanoseconds(qint64 pid)
{
    std::map<QString, qint64> spent;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    for (const QString& tid : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks + QLatin1Char('/') + tid + QStringLiteral("/comm"));
        QFile schedstat(tasks + QLatin1Char('/') + tid + QStringLiteral("/schedstat"));
        if (comm.open(QIODevice::ReadOnly) && schedstat.open(QIODevice::ReadOnly))
            spent[QString::fromUtf8(comm.readAll().trimmed())] += schedstat.readAll().split(' ').first().toLongLong();
    }
    return spent;
}

void sendUpdate(QDBusConnection& bus, const QString& uri, qlonglong count)
{
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/bench"),
                                                     QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                                     QStringLiteral("Update"));
    signal << uri << QVariantMap{{QStringLiteral("count"), count}, {QStringLiteral("count-visible"), true}};
    bus.send(signal);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: badge_signal_bench WHARF_PID\n");
        return 2;
    }
    const qint64 pid = QByteArray(argv[1]).toLongLong();
    QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusInterface wharf(QStringLiteral("com.tamberly.Wharf"), QStringLiteral("/com/tamberly/Wharf"),
                         QStringLiteral("com.tamberly.Wharf"), bus);
    const auto frames = [&] { return QDBusReply<qulonglong>(wharf.call(QStringLiteral("FramesRendered"))).value(); };

    // The running application with a desktop entry: the tile the badges go to.
    QString uri;
    for (int i = 0; i < 200 && uri.isEmpty(); ++i) {
        const QDBusReply<QString> items = wharf.call(QStringLiteral("Items"));
        for (const QJsonValue& item : QJsonDocument::fromJson(items.value().toUtf8()).array()) {
            const QJsonObject o = item.toObject();
            if (!o[QStringLiteral("pid")].isNull() && o[QStringLiteral("id")].toString().endsWith(QLatin1String(".desktop")))
                uri = QStringLiteral("application://") + QFileInfo(o[QStringLiteral("id")].toString()).fileName();
        }
        QThread::msleep(50);
    }
    if (uri.isEmpty()) {
        std::fprintf(stderr, "no running application with a desktop entry in the dock\n");
        return 1;
    }

    std::printf("== signal to frame (%s)\n", qPrintable(uri));
    std::vector<double> latencies;
    for (int i = 1; i <= 30; ++i) {
        QThread::msleep(100); // the dock is idle again
        const qulonglong before = frames();
        QElapsedTimer clock;
        clock.start();
        sendUpdate(bus, uri, i);
        while (frames() == before && clock.elapsed() < 1000) {
        }
        latencies.push_back(clock.nsecsElapsed() / 1e6);
    }
    std::sort(latencies.begin(), latencies.end());
    std::printf("median %.1f ms, p90 %.1f ms, max %.1f ms (one frame is 16.7 ms)\n", latencies[latencies.size() / 2],
                latencies[latencies.size() * 9 / 10], latencies.back());

    const double hz = double(sysconf(_SC_CLK_TCK));
    const int seconds = 5;
    QThread::msleep(300);
    long ticks = cpuTicks(pid);
    qulonglong drawn = frames();
    QThread::sleep(seconds);
    std::printf("== idle: CPU %.2f %%, %.1f frames/s\n", 100.0 * (cpuTicks(pid) - ticks) / hz / seconds,
                double(frames() - drawn) / seconds);

    // An application with no tile costs only the receiving; the dock's own application also redraws.
    for (const QString& target : {QStringLiteral("application://no-such-tile.desktop"), uri}) {
        std::printf("== flood: 1,000 badge signals a second for %d s to %s\n", seconds, qPrintable(target));
        ticks = cpuTicks(pid);
        const auto threadsBefore = threadNanoseconds(pid);
        drawn = frames();
        QElapsedTimer clock;
        clock.start();
        qlonglong sent = 0;
        while (clock.elapsed() < seconds * 1000) {
            // Ten every 10 ms, each a new count.
            // Two-digit counts, shown as sent.
            for (int k = 0; k < 10; ++k)
                sendUpdate(bus, target, 10 + ++sent % 90);
            bus.send(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                    QStringLiteral("/org/freedesktop/DBus"),
                                                    QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")));
            QThread::msleep(10);
        }
        const double elapsed = clock.elapsed() / 1000.0;
        QThread::msleep(200);
        std::printf("%lld signals in %.1f s: Wharf CPU %.2f %%, %.1f frames/s\n", sent, elapsed,
                    100.0 * (cpuTicks(pid) - ticks) / hz / elapsed, double(frames() - drawn) / elapsed);
        qint64 all = 0;
        for (const auto& [name, after] : threadNanoseconds(pid)) {
            const auto before = threadsBefore.find(name);
            const qint64 spent = after - (before == threadsBefore.end() ? 0 : before->second);
            all += spent;
            if (spent > 0)
                std::printf("  thread %s: %.2f %%\n", qPrintable(name), 100.0 * spent / 1e9 / elapsed);
        }
        std::printf("  all threads: %.2f %%\n", 100.0 * all / 1e9 / elapsed);
        if (target == uri) {
            // However the flood was thinned, its last value is what the tile shows.
            QString shown;
            const QDBusReply<QString> docks = wharf.call(QStringLiteral("Docks"));
            for (const QJsonValue& dock : QJsonDocument::fromJson(docks.value().toUtf8()).array()) {
                for (const QJsonValue& badge : dock[QStringLiteral("badges")].toArray())
                    shown += (shown.isEmpty() ? QString() : QStringLiteral(", ")) + badge[QStringLiteral("label")].toString();
            }
            std::printf("  last count sent %lld, its tile in each dock shows \"%s\"\n", 10 + sent % 90, qPrintable(shown));
        }
    }
    return 0;
}
