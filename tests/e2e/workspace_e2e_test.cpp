// `wharf --list-items` against a real private desktop: Xvfb, openbox, a session bus and real X clients.
#include "e2e_session.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>

using wharf::e2e::E2eSession;

namespace {

struct Listing {
    std::vector<QJsonObject> items;
    QString problem; // why the listing could not be read; empty when it could
};

Listing listItems(E2eSession& session)
{
    const auto result = session.run(E2eSession::wharfBinary(), {"--list-items"});
    Listing listing;
    if (result.timedOut || result.crashed || result.exitCode != 0) {
        listing.problem = QString("exit %1%2%3: %4")
                              .arg(result.exitCode)
                              .arg(result.timedOut ? " (timed out)" : "", result.crashed ? " (crashed)" : "",
                                   result.err);
        return listing;
    }
    for (const QString& line : result.out.split('\n', Qt::SkipEmptyParts)) {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8(), &error);
        if (!document.isObject()) {
            listing.problem = "not a JSON object: " + line;
            return listing;
        }
        listing.items.push_back(document.object());
    }
    return listing;
}

QStringList ids(const Listing& listing)
{
    QStringList result;
    for (const QJsonObject& object : listing.items)
        result << object.value("id").toString();
    return result;
}

// Waits until a fresh listing satisfies `condition`; returns the last listing.
Listing waitForListing(E2eSession& session, const std::function<bool(const Listing&)>& condition)
{
    Listing listing;
    E2eSession::waitFor(
        [&] {
            listing = listItems(session);
            return listing.problem.isEmpty() && condition(listing);
        },
        15000, 100);
    return listing;
}

QString canonical(const QString& path) { return QFileInfo(path).canonicalFilePath(); }

const char* terminalEntry = "[Desktop Entry]\nType=Application\nName=Test Terminal\n"
                            "Exec=xterm -geometry 40x10+50+50\nStartupWMClass=XTerm\n";

} // namespace

// A bare X client in Python, no toolkit: one window with the WM_CLASS given as its first argument,
// shown after the number of seconds given as the second, if any.
const char* pythonClient = R"py(#!/usr/bin/python3
import ctypes, os, sys, time

class Cookie(ctypes.Structure):
    _fields_ = [("sequence", ctypes.c_uint)]

class ScreenIterator(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("rem", ctypes.c_int), ("index", ctypes.c_int)]

xcb = ctypes.CDLL("libxcb.so.1")
xcb.xcb_connect.restype = ctypes.c_void_p
xcb.xcb_connect.argtypes = [ctypes.c_char_p, ctypes.c_void_p]
xcb.xcb_get_setup.restype = ctypes.c_void_p
xcb.xcb_get_setup.argtypes = [ctypes.c_void_p]
xcb.xcb_setup_roots_iterator.restype = ScreenIterator
xcb.xcb_setup_roots_iterator.argtypes = [ctypes.c_void_p]
xcb.xcb_generate_id.restype = ctypes.c_uint32
xcb.xcb_generate_id.argtypes = [ctypes.c_void_p]
xcb.xcb_create_window.argtypes = [ctypes.c_void_p, ctypes.c_uint8, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_int16,
                                  ctypes.c_int16, ctypes.c_uint16, ctypes.c_uint16, ctypes.c_uint16, ctypes.c_uint16,
                                  ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p]
xcb.xcb_intern_atom.restype = Cookie
xcb.xcb_intern_atom.argtypes = [ctypes.c_void_p, ctypes.c_uint8, ctypes.c_uint16, ctypes.c_char_p]
xcb.xcb_intern_atom_reply.restype = ctypes.c_void_p
xcb.xcb_intern_atom_reply.argtypes = [ctypes.c_void_p, Cookie, ctypes.c_void_p]
xcb.xcb_change_property.argtypes = [ctypes.c_void_p, ctypes.c_uint8, ctypes.c_uint32, ctypes.c_uint32,
                                    ctypes.c_uint32, ctypes.c_uint8, ctypes.c_uint32, ctypes.c_void_p]
xcb.xcb_map_window.argtypes = [ctypes.c_void_p, ctypes.c_uint32]
xcb.xcb_flush.argtypes = [ctypes.c_void_p]

connection = xcb.xcb_connect(None, None)
root = ctypes.c_uint32.from_address(xcb.xcb_setup_roots_iterator(xcb.xcb_get_setup(connection)).data).value
window = xcb.xcb_generate_id(connection)
xcb.xcb_create_window(connection, 0, window, root, 0, 0, 120, 80, 0, 1, 0, 0, None)
reply = xcb.xcb_intern_atom_reply(connection, xcb.xcb_intern_atom(connection, 0, 11, b"_NET_WM_PID"), None)
pid_atom = ctypes.c_uint32.from_address(reply + 8).value
wm_class = sys.argv[1].lower().encode() + b"\0" + sys.argv[1].encode() + b"\0"
WM_CLASS, STRING, CARDINAL = 67, 31, 6
xcb.xcb_change_property(connection, 0, window, WM_CLASS, STRING, 8, len(wm_class), wm_class)
pid = ctypes.c_uint32(os.getpid())
xcb.xcb_change_property(connection, 0, window, pid_atom, CARDINAL, 32, 1, ctypes.byref(pid))
if len(sys.argv) > 2:
    time.sleep(float(sys.argv[2]))
