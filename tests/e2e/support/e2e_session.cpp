#include "e2e_session.h"

#include <QDBusConnectionInterface>
#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <xcb/xcb.h>

#include <atomic>
#include <cstdlib>
#include <csignal>
#include <unistd.h>

namespace wharf::e2e {

namespace {

constexpr auto kWharfBusName = "com.tamberly.Wharf";

// Every child leads its own process group, so teardown also reaches what it spawned.
void startInOwnGroup(QProcess& process)
{
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
}

void killGroup(QProcess& process, int signal)
{
    const qint64 pid = process.processId();
    if (pid > 0) {
        ::kill(-static_cast<pid_t>(pid), signal);
        ::kill(static_cast<pid_t>(pid), signal);
    }
}

// Waits up to `timeoutMs` for `process` to end, then kills its whole group; false when it had to.
bool finish(QProcess& process, int timeoutMs)
{
    if (process.state() == QProcess::NotRunning || process.waitForFinished(timeoutMs))
        return true;
    killGroup(process, SIGKILL);
    process.waitForFinished(2000);
    return false;
}

} // namespace

// scripts/session.sh --hold starts the X server, bus, window manager and compositor, prints the
// session's environment and holds everything until its stdin closes.
E2eSession::E2eSession(E2eOptions options)
    : options_(options), dir_(std::make_unique<QTemporaryDir>(QDir::tempPath() + "/wharf-e2e-XXXXXX"))
{
    if (!dir_->isValid()) {
        error_ = "cannot create a temporary directory";
        return;
    }
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("WHARF_SCREEN", options_.twoMonitors ? "3840x1080x24" : "1920x1080x24");
    env.insert("WHARF_MONITORS", options_.twoMonitors ? "2" : "1");
    env.insert("WHARF_WM", options_.windowManager ? "1" : "0");
    env.insert("WHARF_COMPOSITOR", options_.compositor && options_.compositeExtension ? "1" : "0");
    env.insert("WHARF_COMPOSITE", options_.compositeExtension ? "1" : "0");
    env.insert("WHARF_SESSION_DIR", root());

    session_ = std::make_unique<QProcess>();
    session_->setProcessEnvironment(env);
    session_->setStandardErrorFile(root() + "/session.log");
    startInOwnGroup(*session_);
    session_->start(WHARF_SESSION_SCRIPT, {"--hold"});
    if (!session_->waitForStarted(5000)) {
        error_ = "cannot run " WHARF_SESSION_SCRIPT;
        return;
    }

    QByteArray out;
    const bool ready = waitFor([&] {
        session_->waitForReadyRead(50);
        out += session_->readAllStandardOutput();
        return out.endsWith(QByteArray(2, '\0')) || session_->state() != QProcess::Running;
    }, 30000, 1);
    if (!ready || !out.endsWith(QByteArray(2, '\0'))) {
        error_ = "the session did not start: " + QString::fromLocal8Bit(readFile(root() + "/session.log")).trimmed();
        return;
    }
    out.chop(2);
    for (const QByteArray& entry : out.split('\0')) {
        const qsizetype equals = entry.indexOf('=');
        if (equals > 0)
            env_.insert(QString::fromLocal8Bit(entry.left(equals)), QString::fromLocal8Bit(entry.mid(equals + 1)));
    }
    display_ = env_.value("DISPLAY");
    dbusAddress_ = env_.value("DBUS_SESSION_BUS_ADDRESS");
    if (display_.isEmpty() || dbusAddress_.isEmpty())
        error_ = "the session gave no display or bus address";
}

QString E2eSession::root() const { return dir_->path(); }
QString E2eSession::home() const { return root() + "/home"; }
QString E2eSession::configHome() const { return home() + "/.config"; }
QString E2eSession::dataHome() const { return home() + "/.local/share"; }

QProcess* E2eSession::start(const QString& program, const QStringList& args)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(env_);
    startInOwnGroup(*process);
    process->start(program, args);
    process->waitForStarted(5000);
    children_.push_back(std::move(process));
    return children_.back().get();
}

RunResult E2eSession::run(const QString& program, const QStringList& args, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(env_);
    startInOwnGroup(process);
    process.start(program, args);
    RunResult result;
    if (!process.waitForStarted(5000)) {
        result.err = "could not start " + program;
        return result;
    }
    result.timedOut = !finish(process, timeoutMs);
    result.crashed = process.exitStatus() == QProcess::CrashExit;
    result.exitCode = process.exitCode();
    result.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    result.err = QString::fromLocal8Bit(process.readAllStandardError());
    return result;
}

int E2eSession::stop(QProcess* process, int timeoutMs)
{
    if (!process || process->state() == QProcess::NotRunning)
        return process ? process->exitCode() : -1;
    ::kill(static_cast<pid_t>(process->processId()), SIGTERM);
    finish(*process, timeoutMs);
    return process->exitCode();
}

QProcess* E2eSession::startWharf(const QStringList& args)
{
    QProcess* wharf = start(WHARF_BINARY, args);
    QDBusConnection connection = bus();
    const bool up = waitFor([&] {
        return wharf->state() != QProcess::Running
            || connection.interface()->isServiceRegistered(kWharfBusName).value();
    }, 15000);
    return up && wharf->state() == QProcess::Running ? wharf : nullptr;
}

