// The X11 workspace in this process against a private desktop: launching, events, actions, the
// order of running programs, late class changes, vanishing windows and a lost server connection.
#include "e2e_session.h"
#include "platform/x11/x11_workspace.h"
#include "support/status_assertions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <csignal>
#include <xcb/xcb.h>

using wharf::RunningApplication;
using wharf::RunningApplicationRef;
using wharf::WorkspaceNotification;
using wharf::X11Connection;
using wharf::X11Workspace;
using wharf::e2e::E2eSession;
using wharf::e2e::waitFor; // on events alone: nothing here asks the workspace to scan

namespace {

// Collects the startup-notification messages broadcast on the root window.
class StartupMessages {
public:
    explicit StartupMessages(const QString& display) : connection(display.toLocal8Bit())
    {
        connection.watchProperties(connection.root(), false);
        connection.flush();
        subscription = connection.events.add([this](const xcb_generic_event_t* event) {
            const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
            const X11Connection::Atoms& atoms = connection.atoms();
            if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE
                || (message->type != atoms.startupInfoBegin && message->type != atoms.startupInfo))
                return;
            if (message->type == atoms.startupInfoBegin)
                partial.clear();
            const QByteArray piece(reinterpret_cast<const char*>(message->data.data8), 20);
            const qsizetype end = piece.indexOf('\0');
            partial += end < 0 ? piece : piece.left(end);
            if (end >= 0)
                complete << QString::fromUtf8(std::exchange(partial, {}));
        });
    }

    X11Connection connection;
    wharf::Subscription subscription;
    QByteArray partial;
    QStringList complete;
};

// GIO reads the XDG folders once per process, so one session serves every test here
// and every entry is written before the first workspace exists.
class LiveWorkspace : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        session = std::make_unique<E2eSession>();
        if (!session->ok())
            return;
        const QProcessEnvironment env = session->environment();
        for (const QString& key : env.keys())
            qputenv(key.toLocal8Bit().constData(), env.value(key).toLocal8Bit());
        const QString script = session->writeScript(
            "run-clock.sh", "#!/bin/sh\n# Not exec: the clock is the launched shell's child.\n"
                            "xclock -geometry 80x80+20+20 \"$@\"\nexit 0\n");
        wrappedClock = session->writeDesktopEntry("wrapped-clock", "Wrapped Clock", script, "StartupNotify=true\n");
        session->writeDesktopEntry("renamed", "Renamed", "true", "StartupWMClass=RenamedClass\n");
        session->writeDesktopEntry("test-terminal", "Test Terminal", "xterm", "StartupWMClass=XTerm\n");
        const QString recorderScript = session->writeScript(
            "record.sh", "#!/bin/sh\nprintf '%s|%s\\n' \"$DESKTOP_STARTUP_ID\" \"$*\" >> \"$HOME/opened.txt\"\n");
        recorder = session->writeDesktopEntry("recorder", "Recorder", recorderScript + " %U",
                                              "MimeType=inode/directory;text/plain;\nStartupNotify=true\n");
        session->writeDesktopEntry("other-files", "Other Files", "true %U", "MimeType=inode/directory;\n");
        session->setDefaultApplication("inode/directory", "recorder.desktop");
        session->setDefaultApplication("text/plain", "recorder.desktop");
        session->setDefaultApplication("x-scheme-handler/https", "recorder.desktop");
        activatable = session->writeDesktopEntry("org.wharf.TestActivatable", "Activatable", "xclock -name notbybus",
                                                 "DBusActivatable=true\n");
        wharf::e2e::writeFile(session->dataHome() + "/dbus-1/services/org.wharf.TestActivatable.service",
                              "[D-BUS Service]\nName=org.wharf.TestActivatable\nExec=/usr/bin/xclock -name bybus\n");
        session->writeDesktopEntry("missing", "Missing", "/nonexistent/wharf-missing");
    }
    static void TearDownTestSuite() { session.reset(); }

    void SetUp() override
    {
        WHARF_REQUIRE_SESSION(*session);
        workspace = std::make_unique<X11Workspace>();
        ASSERT_TRUE(workspace->ok()) << workspace->error().toStdString();
        subscription = workspace->notifications.add([this](WorkspaceNotification n) { received.push_back(n); });
    }

    RunningApplicationRef find(const std::function<bool(const RunningApplication&)>& predicate) const
    {
        const auto all = workspace->runningApplications();
        const auto found = std::find_if(all.begin(), all.end(), [&](const auto& app) { return predicate(*app); });
        return found == all.end() ? nullptr : *found;
    }
    RunningApplicationRef byIdentifier(const QString& id) const
    {
        return find([&](const RunningApplication& a) { return a.bundleIdentifier == id; });
    }
    RunningApplicationRef byName(const QString& name) const
    {
        return find([&](const RunningApplication& a) { return a.localizedName == name; });
    }
    bool receivedAny(WorkspaceNotification n) const { return std::ranges::find(received, n) != received.end(); }

    static inline std::unique_ptr<E2eSession> session;
    static inline QString wrappedClock;
    static inline QString recorder;
    static inline QString activatable;
    std::unique_ptr<X11Workspace> workspace;
    wharf::CallbackList<WorkspaceNotification>::Subscription subscription;
    std::vector<WorkspaceNotification> received;
};

