#pragma once

#include "support/files.h"
#include "support/wait_for.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace wharf::e2e {

// Polls `condition` (processing Qt events) until it holds or the time is up.
inline bool waitFor(const std::function<bool()>& condition, int timeoutMs = 10000, int pollMs = 25)
{
    return wharf::waitFor(condition, timeoutMs, pollMs);
}

struct E2eOptions {
    bool twoMonitors = false;   // one 3840x1080 screen split into RandR monitors LEFT and RIGHT, else 1920x1080
    bool windowManager = true;  // openbox
    bool compositor = true;     // xcompmgr
    bool compositeExtension = true; // without it the server keeps no window's pixels: no compositor either
};

struct RunResult {
    int exitCode = -1;
    bool timedOut = false;
    bool crashed = false;
    QString out;
    QString err;
};

// A private desktop session for one test: Xvfb, a session bus, openbox, xcompmgr and a private
// HOME/XDG tree under a temporary directory, all started by scripts/session.sh (the same session
// the headless demo and the benchmarks use). Everything it starts, and everything those processes
// start in their process group, is stopped when the session is destroyed.
class E2eSession {
public:
    explicit E2eSession(E2eOptions options = {});
    ~E2eSession();
    E2eSession(const E2eSession&) = delete;
    E2eSession& operator=(const E2eSession&) = delete;

    // False when the session could not start; error() says why.
    bool ok() const { return error_.isEmpty(); }
    QString error() const { return error_; }

    QString display() const { return display_; }
    QString root() const;          // the temporary directory
    QString home() const;
    QString configHome() const;    // $XDG_CONFIG_HOME
    QString dataHome() const;      // $XDG_DATA_HOME

    // The environment every child gets; setEnv() adds to it for later starts.
    QProcessEnvironment environment() const { return env_; }
    void setEnv(const QString& name, const QString& value) { env_.insert(name, value); }
    void unsetEnv(const QString& name) { env_.remove(name); }

    // Starts a program in its own process group; stopped (SIGTERM, then SIGKILL) at teardown.
    QProcess* start(const QString& program, const QStringList& args = {});
    // Runs a program to completion (killed after timeoutMs).
    RunResult run(const QString& program, const QStringList& args = {}, int timeoutMs = 20000);
    // Sends SIGTERM and waits; SIGKILL when it does not exit in time. Returns its exit code.
    static int stop(QProcess* process, int timeoutMs = 5000);

    // Starts the built wharf (WHARF_BINARY) with `args` and waits until its D-Bus name is on the bus
    // (nullptr on timeout).
    QProcess* startWharf(const QStringList& args = {});

    // The entry $XDG_DATA_HOME/applications/<id>.desktop of an application `name` that runs `exec`, with
    // the lines `more` (the MIME cache is rebuilt); returns its path.
    QString writeDesktopEntry(const QString& id, const QString& name, const QString& exec, const QString& more = {});
    // Makes `desktopId` ("files.desktop") the default handler of `mimeType` in mimeapps.list.
    void setDefaultApplication(const QString& mimeType, const QString& desktopId);
    // Writes an executable script; returns its path.
    QString writeScript(const QString& name, const QString& contents);

    // X helpers.
    RunResult xdotool(const QStringList& args) { return run("xdotool", args); }
    QString xprop(const QStringList& args);      // stdout of xprop, empty on failure
    // Top-level client windows (from _NET_CLIENT_LIST) whose WM_CLASS contains `wmClass`.
    std::vector<quint32> clientWindows(const QString& wmClass);
    bool waitForClientWindow(const QString& wmClass, int timeoutMs = 10000);
    QImage screenshot();

    // A connection to this session's bus (named per session).
    QDBusConnection bus();

private:
    E2eOptions options_;
    std::unique_ptr<QTemporaryDir> dir_;
    QString error_;
    QString display_;
    QString dbusAddress_;
    QString busName_;
    QProcessEnvironment env_;
    std::unique_ptr<QProcess> session_;   // scripts/session.sh: X server, bus, WM, compositor
    std::vector<std::unique_ptr<QProcess>> children_;
};

// Reads `process`'s standard error into `log` until `log` holds `text`.
bool waitForLog(QProcess& process, QString& log, const QString& text, int timeoutMs = 10000);

using test::readFile;
// Writes `contents` to `path`, making its folder first (a test failure when it cannot); returns the path.
inline QString writeFile(const QString& path, const QByteArray& contents = "x")
{
    EXPECT_TRUE(test::writeFile(path, contents)) << "cannot write " << path.toStdString();
    return path;
}

// How many pixels of `area` `accepts` takes.
inline int countPixels(const QRect& area, const std::function<bool(QPoint)>& accepts)
{
    int n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            n += accepts(QPoint(x, y));
    return n;
}

// The window manager's active window (0 when none), and whether `window` is minimized.
quint32 activeWindow(E2eSession& session);
bool isIconic(E2eSession& session, quint32 window);

// For test bodies: skips nothing, fails loudly when the session did not come up.
#define WHARF_REQUIRE_SESSION(session) \
    ASSERT_TRUE((session).ok()) << (session).error().toStdString()

// Pop-up menus on screen: the visible override-redirect windows of process `pid` other than
// tooltips (the dock's hover label is one).
QStringList openMenus(E2eSession& session, qint64 pid);

} // namespace wharf::e2e
