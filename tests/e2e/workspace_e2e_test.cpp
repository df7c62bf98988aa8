// `wharf --list-items` against a real private desktop: Xvfb, openbox, a session bus and real X clients.
#include "e2e_session.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>

using wharf::e2e::E2eOptions;
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

// The listed item whose id is `id`, or an empty object.
QJsonObject item(const Listing& listing, const QString& id)
{
    for (const QJsonObject& object : listing.items) {
        if (object.value("id").toString() == id)
            return object;
    }
    return {};
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

pid_t windowPid(E2eSession& session, quint32 window)
{
    return session.xprop({"-id", QString::number(window), "_NET_WM_PID"}).section('=', 1).trimmed().toInt();
}

QString canonical(const QString& path) { return QFileInfo(path).canonicalFilePath(); }

const char* terminalEntry = "[Desktop Entry]\nType=Application\nName=Test Terminal\n"
                            "Exec=xterm -geometry 40x10+50+50\nStartupWMClass=XTerm\n";

} // namespace

TEST(WorkspaceE2e, FileManagerFirstAndXtermRunningUnderItsEntry)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    session.writeDesktopEntry("test-files.desktop", "[Desktop Entry]\nType=Application\nName=Test Files\n"
                                                    "Exec=true %U\nMimeType=inode/directory;\n");
    session.setDefaultApplication("inode/directory", "test-files.desktop");
    const QString terminal = canonical(session.writeDesktopEntry("test-terminal.desktop", terminalEntry));

    session.start("xterm", {"-geometry", "40x10+50+50"});
    ASSERT_TRUE(session.waitForClientWindow("xterm"));
    const auto windows = session.clientWindows("xterm");
    ASSERT_EQ(windows.size(), 1u);
    const pid_t pid = windowPid(session, windows.front());
    ASSERT_GT(pid, 0);

    const Listing listing = waitForListing(session, [&](const Listing& l) { return !item(l, terminal).isEmpty(); });
    ASSERT_TRUE(listing.problem.isEmpty()) << listing.problem.toStdString();
    ASSERT_GE(listing.items.size(), 3u) << ids(listing).join(' ').toStdString();
    EXPECT_EQ(listing.items.front().value("id").toString(), "test-files");
    EXPECT_EQ(listing.items.front().value("title").toString(), "Files");
    EXPECT_EQ(listing.items.back().value("id").toString(), "wharf.trash");

    const QJsonObject xterm = item(listing, terminal);
    ASSERT_FALSE(xterm.isEmpty()) << ids(listing).join(' ').toStdString();
    EXPECT_EQ(xterm.value("title").toString(), "Test Terminal");
    EXPECT_EQ(xterm.value("kind").toString(), "application");
    EXPECT_FALSE(xterm.value("pinned").toBool());
    EXPECT_EQ(xterm.value("pid").toInt(), pid);
    EXPECT_TRUE(xterm.value("badge").isNull());
}

TEST(WorkspaceE2e, RelaunchedApplicationMovesBehindTheOthers)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString a = canonical(session.writeDesktopEntry("app-a.desktop", terminalEntry));
    const QString b = canonical("/usr/bin/xclock");
    // A renamed copy of xterm with a class of its own.
    const QString c = session.root() + "/otherterm";
    ASSERT_TRUE(QFile::copy("/usr/bin/xterm", c));
    session.start("xterm", {"-geometry", "40x10+50+50"});
    ASSERT_TRUE(session.waitForClientWindow("xterm"));
    QProcess* clock = session.start("xclock");
    ASSERT_TRUE(session.waitForClientWindow("xclock"));
    session.start(c, {"-name", "otherterm", "-class", "OtherTerm", "-geometry", "40x10+400+50"});
    ASSERT_TRUE(session.waitForClientWindow("OtherTerm"));

    auto order = [&](const Listing& l) {
        QStringList running;
        for (const QString& id : ids(l)) {
            if (id == a || id == b || id == c)
                running << id;
        }
        return running;
    };
    Listing listing = waitForListing(session, [&](const Listing& l) { return order(l).size() == 3; });
    EXPECT_EQ(order(listing), (QStringList{a, b, c}));

    E2eSession::stop(clock);
    listing = waitForListing(session, [&](const Listing& l) { return order(l).size() == 2; });
    EXPECT_EQ(order(listing), (QStringList{a, c}));

    session.start("xclock");
    listing = waitForListing(session, [&](const Listing& l) { return order(l).size() == 3; });
    EXPECT_EQ(order(listing), (QStringList{a, c, b}));
}