TEST_F(LiveWorkspace, LaunchedEntryRunsUnderThatEntryThroughItsWrapperScript)
{
    StartupMessages startup(session->display());
    ASSERT_SUCCESS(workspace->launchApplication(wrappedClock, {}));
    ASSERT_TRUE(waitFor([&] { return byIdentifier("wrapped-clock") != nullptr; }))
        << "the clock never showed up under its entry";
    // xclock never completes its own startup; the dock ends the busy feedback once it shows.
    ASSERT_TRUE(waitFor([&] { return startup.complete.size() >= 2; })) << startup.complete.join('\n').toStdString();
    const QStringList messages = startup.complete;
    const QString id = messages.at(0).section("ID=\"", 1).section('"', 0, 0);
    EXPECT_TRUE(messages.at(0).startsWith("new: ") && messages.at(0).contains("NAME=\"Wrapped Clock\""))
        << messages.at(0).toStdString();
    EXPECT_FALSE(id.isEmpty());
    EXPECT_EQ(messages.at(1), "remove: ID=\"" + id + "\"");
    const auto app = byIdentifier("wrapped-clock");
    EXPECT_EQ(app->bundleLocation, wrappedClock);
    EXPECT_TRUE(receivedAny(WorkspaceNotification::didLaunchApplication));

    ASSERT_SUCCESS(workspace->terminate(*app));
    EXPECT_TRUE(waitFor([&] { return byIdentifier("wrapped-clock") == nullptr; }));
}

