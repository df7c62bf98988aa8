#include "e2e_session.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QThread>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
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

bool writeFile(const QString& path, const QByteArray& contents)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(contents) == contents.size();
}

} // namespace

E2eSession::E2eSession(E2eOptions options)
    : options_(options), dir_(std::make_unique<QTemporaryDir>(QDir::tempPath() + "/wharf-e2e-XXXXXX"))
{
    if (!dir_->isValid()) {
        error_ = "cannot create a temporary directory";
        return;
    }
    for (const QString& path : {home(), configHome(), dataHome() + "/applications", cacheHome(), runtimeDir()})
        QDir().mkpath(path);
    QFile::setPermissions(runtimeDir(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    env_ = QProcessEnvironment::systemEnvironment();
    for (const QString& key : env_.keys()) {
        if (key.startsWith("QT_") || key.startsWith("XDG_") || key.startsWith("DBUS_") ||
            key.startsWith("GSETTINGS_") || key == "SESSION_MANAGER" || key == "WAYLAND_DISPLAY" ||
            key == "DESKTOP_AUTOSTART_ID" || key == "GIO_LAUNCHED_DESKTOP_FILE" ||
            key == "GIO_LAUNCHED_DESKTOP_FILE_PID")
            env_.remove(key);
    }
    env_.insert("HOME", home());
    env_.insert("XDG_CONFIG_HOME", configHome());
    env_.insert("XDG_DATA_HOME", dataHome());
    env_.insert("XDG_CACHE_HOME", cacheHome());
    env_.insert("XDG_RUNTIME_DIR", runtimeDir());
    env_.insert("XDG_DATA_DIRS", dataHome() + ":/usr/local/share:/usr/share");
    env_.insert("XDG_CONFIG_DIRS", "/etc/xdg");
    env_.insert("QT_QPA_PLATFORM", "xcb");
    env_.insert("GSETTINGS_BACKEND", "keyfile");
    env_.insert("NO_AT_BRIDGE", "1");
    if (!env_.contains("LANG"))
        env_.insert("LANG", "C.UTF-8");

    if (!startXvfb() || !startBus())
        return;
    if (options_.twoMonitors && !splitMonitors())
        return;
    if (options_.windowManager && !startWindowManager())
        return;
    if (options_.compositor && !startCompositor())
        return;
}

E2eSession::~E2eSession()
{
    stopAll();
}

QString E2eSession::root() const { return dir_->path(); }
QString E2eSession::home() const { return root() + "/home"; }
QString E2eSession::configHome() const { return home() + "/.config"; }
QString E2eSession::dataHome() const { return home() + "/.local/share"; }
QString E2eSession::cacheHome() const { return home() + "/.cache"; }
QString E2eSession::runtimeDir() const { return root() + "/runtime"; }

bool E2eSession::startXvfb()
{
    // Xvfb picks a free display itself and writes its number to -displayfd.
    int fds[2];
    if (::pipe(fds) != 0) {
        error_ = "pipe() failed";
        return false;
    }
    const QSize size = options_.twoMonitors ? QSize(3840, 1080) : options_.screen;
    auto xvfb = std::make_unique<QProcess>();
    xvfb->setProcessEnvironment(env_);
    xvfb->setStandardOutputFile(root() + "/xvfb.log");
    xvfb->setStandardErrorFile(root() + "/xvfb.log", QIODevice::Append);
    const int writeFd = fds[1];
    xvfb->setChildProcessModifier([writeFd] {
        ::setpgid(0, 0);
        ::fcntl(writeFd, F_SETFD, 0);
    });
    xvfb->start("Xvfb", {"-displayfd", QString::number(writeFd), "-screen", "0",
                         QString("%1x%2x24").arg(size.width()).arg(size.height()), "-noreset",
                         "-nolisten", "tcp", "+extension", "RANDR"});
    ::close(fds[1]);
    const bool started = xvfb->waitForStarted(5000);
    infrastructure_.push_back(std::move(xvfb));
    if (!started) {
        ::close(fds[0]);
        error_ = "Xvfb did not start (is the xvfb package installed?)";
        return false;
    }

    QByteArray number;
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired() && !number.endsWith('\n')) {
        pollfd pfd{fds[0], POLLIN, 0};
        if (::poll(&pfd, 1, 100) > 0) {
            char buffer[16];
            const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
            if (n <= 0)
                break;
            number.append(buffer, n);
        }
    }
    ::close(fds[0]);
    number = number.trimmed();
    if (number.isEmpty()) {
        QFile log(root() + "/xvfb.log");
        log.open(QIODevice::ReadOnly);
        error_ = "Xvfb did not report a display: " + QString::fromLocal8Bit(log.readAll());
        return false;
    }
    display_ = ":" + QString::fromLatin1(number);
    env_.insert("DISPLAY", display_);
    return true;
}

bool E2eSession::startBus()
{
    auto bus = std::make_unique<QProcess>();
    bus->setProcessEnvironment(env_);
    startInOwnGroup(*bus);
    bus->start("dbus-daemon", {"--session", "--nofork", "--nosyslog", "--print-address=1"});
    QProcess* raw = bus.get();
    infrastructure_.push_back(std::move(bus));
    if (!raw->waitForStarted(5000) ||
        !waitFor([raw] { return raw->canReadLine() || raw->state() != QProcess::Running; }, 10000)) {
        error_ = "dbus-daemon did not start";
        return false;
    }
    dbusAddress_ = QString::fromLatin1(raw->readLine()).trimmed();
    if (dbusAddress_.isEmpty()) {
        error_ = "dbus-daemon gave no address: " + QString::fromLocal8Bit(raw->readAllStandardError());
        return false;
    }
    env_.insert("DBUS_SESSION_BUS_ADDRESS", dbusAddress_);
    return true;
}

bool E2eSession::rootPropertyPresent(const QString& property)
{
    const QString out = xprop({"-root", property});
    return !out.isEmpty() && !out.contains("not found") && !out.contains("no such atom");
}

bool E2eSession::startWindowManager()
{
    auto wm = std::make_unique<QProcess>();
    wm->setProcessEnvironment(env_);
    wm->setStandardOutputFile(root() + "/openbox.log");
    wm->setStandardErrorFile(root() + "/openbox.log", QIODevice::Append);
    startInOwnGroup(*wm);
    wm->start("openbox", {"--config-file", "/etc/xdg/openbox/rc.xml"});
    const bool started = wm->waitForStarted(5000);
    infrastructure_.push_back(std::move(wm));
    if (!started || !waitFor([this] { return rootPropertyPresent("_NET_SUPPORTING_WM_CHECK"); }, 10000)) {
        error_ = "openbox did not start";
        return false;
    }
    return true;
}

bool E2eSession::startCompositor()
{
    auto cm = std::make_unique<QProcess>();
    cm->setProcessEnvironment(env_);
    cm->setStandardOutputFile(root() + "/xcompmgr.log");
    cm->setStandardErrorFile(root() + "/xcompmgr.log", QIODevice::Append);
    startInOwnGroup(*cm);
    cm->start("xcompmgr", {});
    const bool started = cm->waitForStarted(5000);
    infrastructure_.push_back(std::move(cm));
    if (!started) {
        error_ = "xcompmgr did not start";
        return false;
    }
    // xcompmgr claims _NET_WM_CM_S0 right after it connects; a short settle is enough here
    // because dock code follows the compositor appearing later anyway.
    QThread::msleep(150);
    return true;
}

bool E2eSession::splitMonitors()
{
    const RunResult left = run("xrandr", {"--setmonitor", "LEFT", "1920/508x1080/286+0+0", "screen"});
    const RunResult right = run("xrandr", {"--setmonitor", "RIGHT", "1920/508x1080/286+1920+0", "none"});
    if (left.exitCode != 0 || right.exitCode != 0) {
        error_ = "xrandr --setmonitor failed: " + left.err + right.err;
        return false;
    }
    return true;
}

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
    if (!process.waitForFinished(timeoutMs)) {
        result.timedOut = true;
        killGroup(process, SIGKILL);
        process.waitForFinished(2000);
    }
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
    if (!process->waitForFinished(timeoutMs)) {
        killGroup(*process, SIGKILL);
        process->waitForFinished(2000);
    }
    return process->exitCode();
}