// A bare X client in Python, no toolkit: one window with the WM_CLASS given as its argument.
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
xcb.xcb_map_window(connection, window)
xcb.xcb_flush(connection)
time.sleep(3600)
)py";

TEST(WorkspaceE2e, InterpretedProgramsAreTheirOwnTilesAndUnknownPidsAreNull)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString client = session.writeScript("tool.py", pythonClient);
    const QStringList classes{"ToolA", "ToolB", "ToolC"};
    for (const QString& wmClass : classes)
        session.start(client, {wmClass});
    // xeyes names no _NET_WM_PID.
    session.start("xeyes", {"-geometry", "60x60+300+300"});
    for (const QString& wmClass : classes)
        ASSERT_TRUE(session.waitForClientWindow(wmClass)) << wmClass.toStdString();
    ASSERT_TRUE(session.waitForClientWindow("xeyes"));

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

TEST(WorkspaceE2e, BadEntriesAndBareWindowsDoNotSpoilTheList)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    session.writeDesktopEntry("broken.desktop", "this is [not an entry\n\x01\x02\n");
    session.writeDesktopEntry("missing.desktop", "[Desktop Entry]\nType=Application\nName=Missing\n"
                                                 "Exec=/nonexistent/program\nStartupWMClass=XTerm\n");
    session.writeDesktopEntry("empty-class.desktop", "[Desktop Entry]\nType=Application\nName=Empty\n"
                                                     "Exec=xterm\nStartupWMClass=\n");
    const QString terminal = canonical(session.writeDesktopEntry("test-terminal.desktop", terminalEntry));
    session.start("xterm", {"-geometry", "40x10+50+50"});
    ASSERT_TRUE(session.waitForClientWindow("xterm"));

    // A window with neither WM_CLASS nor a pid, made by this test's own connection.
    xcb_connection_t* connection = xcb_connect(session.display().toLocal8Bit().constData(), nullptr);
    ASSERT_FALSE(xcb_connection_has_error(connection));
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_window_t bare = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, bare, screen->root, 10, 10, 100, 100, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_map_window(connection, bare);
    xcb_flush(connection);
    EXPECT_TRUE(E2eSession::waitFor([&] {
        return session.xprop({"-root", "_NET_CLIENT_LIST"}).contains(QString::number(bare, 16));
    })) << "openbox did not manage the bare window";

    const Listing listing = waitForListing(session, [&](const Listing& l) { return !item(l, terminal).isEmpty(); });
    ASSERT_TRUE(listing.problem.isEmpty()) << listing.problem.toStdString();
    EXPECT_FALSE(item(listing, terminal).isEmpty()) << ids(listing).join(' ').toStdString();
    for (const QJsonObject& object : listing.items) {
        EXPECT_FALSE(object.value("id").toString().isEmpty());
        EXPECT_NE(object.value("id").toString(), canonical(session.dataHome() + "/applications/missing.desktop"));
    }
    xcb_disconnect(connection);
}

TEST(WorkspaceE2e, WindowManagerRestartKeepsTheRunningSetAndItsOrder)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString terminal = canonical(session.writeDesktopEntry("test-terminal.desktop", terminalEntry));
    const QString clock = canonical("/usr/bin/xclock");
    session.start("xterm", {"-geometry", "40x10+50+50"});
    ASSERT_TRUE(session.waitForClientWindow("xterm"));
    session.start("xclock");
    ASSERT_TRUE(session.waitForClientWindow("xclock"));
    auto both = [&](const Listing& l) { return !item(l, terminal).isEmpty() && !item(l, clock).isEmpty(); };
    const Listing before = waitForListing(session, both);
    ASSERT_TRUE(both(before)) << ids(before).join(' ').toStdString();

    const auto restart = session.run("openbox", {"--restart"});
    EXPECT_EQ(restart.exitCode, 0) << restart.err.toStdString();
    ASSERT_TRUE(E2eSession::waitFor(
        [&] { return session.xprop({"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id"); }));
    const Listing after = waitForListing(session, both);
    // Each listing is a fresh Wharf: the order comes from the programs' ages, not the window manager's list.
    EXPECT_EQ(ids(after), ids(before)) << after.problem.toStdString();
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