TEST_F(LiveWorkspace, LocationsAndFilesOpenWithTheirApplicationsAndWhatCannotRunIsRefused)
{
    EXPECT_EQ(workspace->fileManagerLocation(), recorder);
    EXPECT_EQ(workspace->webBrowserLocation(), recorder);
    EXPECT_EQ(workspace->bundleIdentifier(recorder), "recorder");
    EXPECT_EQ(workspace->bundleIdentifier("/etc/hostname"), std::nullopt);
    EXPECT_EQ(workspace->displayName(recorder), "Recorder");

    const QString folder = session->home() + "/Some Folder";
    ASSERT_TRUE(QDir().mkpath(folder));
    EXPECT_EQ(workspace->displayName(folder), "Some Folder");
    auto opened = [&] { return QString::fromUtf8(wharf::e2e::readFile(session->home() + "/opened.txt")); };

    ASSERT_SUCCESS(workspace->openLocation(folder));
    EXPECT_TRUE(waitFor([&] { return opened().contains(folder); })) << opened().toStdString();

    const QString note = session->home() + "/a note.txt";
    ASSERT_SUCCESS(workspace->launchApplication(recorder, {note}));
    EXPECT_TRUE(waitFor([&] { return opened().contains(note); })) << opened().toStdString();
    // Startup notification: the program is told its own startup id, stamped with a real server time
    // (no event gave one here), since window managers refuse the focus to time 0.
    EXPECT_TRUE(opened().contains(QRegularExpression("(^|\\n)wharf-\\d+-\\d+_TIME[1-9]\\d*\\|" + QRegularExpression::escape(note))))
        << opened().toStdString();

    // What cannot be opened is refused with a reason.
    const std::pair<wharf::Status, const char*> refused[] = {
        {workspace->openLocation(session->home() + "/missing.nothing"), "missing.nothing"},
        {workspace->launchApplication(session->dataHome() + "/applications/missing.desktop"), "not a usable desktop entry"},
        {workspace->launchApplication(session->dataHome() + "/applications/none.desktop"), "does not exist"},
    };
    for (const auto& [status, reason] : refused) {
        ASSERT_FALSE(status.ok()) << reason;
        EXPECT_TRUE(status.error().message.contains(reason)) << status.error().message.toStdString();
    }
    // A new default file manager is seen once the desktop says so.
    const QString other = session->dataHome() + "/applications/other-files.desktop";
    session->setDefaultApplication("inode/directory", "other-files.desktop");
    EXPECT_TRUE(waitFor([&] { return workspace->fileManagerLocation() == other; }))
        << workspace->fileManagerLocation().value_or("none").toStdString();
    session->setDefaultApplication("inode/directory", "recorder.desktop");
    EXPECT_TRUE(waitFor([&] { return workspace->fileManagerLocation() == recorder; }));
}

TEST_F(LiveWorkspace, DBusActivatableEntryIsStartedByTheBus)
{
    ASSERT_SUCCESS(workspace->launchApplication(activatable, {}));
    EXPECT_TRUE(session->waitForClientWindow("bybus", 15000)) << "the bus did not start the service";
    EXPECT_TRUE(session->clientWindows("notbybus").empty()) << "launched by Exec instead of the bus";
    session->xdotool({"search", "--classname", "bybus", "windowkill"});
}

TEST_F(LiveWorkspace, ActionsReachTheWindowsAndEventsReportThem)
{
    // openbox ignores requests for a window it is still mapping; focusing it comes last.
    auto mappedAndFocused = [&](size_t count) {
        const auto windows = session->clientWindows("XTerm");
        return windows.size() == count && wharf::e2e::activeWindow(*session) == windows.back();
    };
    QProcess* first = session->start("xterm", {"-geometry", "40x10+50+50"});
    ASSERT_TRUE(waitFor([&] { return mappedAndFocused(1); }));
    session->start("xterm", {"-geometry", "40x10+450+50"});
    ASSERT_TRUE(waitFor([&] { return mappedAndFocused(2); }));
    ASSERT_TRUE(waitFor([&] { return byIdentifier("test-terminal") != nullptr; }));

    received.clear();
    // A window openbox has only just focused may still drop an iconify request, so ask
    // again while waiting; the request itself is harmless to repeat.
    EXPECT_TRUE(waitFor([&] {
        EXPECT_SUCCESS(workspace->hide(*byIdentifier("test-terminal")));
        return waitFor([&] { return byIdentifier("test-terminal")->isHidden; }, 300);
    }, 10000));
    EXPECT_TRUE(receivedAny(WorkspaceNotification::didHideApplication));

    received.clear();
    ASSERT_SUCCESS(workspace->unhide(*byIdentifier("test-terminal")));
    EXPECT_TRUE(waitFor([&] { return !byIdentifier("test-terminal")->isHidden; }));
    for (quint32 window : session->clientWindows("XTerm"))
        EXPECT_FALSE(session->xprop({"-id", QString::number(window), "_NET_WM_STATE"}).contains("HIDDEN"));
    EXPECT_TRUE(receivedAny(WorkspaceNotification::didUnhideApplication)
                || receivedAny(WorkspaceNotification::didActivateApplication));

    received.clear();
    const RunningApplication before = *byIdentifier("test-terminal");
    ASSERT_SUCCESS(workspace->terminate(before));
    EXPECT_TRUE(waitFor([&] { return byIdentifier("test-terminal") == nullptr; }));
    EXPECT_TRUE(waitFor([&] { return first->state() == QProcess::NotRunning; })) << "xterm ignored the close";
    EXPECT_TRUE(receivedAny(WorkspaceNotification::didTerminateApplication));
    const wharf::Status gone = workspace->activate(before);
    ASSERT_FALSE(gone.ok()) << "acting on a program that quit";
    EXPECT_TRUE(gone.error().message.contains("no longer running")) << gone.error().message.toStdString();
}