bool E2eSession::processAlive(pid_t pid)
{
    QFile stat(QString("/proc/%1/stat").arg(pid));
    if (pid <= 0 || !stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype end = line.lastIndexOf(')');
    return end >= 0 && end + 2 < line.size() && line.at(end + 2) != 'Z' && line.at(end + 2) != 'X';
}

bool E2eSession::waitFor(const std::function<bool()>& condition, int timeoutMs, int pollMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (true) {
        if (condition())
            return true;
        if (deadline.hasExpired())
            return false;
        if (QCoreApplication::instance())
            QCoreApplication::processEvents(QEventLoop::AllEvents, pollMs);
        QThread::msleep(pollMs);
    }
}

QString E2eSession::wharfBinary()
{
    return QStringLiteral(WHARF_BINARY);
}

QProcess* E2eSession::startWharf(const QStringList& args, int timeoutMs)
{
    QProcess* wharf = start(wharfBinary(), args);
    QDBusConnection connection = bus();
    const bool up = waitFor(
        [&] {
            return wharf->state() != QProcess::Running ||
                   connection.interface()->isServiceRegistered(kWharfBusName).value();
        },
        timeoutMs);
    if (!up || wharf->state() != QProcess::Running)
        return nullptr;
    return wharf;
}

QString E2eSession::writeDesktopEntry(const QString& fileName, const QString& contents)
{
    const QString dir = dataHome() + "/applications";
    const QString path = dir + "/" + fileName;
    writeFile(path, contents.toUtf8());
    run("update-desktop-database", {dir});
    return path;
}

void E2eSession::setDefaultApplication(const QString& mimeType, const QString& desktopId)
{
    const QString path = configHome() + "/mimeapps.list";
    QFile file(path);
    QByteArray contents;
    if (file.open(QIODevice::ReadOnly))
        contents = file.readAll();
    file.close();
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

RunResult E2eSession::xdotool(const QStringList& args)
{
    return run("xdotool", args);
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

QImage E2eSession::screenshot()
{
    const QString path = root() + "/screenshot.png";
    QFile::remove(path);
    run("import", {"-window", "root", path});
    return QImage(path);
}

QDBusConnection E2eSession::bus()
{
    if (busName_.isEmpty()) {
        static std::atomic<int> counter{0};
        busName_ = QString("wharf-e2e-%1").arg(counter++);
    }
    return QDBusConnection::connectToBus(dbusAddress_, busName_);
}

void E2eSession::stopAll()
{
    for (auto& child : children_) {
        if (child->state() != QProcess::NotRunning)
            killGroup(*child, SIGTERM);
    }
    for (auto& child : children_) {
        if (child->state() != QProcess::NotRunning && !child->waitForFinished(3000)) {
            killGroup(*child, SIGKILL);
            child->waitForFinished(2000);
        }
    }
    children_.clear();
    if (!busName_.isEmpty())
        QDBusConnection::disconnectFromBus(busName_);
    // Compositor and window manager before the bus, the X server last.
    for (auto it = infrastructure_.rbegin(); it != infrastructure_.rend(); ++it) {
        QProcess& process = **it;
        if (process.state() == QProcess::NotRunning)
            continue;
        killGroup(process, SIGTERM);
        if (!process.waitForFinished(3000)) {
            killGroup(process, SIGKILL);
            process.waitForFinished(2000);
        }
    }
    infrastructure_.clear();
}

} // namespace wharf::e2e