xcb.xcb_map_window(connection, window)
xcb.xcb_flush(connection)
time.sleep(3600)
)py";

TEST(WorkspaceE2e, InterpretedProgramsAreTheirOwnTilesAndUnknownPidsAreNull)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString client = session.writeScript("tool.py", pythonClient);
    // xeyes names no _NET_WM_PID.
    session.start("xeyes", {"-geometry", "60x60+300+300"});
    const QStringList classes{"ToolA", "ToolB", "ToolC"};
    for (const QString& wmClass : classes)
        session.start(client, {wmClass});
    ASSERT_TRUE(session.waitForClientWindow("xeyes", 20000));
    for (const QString& wmClass : classes)
        ASSERT_TRUE(session.waitForClientWindow(wmClass, 20000)) << wmClass.toStdString();

    auto titled = [](const Listing& l, const QString& title) {
        for (const QJsonObject& object : l.items) {
            if (object.value("title").toString() == title)
                return object;
        }
        return QJsonObject();
    };
    const Listing listing = waitForListing(session, [&](const Listing& l) {
        return std::all_of(classes.begin(), classes.end(), [&](const QString& c) { return !titled(l, c).isEmpty(); })
            && !titled(l, "XEyes").isEmpty();
    });
    ASSERT_TRUE(listing.problem.isEmpty()) << listing.problem.toStdString();
    QStringList toolIds;
    for (const QString& wmClass : classes) {
        const QJsonObject tool = titled(listing, wmClass);
        ASSERT_FALSE(tool.isEmpty()) << wmClass.toStdString() << ": " << ids(listing).join(' ').toStdString();
        EXPECT_GT(tool.value("pid").toInt(), 0);
        toolIds << tool.value("id").toString();
    }
    toolIds.removeDuplicates();
    EXPECT_EQ(toolIds.size(), 3) << toolIds.join(' ').toStdString();
    const QJsonObject eyes = titled(listing, "XEyes");
    EXPECT_TRUE(eyes.value("pid").isNull()) << QJsonDocument(eyes).toJson().toStdString();
    EXPECT_EQ(eyes.value("id").toString(), canonical("/usr/bin/xeyes"));
}

TEST(WorkspaceE2e, RunningProgramsAreListedOldestFirstAcrossAWindowManagerRestart)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString terminal = canonical(session.writeDesktopEntry("test-terminal.desktop", terminalEntry));
    const QString client = session.writeScript("tool.py", pythonClient);
    // The older program shows its window last, so the window manager lists it second.
    session.start(client, {"SlowTool", "1.5"});
    QThread::msleep(200);
    session.start("xterm", {"-geometry", "40x10+50+50"});
    ASSERT_TRUE(session.waitForClientWindow("xterm"));
    ASSERT_TRUE(session.waitForClientWindow("SlowTool"));
    auto running = [&](const Listing& l) {
        QStringList titles;
        for (const QJsonObject& object : l.items) {
            if (object.value("id").toString() == terminal || object.value("title").toString() == "SlowTool")
                titles << object.value("title").toString();
        }
        return titles;
    };
    const QStringList oldestFirst{"SlowTool", "Test Terminal"};
    const Listing before = waitForListing(session, [&](const Listing& l) { return running(l).size() == 2; });
    EXPECT_EQ(running(before), oldestFirst) << ids(before).join(' ').toStdString();

    const auto restart = session.run("openbox", {"--restart"});
    EXPECT_EQ(restart.exitCode, 0) << restart.err.toStdString();
    ASSERT_TRUE(E2eSession::waitFor(
        [&] { return session.xprop({"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id"); }));
    // Each listing is a fresh Wharf, so this is also the order after Wharf restarts.
    const Listing after = waitForListing(session, [&](const Listing& l) { return running(l).size() == 2; });
    EXPECT_EQ(running(after), oldestFirst) << after.problem.toStdString();
}

TEST(WorkspaceE2e, UnreachableDisplayFailsWithAClearMessage)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    for (const char* platform : {"offscreen", ""}) {
        session.setEnv("QT_QPA_PLATFORM", platform);
        session.setEnv("DISPLAY", ":9999");
        const auto result = session.run(E2eSession::wharfBinary(), {"--list-items"}, 15000);
        EXPECT_FALSE(result.timedOut);
        EXPECT_FALSE(result.crashed) << result.err.toStdString();
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.err.contains(":9999")) << result.err.toStdString();
        EXPECT_TRUE(result.out.isEmpty());
    }
}