TEST_F(LiveWorkspace, RunningProgramsAreListedOldestFirstAcrossAWindowManagerRestart)
{
    // The older program shows its window last, so the window manager lists it second.
    QProcess* slow = session->start("sh", {"-c", QString("sleep 1.5; exec %1 400 400 120 80").arg(BAND_CLIENT)});
    QThread::msleep(200); // start times count in clock ticks
    QProcess* xterm = session->start("xterm", {"-geometry", "40x10+50+50"});
    const auto order = [&] {
        QStringList names;
        for (const auto& app : workspace->runningApplications()) {
            if (app->bundleIdentifier == "test-terminal")
                names << "terminal";
            else if (app->processIdentifier == slow->processId())
                names << "slow";
        }
        return names;
    };
    const QStringList oldestFirst{"slow", "terminal"};
    ASSERT_TRUE(waitFor([&] { return order().size() == 2; }));
    EXPECT_EQ(order(), oldestFirst);

    ASSERT_EQ(session->run("openbox", {"--restart"}).exitCode, 0);
    ASSERT_TRUE(waitFor([&] { return session->xprop({"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id"); }));
    // A fresh workspace reads the window manager's new list as a restarted Wharf would.
    workspace = std::make_unique<X11Workspace>();
    ASSERT_TRUE(waitFor([&] { return order().size() == 2; }));
    EXPECT_EQ(order(), oldestFirst);
    E2eSession::stop(slow);
    E2eSession::stop(xterm);
}

// A bare X client in Python without a toolkit: one window of the WM_CLASS given as its argument.
const char* pythonClient = R"py(#!/usr/bin/python3
import ctypes, os, sys, time
from ctypes import c_int, c_uint32, c_void_p
class Screens(ctypes.Structure):
    _fields_ = [("data", c_void_p), ("rem", c_int), ("index", c_int)]
xcb = ctypes.CDLL("libxcb.so.1")
xcb.xcb_connect.restype = xcb.xcb_get_setup.restype = xcb.xcb_intern_atom_reply.restype = c_void_p
xcb.xcb_setup_roots_iterator.restype = Screens
xcb.xcb_generate_id.restype = xcb.xcb_intern_atom.restype = c_uint32
c = c_void_p(xcb.xcb_connect(None, None))
root = c_uint32.from_address(xcb.xcb_setup_roots_iterator(c_void_p(xcb.xcb_get_setup(c))).data)
window = c_uint32(xcb.xcb_generate_id(c))
xcb.xcb_create_window(c, 0, window, root, 0, 0, 120, 80, 0, 1, 0, 0, None)
cookie = c_uint32(xcb.xcb_intern_atom(c, 0, 11, b"_NET_WM_PID"))
pid_atom = c_uint32.from_address(xcb.xcb_intern_atom_reply(c, cookie, None) + 8)
wm_class = sys.argv[1].lower().encode() + b"\0" + sys.argv[1].encode() + b"\0"
xcb.xcb_change_property(c, 0, window, 67, 31, 8, len(wm_class), wm_class)  # WM_CLASS, STRING
xcb.xcb_change_property(c, 0, window, pid_atom, 6, 32, 1, ctypes.byref(c_uint32(os.getpid())))  # CARDINAL
xcb.xcb_map_window(c, window)
xcb.xcb_flush(c)
time.sleep(3600)
)py";

