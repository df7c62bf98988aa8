// What the dock does to its items, against real programs and files: activation under openbox,
// Mutter and KWin; the Trash's alert, emptying and a second volume's Trash while it is mounted;
// keeping a program without a desktop entry; showing a file in the file manager; and files
// dropped onto folders.
#include "dock_e2e_client.h"

#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVirtualObject>
#include <QDir>
#include <QColor>
#include <QFile>
#include <QImage>
#include <QStandardPaths>
#include <QUrl>

#include <gtest/gtest.h>

#include <unistd.h>

namespace wharf::e2e {
namespace {

// Waits until an alert is shown and returns it.
QJsonObject alertWhenShown(DockClient& client)
{
    QJsonObject shown;
    waitFor([&] { return (shown = client.object("Alert"))["open"].toBool(); });
    return shown;
}

// Waits until the Trash tile is `full` or not.
bool trashBecomes(DockClient& client, bool full)
{
    const auto matches = [&](const auto& trash) { return trash["full"].toBool() == full; };
    return client.itemWhen("kind", "trash", matches, 3000).has_value();
}

// A window manager other than the session's openbox, started in its place.
struct WindowManager {
    const char* name;
    const char* program;
    QStringList args;
};

void PrintTo(const WindowManager& wm, std::ostream* os) { *os << wm.name; }

class Activation : public testing::TestWithParam<WindowManager> {};

TEST_P(Activation, AClickBringsARunningProgramBackAndStartsAPinnedOne)
{
    const WindowManager& wm = GetParam();
    const bool openbox = QString(wm.program) == "openbox";
    if (!openbox && QStandardPaths::findExecutable(wm.program).isEmpty())
        GTEST_SKIP() << wm.program << " is not installed (scripts/install-deps.sh installs it)";
    E2eSession session({.windowManager = openbox, .compositor = openbox});
    WHARF_REQUIRE_SESSION(session);
    if (!openbox) {
        session.setEnv("KWIN_COMPOSE", "N");
        session.setEnv("QT_QPA_PLATFORM", "xcb");
        QProcess* manager = session.start(wm.program, wm.args);
        session.unsetEnv("QT_QPA_PLATFORM");
        const bool up = waitFor([&] {
            return manager->state() == QProcess::Running
                && session.xprop({"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id");
        }, 30000, 100);
        if (!up)
            GTEST_SKIP() << wm.program << " cannot start here: "
                         << QString::fromLocal8Bit(manager->readAllStandardError()).right(600).toStdString();
    }

    const QString entry = session.writeDesktopEntry(
        "testterm", "Test Terminal", "xterm -class TestTerm -geometry 40x10+300+300",
        "StartupWMClass=TestTerm\nStartupNotify=true\nIcon=utilities-terminal\n");
    writeWharfSettings(session, {}, {{entry, "application"}});
    const quint32 xterm = startXterm(session, {"-geometry", "40x10+100+100"});
    ASSERT_NE(xterm, 0u);
    ASSERT_NE(session.startWharf(), nullptr);
    DockClient client(session);
    ASSERT_TRUE(client.settledDock());

    const auto running = client.itemWhen("pid", windowPid(session, xterm));
    ASSERT_TRUE(running);
    const QString xtermID = (*running)["id"].toString();

    // Minimized: the item is hidden; a click restores the window and gives it the focus.
    session.xdotool({"windowminimize", QString::number(xterm)});
    ASSERT_TRUE(client.itemWhen("id", xtermID, [&](const auto& item) {
        return isIconic(session, xterm) && item["hidden"].toBool();
    }));
    EXPECT_TRUE(client.succeeds("Activate", {xtermID}));
    EXPECT_TRUE(waitFor([&] { return activeWindow(session) == xterm && !isIconic(session, xterm); }))
        << "active " << activeWindow(session) << " want " << xterm;
    EXPECT_TRUE(client.itemWhen("id", xtermID, [](const auto& item) {
        return item["active"].toBool() && !item["hidden"].toBool();
    }));

    // The pinned entry is not running: a click starts it, its tile gets its process, and its
    // window gets the focus.
    const QString entryID = QFileInfo(entry).canonicalFilePath();
    const auto pinned = client.item("id", entryID);
    ASSERT_TRUE(pinned);
    EXPECT_TRUE((*pinned)["pid"].isNull());
    EXPECT_TRUE(client.succeeds("Activate", {entryID}));
    ASSERT_TRUE(session.waitForClientWindow("TestTerm", 15000));
    const quint32 launched = session.clientWindows("TestTerm").front();
    EXPECT_TRUE(client.itemWhen("id", entryID, [&](const auto& item) {
        return item["pid"].toInteger() == windowPid(session, launched);
    })) << QJsonDocument(client.items()).toJson().toStdString();
    EXPECT_TRUE(waitFor([&] { return activeWindow(session) == launched; }));
    // Clicking the xterm again takes the focus back from the new window.
    EXPECT_TRUE(client.succeeds("Activate", {xtermID}));
    EXPECT_TRUE(waitFor([&] { return activeWindow(session) == xterm; }));
    // The running xterm and the started TestTerm (an xterm too); the click started no other.
    EXPECT_EQ(session.clientWindows("xterm").size(), 2u);
    EXPECT_FALSE(client.succeeds("Activate", {"/no/such/item"}));
}

INSTANTIATE_TEST_SUITE_P(
    WindowManagers, Activation,
    testing::Values(WindowManager{"openbox", "openbox", {}},
                    WindowManager{"mutter", "mutter", {"--x11", "--replace"}},
                    WindowManager{"kwin", "kwin_x11", {"--replace"}}),
    [](const auto& info) { return std::string(info.param.name); });

// Records the file manager's ShowItems calls.
class FileManagerDouble : public QDBusVirtualObject {
public:
    QStringList shown;

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.member() != "ShowItems")
            return false;
        shown << message.arguments().value(0).toStringList();
        connection.send(message.createReply());
        return true;
    }
};

TEST(Operations, TheTrashShowInFilesDropsOntoFoldersAndKeepingAProgramWithoutAnEntry)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString note = writeFile(session.home() + "/note.txt");
    const QString inbox = session.home() + "/Inbox";
    const QString locked = session.home() + "/Locked";
    const QString source = session.home() + "/Desk";
    writeFile(inbox + "/kept.txt");
    writeFile(source + "/a.txt", "a");
    writeFile(source + "/sub/b.txt", "b");
    // Read-only, and (for root, whom permissions do not stop) already holding a "c.txt".
    writeFile(locked + "/c.txt", "old");
    QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner);
    writeWharfSettings(session, {}, {{note, "file"}, {inbox, "folder"}, {locked, "folder"}});
    const QString trash = session.dataHome() + "/Trash";
    writeFile(trash + "/files/old.txt");
    writeFile(trash + "/info/old.txt.trashinfo", "[Trash Info]\nPath=/tmp/old.txt\nDeletionDate=2024-01-01T00:00:00\n");
    // A program without a desktop entry, with a window icon of its own.
    QProcess* band = session.start(BAND_CLIENT, {"200", "200", "150", "100", "--red-icon"});
    ASSERT_TRUE(session.waitForClientWindow("BandClient"));
    const quint32 loose = session.clientWindows("BandClient").front();
    const QByteArray looseCommand = readFile(QStringLiteral("/proc/%1/cmdline").arg(windowPid(session, loose)));
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    ASSERT_TRUE(client.settledDock());

    const QString noteID = QFileInfo(note).canonicalFilePath();

    // "Empty Trash…" asks first; Return chooses "Cancel" and nothing is erased.
    ASSERT_TRUE(client.succeeds("ChooseMenuItem", {"wharf.trash", "Empty Trash…"}));
    EXPECT_EQ(alertWhenShown(client)["defaultButton"].toString(), "Cancel");
    ASSERT_TRUE(waitFor([&] { return windowPid(session, activeWindow(session)) == wharf->processId(); }))
        << "the alert has the keyboard";
    session.xdotool({"key", "Return"});
    EXPECT_TRUE(waitFor([&] { return !client.object("Alert")["open"].toBool(); }));
    EXPECT_TRUE(QFileInfo::exists(trash + "/files/old.txt"));
    EXPECT_TRUE(trashBecomes(client, true));

    // Emptied over D-Bus; a file that is not there names the first failure.
    EXPECT_EQ(QDBusReply<QString>(client.call("EmptyTrash")).value(), QString());
    EXPECT_TRUE(trashBecomes(client, false));
    EXPECT_FALSE(QFileInfo::exists(trash + "/files/old.txt"));
    const QDBusReply<QString> missing = client.call("MoveToTrash", {QStringList{session.home() + "/nothing"}});
    EXPECT_TRUE(missing.value().startsWith("nothing: ")) << missing.value().toStdString();

    // "Show in Files" asks the file manager over D-Bus to select the file.
    FileManagerDouble fileManager;
    QDBusConnection bus = session.bus();
    ASSERT_TRUE(bus.registerVirtualObject("/org/freedesktop/FileManager1", &fileManager));
    ASSERT_TRUE(bus.registerService("org.freedesktop.FileManager1"));
    ASSERT_TRUE(client.succeeds("ChooseMenuItem", {noteID, "Show in Files"}));
    EXPECT_TRUE(waitFor([&] { return !fileManager.shown.isEmpty(); }));
    EXPECT_EQ(fileManager.shown, QStringList{QUrl::fromLocalFile(noteID).toString()});
    bus.unregisterService("org.freedesktop.FileManager1");

    const QString inboxID = QFileInfo(inbox).canonicalFilePath();
    const auto drop = [&](const QStringList& paths, const QString& id, bool copy = false) {
        return client.succeeds("Drop", {paths, id, copy});
    };
    // Onto a folder: copied with its contents, or moved; a file already there is left alone.
    EXPECT_TRUE(drop({source + "/sub"}, inboxID, true));
    EXPECT_TRUE(waitFor([&] { return readFile(inbox + "/sub/b.txt") == "b"; }));
    EXPECT_TRUE(QFileInfo::exists(source + "/sub/b.txt"));
    EXPECT_TRUE(drop({source + "/a.txt", inbox + "/kept.txt"}, inboxID));
    EXPECT_TRUE(waitFor([&] { return readFile(inbox + "/a.txt") == "a"; }));
    EXPECT_FALSE(QFileInfo::exists(source + "/a.txt"));
    EXPECT_TRUE(QFileInfo::exists(inbox + "/kept.txt"));
    EXPECT_FALSE(client.object("Alert")["open"].toBool()) << "a file dropped onto its own folder is skipped";

    // A folder that cannot take them leaves the sources where they were; a vanished file says so.
    writeFile(source + "/c.txt", "new");
    EXPECT_TRUE(drop({source + "/c.txt", source + "/gone.txt"}, QFileInfo(locked).canonicalFilePath()));
    const QJsonObject alert = alertWhenShown(client);
    EXPECT_EQ(alert["text"].toString(), "Some items couldn’t be moved");
    const QStringList lines = alert["informativeText"].toString().split("\n\n");
    ASSERT_EQ(lines.size(), 2) << alert["informativeText"].toString().toStdString();
    EXPECT_TRUE(lines[0].startsWith("c.txt: ")) << lines[0].toStdString();
    EXPECT_EQ(lines[1], "gone.txt: The file no longer exists.");
    EXPECT_EQ(readFile(source + "/c.txt"), "new");
    EXPECT_EQ(readFile(locked + "/c.txt"), "old");
    EXPECT_TRUE(client.succeeds("AnswerAlert", {"OK"}));
    EXPECT_TRUE(waitFor([&] { return !client.object("Alert")["open"].toBool(); }));

    // A running program without an entry is kept through one written for it.
    const auto program = client.itemWhen("pid", windowPid(session, loose));
    ASSERT_TRUE(program);
    ASSERT_TRUE(client.succeeds("ChooseMenuItem", {(*program)["id"].toString(), "Options/Keep in Dock"}));
    const QString written = session.dataHome() + "/applications/wharf-bandclient.desktop";
    const auto kept =
        client.itemWhen("pid", windowPid(session, loose), [](const auto& item) { return item["pinned"].toBool(); });
    ASSERT_TRUE(kept) << QJsonDocument(client.items()).toJson().toStdString();
    EXPECT_EQ((*kept)["id"].toString(), QFileInfo(written).canonicalFilePath());
    const QByteArray entryText = readFile(written);
    EXPECT_TRUE(entryText.contains("StartupWMClass=BandClient")) << entryText.toStdString();
    const QString icon = QString::fromUtf8(entryText).section("Icon=", 1).section('\n', 0, 0);
    const QImage saved(icon);
    ASSERT_FALSE(saved.isNull()) << "the window icon, saved: " << icon.toStdString();
    EXPECT_EQ(saved.pixelColor(saved.width() / 2, saved.height() / 2), QColor(Qt::red));

    // After a restart the pin starts the same command line.
    EXPECT_TRUE(client.quit());
    EXPECT_EQ(E2eSession::stop(wharf, 10000), 0);
    E2eSession::stop(band);
    ASSERT_TRUE(waitFor([&] { return session.clientWindows("BandClient").empty(); }));
    ASSERT_NE(session.startWharf(), nullptr);
    ASSERT_TRUE(client.settledDock());
    const QString keptID = QFileInfo(written).canonicalFilePath();
    EXPECT_TRUE(client.item("id", keptID).value_or(QJsonObject())["pinned"].toBool());
    EXPECT_TRUE(client.succeeds("Activate", {keptID}));
    ASSERT_TRUE(session.waitForClientWindow("BandClient", 15000));
    const qint64 again = windowPid(session, session.clientWindows("BandClient").front());
    EXPECT_EQ(readFile(QStringLiteral("/proc/%1/cmdline").arg(again)), looseCommand);

    // A small ext4 volume: GIO trashes on real disk file systems only (not on tmpfs).
    const QString volume = session.root() + "/volume";
    QDir().mkpath(volume);
    const QString image = session.root() + "/volume.img";
    QFile(image).open(QIODevice::WriteOnly);
    QFile(image).resize(8 << 20);
    const QString mkfs = QStandardPaths::findExecutable("mkfs.ext4", {"/usr/sbin", "/sbin"});
    const RunResult formatted = session.run(mkfs.isEmpty() ? "mkfs.ext4" : mkfs, {"-q", "-F", image});
    const RunResult mounted = formatted.exitCode == 0 ? session.run("mount", {"-o", "loop", image, volume}) : formatted;
    if (mounted.exitCode != 0)
        GTEST_SKIP() << "this machine does not allow mounting a volume: " << mounted.err.toStdString();
    struct Unmount {
        E2eSession& session;
        QString path;
        bool done = false;
        void now() { done = done || session.run("umount", {path}).exitCode == 0; }
        ~Unmount() { now(); }
    } unmount{session, volume};

    // Another program trashes a file there (GIO, as file managers do): GIO makes $top/.Trash-$uid,
    // which Wharf learns of from the new mount and its watch on the volume.
    const QString film = writeFile(volume + "/film.mkv");
    const RunResult gio = session.run("gio", {"trash", film});
    ASSERT_EQ(gio.exitCode, 0) << gio.err.toStdString();
    EXPECT_TRUE(QFile::exists(volume + "/.Trash-" + QString::number(::getuid()) + "/files/film.mkv"));
    EXPECT_TRUE(trashBecomes(client, true));

    unmount.now();
    ASSERT_TRUE(unmount.done);
    EXPECT_TRUE(trashBecomes(client, false)) << "the unmounted volume's Trash no longer counts";
}

} // namespace
} // namespace wharf::e2e
