// What the user waits for when using the dock's items, over the real running dock (inside a private
// session):
//   scripts/session.sh build/bench/operations_bench build/wharf [rounds=30]
//   activate -> _NET_ACTIVE_WINDOW   a D-Bus Activate of a running program's tile until the window
//                                    manager reports its window active (two programs, alternately)
//   file in Trash -> full tile       a file (with its record) landing in the home Trash until Items()
//                                    shows the Trash tile full; emptied between rounds
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

namespace {

void report(const char* name, std::vector<double> ms)
{
    if (ms.empty()) {
        std::printf("%-34s no samples\n", name);
        return;
    }
    std::sort(ms.begin(), ms.end());
    const size_t n = ms.size();
    const double median = n % 2 ? ms[n / 2] : (ms[n / 2 - 1] + ms[n / 2]) / 2;
    std::printf("%-34s n=%zu  median %7.2f ms  p90 %7.2f ms  worst %7.2f ms\n", name, n, median,
                ms[std::min(n - 1, n * 9 / 10)], ms.back());
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs, int pollUs = 500)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QThread::usleep(pollUs);
    }
    return true;
}

// The root window's _NET_ACTIVE_WINDOW, read on our own connection.
struct ActiveWindow {
    ActiveWindow()
    {
        c = xcb_connect(nullptr, nullptr);
        root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        const char name[] = "_NET_ACTIVE_WINDOW";
        auto* reply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr);
        atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        std::free(reply);
    }
    ~ActiveWindow() { xcb_disconnect(c); }
    xcb_window_t read() const
    {
        auto* reply = xcb_get_property_reply(c, xcb_get_property(c, 0, root, atom, XCB_ATOM_WINDOW, 0, 1), nullptr);
        xcb_window_t window = XCB_WINDOW_NONE;
        if (reply && xcb_get_property_value_length(reply) == 4)
            window = *static_cast<xcb_window_t*>(xcb_get_property_value(reply));
        std::free(reply);
        return window;
    }
    xcb_connection_t* c;
    xcb_window_t root = XCB_WINDOW_NONE;
    xcb_atom_t atom = XCB_ATOM_NONE;
};

QJsonArray items(QDBusInterface& wharf)
{
    const QDBusReply<QString> reply = wharf.call(QStringLiteral("Items"));
    return QJsonDocument::fromJson(reply.value().toUtf8()).array();
}

// The id of the tile whose process is `pid`.
QString itemOf(QDBusInterface& wharf, qint64 pid)
{
    for (const QJsonValue& item : items(wharf)) {
        if (item[QStringLiteral("pid")].toInteger() == pid)
            return item[QStringLiteral("id")].toString();
    }
    return {};
}

bool trashFull(QDBusInterface& wharf)
{
    for (const QJsonValue& item : items(wharf)) {
        if (item[QStringLiteral("kind")].toString() == QStringLiteral("trash"))
            return item[QStringLiteral("full")].toBool();
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2 || qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::fprintf(stderr, "usage: scripts/session.sh %s path/to/wharf [rounds=30]\n", argv[0]);
        return 2;
    }
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 30;

    // Two programs of their own tiles that take the focus: xterm (with its desktop entry) and the
    // tests' band client (without one).
    QProcess terminal;
    QProcess clock;
    terminal.start(QStringLiteral("xterm"), {QStringLiteral("-geometry"), QStringLiteral("40x10+100+100")});
    clock.start(QStringLiteral(BAND_CLIENT), {QStringLiteral("600"), QStringLiteral("100"), QStringLiteral("200"),
                                              QStringLiteral("150")});
    QProcess wharfProcess;
    wharfProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    wharfProcess.start(QString::fromLocal8Bit(argv[1]), {});
    QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusInterface wharf(QStringLiteral("com.tamberly.Wharf"), QStringLiteral("/com/tamberly/Wharf"),
                         QStringLiteral("com.tamberly.Wharf"), bus);
    QString terminalID;
    QString clockID;
    const bool up = waitFor(
        [&] {
            terminalID = itemOf(wharf, terminal.processId());
            clockID = itemOf(wharf, clock.processId());
            return !terminalID.isEmpty() && !clockID.isEmpty();
        },
        20000, 20000);
    if (!up) {
        std::fprintf(stderr, "the dock did not show both programs\n");
        return 1;
    }

    ActiveWindow active;
    std::vector<double> activation;
    for (int i = 0; i < rounds * 2; ++i) {
        const QString& id = i % 2 ? terminalID : clockID;
        const xcb_window_t before = active.read();
        QElapsedTimer timer;
        timer.start();
        const QDBusReply<bool> reply = wharf.call(QStringLiteral("Activate"), id);
        if (!reply.isValid() || !reply.value()) {
            std::fprintf(stderr, "Activate(%s) failed\n", qPrintable(id));
            return 1;
        }
        if (waitFor([&] { return active.read() != before && active.read() != XCB_WINDOW_NONE; }, 5000, 200))
            activation.push_back(double(timer.nsecsElapsed()) / 1e6);
    }

    const QString home = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Trash");
    QDir().mkpath(home + QStringLiteral("/files"));
    QDir().mkpath(home + QStringLiteral("/info"));
    std::vector<double> trash;
    for (int i = 0; i < rounds; ++i) {
        const QString name = QStringLiteral("bench-%1.txt").arg(i);
        QFile info(home + QStringLiteral("/info/") + name + QStringLiteral(".trashinfo"));
        info.open(QIODevice::WriteOnly);
        info.write("[Trash Info]\nPath=/tmp/bench.txt\nDeletionDate=2024-01-01T00:00:00\n");
        info.close();
        QElapsedTimer timer;
        timer.start();
        QFile file(home + QStringLiteral("/files/") + name);
        file.open(QIODevice::WriteOnly);
        file.close();
        if (waitFor([&] { return trashFull(wharf); }, 5000))
            trash.push_back(double(timer.nsecsElapsed()) / 1e6);
        wharf.call(QStringLiteral("EmptyTrash"));
        waitFor([&] { return !trashFull(wharf); }, 5000);
    }

    report("activate -> _NET_ACTIVE_WINDOW", activation);
    report("file in Trash -> full tile", trash);
    wharf.call(QStringLiteral("Quit"));
    wharfProcess.waitForFinished(10000);
    terminal.kill();
    clock.kill();
    terminal.waitForFinished();
    clock.waitForFinished();
    return 0;
}