// Programs one interpreter runs are each their own application; a window that names no process
// has no pid, not another program's, and a class set after mapping is matched again.
TEST_F(LiveWorkspace, InterpretedProgramsAreTheirOwnApplicationsUnknownPidsStayUnknownAndLateClassesAreMatched)
{
    const QString client = session->writeScript("tool.py", pythonClient);
    const QStringList classes{"ToolA", "ToolB", "ToolC"};
    std::vector<QProcess*> tools;
    for (const QString& wmClass : classes)
        tools.push_back(session->start(client, {wmClass}));
    tools.push_back(session->start("xeyes", {"-geometry", "60x60+300+300"})); // names no _NET_WM_PID
    ASSERT_TRUE(waitFor([&] { return byName("ToolA") && byName("ToolB") && byName("ToolC") && byName("XEyes"); }));
    QSet<QString> locations; // what the dock knows them by
    for (const QString& wmClass : classes) {
        EXPECT_GT(byName(wmClass)->processIdentifier.value_or(0), 0) << wmClass.toStdString();
        locations << byName(wmClass)->bundleLocation.value_or(QString());
    }
    EXPECT_EQ(locations.size(), 3) << "one application each";
    EXPECT_EQ(byName("XEyes")->processIdentifier, std::nullopt);
    EXPECT_EQ(byName("XEyes")->bundleLocation, QFileInfo("/usr/bin/xeyes").canonicalFilePath());
    EXPECT_EQ(byIdentifier("renamed"), nullptr);

    const quint32 window = session->clientWindows("xeyes").front();
    session->xdotool({"set_window", "--class", "RenamedClass", QString::number(window)});
    ASSERT_TRUE(waitFor([&] { return byIdentifier("renamed") != nullptr; }));
    EXPECT_EQ(byIdentifier("renamed")->localizedName, "Renamed");
    EXPECT_EQ(byName("XEyes"), nullptr);
    for (QProcess* process : tools)
        E2eSession::stop(process);
}

TEST_F(LiveWorkspace, WindowsVanishingWhileScanningAreDropped)
{
    std::vector<QProcess*> clocks;
    for (int i = 0; i < 12; ++i)
        clocks.push_back(session->start("xclock", {"-name", "vanishing", "-geometry", QString("40x40+%1+600").arg(i * 45)}));
    ASSERT_TRUE(waitFor([&] { return session->clientWindows("vanishing").size() == clocks.size(); }));
    // Kill them without waiting while scanning as fast as possible: replies for windows
    // that are already gone must be shrugged off.
    for (QProcess* clock : clocks) {
        ::kill(static_cast<pid_t>(clock->processId()), SIGKILL);
        workspace->scan();
    }
    for (int i = 0; i < 50; ++i)
        workspace->scan();
    EXPECT_TRUE(waitFor([&] { return byName("XClock") == nullptr; }));
    EXPECT_FALSE(workspace->connection().lost());
}

TEST_F(LiveWorkspace, OldClientsShowTheirOwnIconPixmaps)
{
    // Neither has an entry or _NET_WM_ICON; each sets a WM_HINTS icon bitmap and mask.
    // Copies, so that no entry here claims them by their program.
    const QString clockCopy = session->root() + "/oldclock";
    const QString eyesCopy = session->root() + "/oldeyes";
    ASSERT_TRUE(QFile::copy("/usr/bin/xclock", clockCopy));
    ASSERT_TRUE(QFile::copy("/usr/bin/xeyes", eyesCopy));
    QProcess* clockProcess = session->start(clockCopy, {"-geometry", "60x60+100+400"});
    QProcess* eyesProcess = session->start(eyesCopy, {"-geometry", "60x60+200+400"});
    ASSERT_TRUE(waitFor([&] { return byName("XClock") && byName("XEyes"); }));
    auto image = [](const QIcon& icon) { return icon.pixmap(32).toImage().convertToFormat(QImage::Format_ARGB32); };
    const QImage clock = image(byName("XClock")->icon);
    const QImage eyes = image(byName("XEyes")->icon);
    ASSERT_FALSE(clock.isNull());
    ASSERT_FALSE(eyes.isNull());
    EXPECT_NE(clock, eyes) << "each its own bitmap, not a stock icon";
    // The mask leaves the corners of both icons transparent, and the bitmap draws something.
    for (const QImage& icon : {clock, eyes}) {
        EXPECT_EQ(qAlpha(icon.pixel(0, 0)), 0);
        EXPECT_GT(wharf::e2e::countPixels(icon.rect(), [&](QPoint p) { return qAlpha(icon.pixel(p)) == 255; }), 0);
    }
    E2eSession::stop(clockProcess);
    E2eSession::stop(eyesProcess);
}