QString E2eSession::writeDesktopEntry(const QString& id, const QString& name, const QString& exec, const QString& more)
{
    const QString dir = dataHome() + "/applications";
    const QString path = dir + "/" + id + ".desktop";
    writeFile(path, ("[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + exec + "\n" + more).toUtf8());
    run("update-desktop-database", {dir});
    return path;
}

void E2eSession::setDefaultApplication(const QString& mimeType, const QString& desktopId)
{
    const QString path = configHome() + "/mimeapps.list";
    QByteArray contents = readFile(path);
    if (!contents.contains("[Default Applications]"))
        contents.append("[Default Applications]\n");
    contents.append(QString("%1=%2\n").arg(mimeType, desktopId).toUtf8());
    writeFile(path, contents);
}

QString E2eSession::writeScript(const QString& name, const QString& contents)
{
    const QString path = root() + "/bin/" + name;
    writeFile(path, contents.toUtf8());
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                    QFile::ReadGroup | QFile::ExeGroup);
    return path;
}

QString E2eSession::xprop(const QStringList& args)
{
    const RunResult result = run("xprop", args, 5000);
    return result.exitCode == 0 ? result.out : QString();
}

std::vector<quint32> E2eSession::clientWindows(const QString& wmClass)
{
    std::vector<quint32> windows;
    const QString list = xprop({"-root", "_NET_CLIENT_LIST"});
    static const QRegularExpression hex("0x[0-9a-fA-F]+");
    for (auto it = hex.globalMatch(list); it.hasNext();) {
        const QString id = it.next().captured();
        if (xprop({"-id", id, "WM_CLASS"}).contains(wmClass, Qt::CaseInsensitive))
            windows.push_back(id.toUInt(nullptr, 16));
    }
    return windows;
}

bool E2eSession::waitForClientWindow(const QString& wmClass, int timeoutMs)
{
    return waitFor([&] { return !clientWindows(wmClass).empty(); }, timeoutMs, 100);
}

// Straight from the X server: the root window holds what is on screen, composited or not.
// (Much faster than an external screenshot tool, and tests take many.)
QImage E2eSession::screenshot()
{
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(display_.toLatin1().constData(), nullptr), &xcb_disconnect);
    if (xcb_connection_has_error(connection.get()))
        return {};
    // The session's server has one screen.
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
    const int width = screen.width_in_pixels;
    const int height = screen.height_in_pixels;
    const auto cookie =
        xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen.root, 0, 0, width, height, ~0u);
    const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> reply(
        xcb_get_image_reply(connection.get(), cookie, nullptr), &std::free);
    // Depth 24 comes as 32-bit pixels, 0x00RRGGBB in the server's (here the host's) byte order.
    if (!reply || reply->depth != 24 || xcb_get_image_data_length(reply.get()) != width * height * 4)
        return {};
    const QImage view(xcb_get_image_data(reply.get()), width, height, width * 4, QImage::Format_RGB32);
    return view.copy();
}

QDBusConnection E2eSession::bus()
{
    if (busName_.isEmpty()) {
        static std::atomic<int> counter{0};
        busName_ = QString("wharf-e2e-%1").arg(counter++);
    }
    return QDBusConnection::connectToBus(dbusAddress_, busName_);
}

E2eSession::~E2eSession()
{
    for (auto& child : children_)
        killGroup(*child, SIGTERM); // a process that has ended has no pid
    for (auto& child : children_)
        finish(*child, 3000);
    children_.clear();
    if (!busName_.isEmpty())
        QDBusConnection::disconnectFromBus(busName_);
    // Closing its stdin ends the session; it stops the bus, compositor, window manager and X server.
    if (session_ && session_->state() != QProcess::NotRunning) {
        session_->closeWriteChannel();
        finish(*session_, 5000);
    }
    session_.reset();
}

bool waitForLog(QProcess& process, QString& log, const QString& text, int timeoutMs)
{
    return waitFor([&] {
        log += QString::fromUtf8(process.readAllStandardError());
        return log.contains(text);
    }, timeoutMs);
}

quint32 activeWindow(E2eSession& session)
{
    const QString id = session.xprop({"-root", "_NET_ACTIVE_WINDOW"}).section('#', 1).section(',', 0, 0);
    return id.trimmed().toUInt(nullptr, 16);
}

bool isIconic(E2eSession& session, quint32 window)
{
    return session.xprop({"-id", QString::number(window), "WM_STATE"}).contains("Iconic");
}

QStringList openMenus(E2eSession& session, qint64 pid)
{
    const RunResult r =
        session.xdotool({"search", "--all", "--onlyvisible", "--pid", QString::number(pid), "--name", QString()});
    QStringList menus;
    for (const QString& window : r.out.split('\n', Qt::SkipEmptyParts)) {
        if (session.run("xwininfo", {"-id", window}).out.contains("Override Redirect State: yes")
            && !session.xprop({"-id", window, "_NET_WM_WINDOW_TYPE"}).contains("_TOOLTIP"))
            menus << window;
    }
    return menus;
}

} // namespace wharf::e2e