TEST_F(LiveWorkspace, WatchedLocationsAndEntriesReportChanges)
{
    const QString folder = session->home() + "/Pinned Folder";
    const QString file = session->home() + "/pinned.txt";
    ASSERT_TRUE(QDir().mkpath(folder));
    workspace->watchLocations({folder, file});
    auto changed = [&] { return receivedAny(WorkspaceNotification::didChangeLocations); };
    auto write = [](const QString& path, const QByteArray& text) { return !wharf::e2e::writeFile(path, text).isEmpty(); };

    const std::pair<const char*, std::function<bool()>> rows[] = {
        {"pinnedFileCreated", [&] { return write(file, "one"); }},
        {"pinnedFileRenamedAway", [&] { return QFile::rename(file, file + ".old"); }},
        {"pinnedFileRenamedBack", [&] { return QFile::rename(file + ".old", file); }},
        {"fileAddedToPinnedFolder", [&] { return write(folder + "/inside.txt", "x"); }},
        {"pinnedFolderRemoved", [&] { return QDir(folder).removeRecursively(); }},
        {"pinnedFolderMadeAgain", [&] { return QDir().mkpath(folder); }},
        {"fileAddedToTheNewFolder", [&] { return write(folder + "/again.txt", "x"); }},
        {"desktopEntryInstalled", [&] { return !session->writeDesktopEntry("late", "Late", "true").isEmpty(); }},
    };
    for (const auto& [name, change] : rows) {
        received.clear();
        ASSERT_TRUE(change()) << name;
        EXPECT_TRUE(waitFor(changed)) << name;
    }
}

TEST_F(LiveWorkspace, LostServerConnectionIsReportedAndEndsTheEventLoop)
{
    X11Connection connection(session->display().toLocal8Bit());
    ASSERT_TRUE(connection.ok()) << connection.error().toStdString();
    int lostCalls = 0;
    auto lost = connection.connectionLost.add([&] { ++lostCalls; });
    // The server drops a client when someone kills a resource it owns.
    const xcb_window_t window = xcb_generate_id(connection.xcb());
    xcb_create_window(connection.xcb(), XCB_COPY_FROM_PARENT, window, connection.root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    connection.flush();
    xcb_connection_t* killer = xcb_connect(session->display().toLocal8Bit().constData(), nullptr);
    ASSERT_FALSE(xcb_connection_has_error(killer));

    ::testing::internal::CaptureStderr();
    QTimer::singleShot(0, [&] {
        xcb_kill_client(killer, window);
        xcb_flush(killer);
    });
    QTimer::singleShot(10000, [] { QCoreApplication::exit(99); });
    const int code = QCoreApplication::exec();
    const std::string message = ::testing::internal::GetCapturedStderr();
    xcb_disconnect(killer);

    EXPECT_EQ(code, 1) << "99 means the loop had to be stopped by the guard";
    EXPECT_EQ(lostCalls, 1);
    EXPECT_NE(message.find("lost the connection to the X server"), std::string::npos) << message;
    EXPECT_TRUE(connection.lost());
}

} // namespace
