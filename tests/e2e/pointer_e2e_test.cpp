// The mouse on the running dock, driven by xdotool: clicks on a folder tile, context menus and
// their window lists, dragging a tile out of the row, and files dropped from another program over
// XDND.
#include "dock_e2e_client.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QThread>

#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <csignal>
#include <memory>

namespace wharf::e2e {
namespace {

void pause() { QThread::msleep(40); }

// Tells `window`'s program, as a window manager would, that the window sits at the top left:
// what a program that read its place while a window manager framed it may believe.
void claimWindowAtOrigin(E2eSession& session, quint32 window)
{
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(session.display().toLatin1().constData(), nullptr), &xcb_disconnect);
    const std::unique_ptr<xcb_get_geometry_reply_t, decltype(&free)> size(
        xcb_get_geometry_reply(connection.get(), xcb_get_geometry(connection.get(), window), nullptr), &free);
    ASSERT_TRUE(size);
    xcb_configure_notify_event_t notify = {};
    notify.response_type = XCB_CONFIGURE_NOTIFY;
    notify.event = notify.window = window;
    notify.width = size->width;
    notify.height = size->height;
    xcb_send_event(connection.get(), 0, window, XCB_EVENT_MASK_STRUCTURE_NOTIFY, reinterpret_cast<const char*>(&notify));
    xcb_flush(connection.get());
}

void moveTo(E2eSession& session, const QPointF& at)
{
    movePointer(session, at);
    pause();
}

void click(E2eSession& session, const QPointF& at, int button = 1)
{
    moveTo(session, at);
    session.xdotool({"click", QString::number(button)});
}

// Presses at `from` and moves in small steps to `to`, modifier `keys` held from the press on.
void press(E2eSession& session, const QPointF& from, const QPointF& to, const QString& keys = {})
{
    moveTo(session, from);
    session.xdotool({"mousedown", "1"});
    pause();
    if (!keys.isEmpty())
        session.xdotool({"keydown", keys});
    constexpr int steps = 16;
    for (int i = 1; i <= steps; ++i)
        moveTo(session, from + (to - from) * (double(i) / steps));
}

// Drags from `from` to `to` and lets go there (modifier keys held throughout). With `aim`, the
// pointer then follows where `aim` says the target now is (a tile the row has moved under it)
// until `aim` answers that it is there.
void drag(E2eSession& session, const QPointF& from, const QPointF& to, const QString& keys = {},
          const std::function<std::optional<QPointF>()>& aim = {})
{
    press(session, from, to, keys);
    QPointF end = to;
    for (int i = 0; aim && i < 20; ++i) {
        QThread::msleep(200); // the row settles around the pointer
        const auto next = aim();
        if (!next)
            break;
        end = *next;
        moveTo(session, end);
    }
    moveTo(session, end + QPointF(1, 0)); // one more motion at the target, for the drop site to answer
    // A release before the drop site has answered the last position is no drop; give it time to.
    QThread::msleep(300);
    // Keys come up right behind the button, as a hand lets go: the drop is read after both.
    QStringList release{"mouseup", "1"};
    if (!keys.isEmpty())
        release << "keyup" << keys;
    session.xdotool(release);
    pause();
}

class PointerE2e : public testing::Test {
protected:
    void SetUp() override { WHARF_REQUIRE_SESSION(session); }

    // Two applications of their own and a folder, pinned; Wharf started.
    void startWithPins()
    {
        for (const QString name : {"alpha", "beta"})
            apps << session.writeDesktopEntry(name, name, "true");
        folder = session.home() + "/Inbox";
        QDir().mkpath(folder);
        writeWharfSettings(session, {}, {{apps[0], "application"}, {apps[1], "application"}, {folder, "folder"}});
        start();
    }

    void start()
    {
        session.xdotool({"mousemove", "5", "5"});
        session.setEnv("QT_LOGGING_RULES", "wharf.dock.drag.debug=true");
        wharf = session.startWharf();
        ASSERT_NE(wharf, nullptr);
        ASSERT_TRUE(client.settledDock());
    }

    // Drags `path` from the drag-source program's window onto the tile `id`, wherever the magnified row
    // has put it: the pointer follows it until the dock would drop there. Returns what the drop site
    // answered.
    QByteArray dragFromAnotherProgram(const QString& path, const QString& id, const QString& keys = {})
    {
        const QString wmClass = "rag_source";
        const std::size_t before = session.clientWindows(wmClass).size();
        QProcess* source = session.start(DRAG_SOURCE, {"100", "100", path});
        if (!source->waitForReadyRead(10000)
            || !waitFor([&] { return session.clientWindows(wmClass).size() > before; }))
            return "no drag source";
        source->readAll();
        client.settledDock();
        drag(session, QPointF(160, 160), client.tile(id).center(), keys, [&]() -> std::optional<QPointF> {
            // What letting go now would do, as the first dock answers it.
            const auto docks = client.docks();
            if (!docks.empty() && docks.front().json["drop"]["target"] == docks.front().ids.indexOf(id))
                return std::nullopt; // the dock would drop right there
            return client.tile(id).center();
        });
        waitFor([&] { return source->canReadLine(); });
        const QByteArray answer = source->readLine().trimmed();
        E2eSession::stop(source);
        return answer;
    }

    E2eSession session;
    DockClient client{session};
    QProcess* wharf = nullptr;
    QStringList apps;
    QString folder;
};

// A running pinned application: its menu lists its windows and choosing one focuses it; dragged out
// of the dock it stays as a running tile, and "Keep in Dock" pins it again.
TEST_F(PointerE2e, TheMenuOfAnApplicationListsItsWindowsAndARunningPinDraggedOutStaysAsARunningTile)
{
    const QString appID = "/usr/share/applications/debian-xterm.desktop";
    ASSERT_TRUE(QFileInfo::exists(appID)) << "xterm's desktop entry";
    writeWharfSettings(session, {}, {{appID, "application"}});
    const std::vector<quint32> xterms{startXterm(session, {"-geometry", "40x10+100+100"}),
                                      startXterm(session, {"-geometry", "40x10+600+100"})};
    ASSERT_TRUE(xterms[0] && xterms[1]);
    start();
    const auto xterm = [&] { return client.item("id", appID).value_or(QJsonObject()); };
    ASSERT_TRUE(waitFor([&] { return xterm()["pinned"].toBool() && !xterm()["pid"].isNull(); }));
    // The menu lists the windows in this order; the second one is chosen while the first has the focus.
    QStringList listed;
    ASSERT_TRUE(waitFor([&] {
        listed.clear();
        for (const QJsonValue& w : client.json("Windows", {appID}).array())
            listed << w["id"].toString();
        return listed.size() == 2;
    }));
    const quint32 first = listed[0].mid(7).toUInt();
    const quint32 second = listed[1].mid(7).toUInt();
    session.xdotool({"windowactivate", QString::number(first)});
    ASSERT_TRUE(waitFor([&] { return activeWindow(session) == first; }));

    ASSERT_TRUE(client.settledDock());
    click(session, client.tile(appID).center(), 3);
    ASSERT_TRUE(waitFor([&] { return openMenus(session, wharf->processId()).size() == 1; }))
        << "a right-click pops up one menu";
    const auto dock = client.docks().front();
    EXPECT_EQ(dock.hoveredIndex, dock.ids.indexOf(appID)) << "the tile stays hovered while its menu is open";
    const QRect menu = windowFrame(session, openMenus(session, wharf->processId()).front());
    const QRectF tile = client.tile(appID);
    EXPECT_LE(menu.bottom(), tile.top()) << "the menu opens above the tile";
    EXPECT_NEAR(menu.center().x(), tile.center().x(), 2) << "centred on it";
    session.xdotool({"key", "Down", "Down", "Return"});
    EXPECT_TRUE(waitFor([&] { return activeWindow(session) == second; }));
    EXPECT_TRUE(waitFor([&] { return openMenus(session, wharf->processId()).isEmpty(); }));

    // Dragged out, the running application is unpinned and keeps its tile.
    ASSERT_TRUE(client.settledDock());
    const QRectF pinnedTile = client.tile(appID);
    drag(session, pinnedTile.center(), QPointF(pinnedTile.center().x(), pinnedTile.top() - 300));
    EXPECT_TRUE(waitFor([&] { return !xterm().isEmpty() && !xterm()["pinned"].toBool(); }))
        << "unpinned, still in the dock while it runs";

    // "Keep in Dock" from the keyboard, past the two windows into Options (the operations test
    // restarts Wharf with a pin kept this way).
    ASSERT_TRUE(client.settledDock());
    click(session, client.tile(appID).center(), 3);
    ASSERT_TRUE(waitFor([&] { return openMenus(session, wharf->processId()).size() == 1; }));
    session.xdotool({"key", "Down", "Down", "Down", "Right", "Return"});
    ASSERT_TRUE(waitFor([&] { return xterm()["pinned"].toBool(); })) << "Keep in Dock pins it again";

    // The application quits under its open menu (shown over D-Bus this time).
    EXPECT_TRUE(client.succeeds("ShowMenu", {appID}));
    ASSERT_TRUE(waitFor([&] { return openMenus(session, wharf->processId()).size() == 1; }));
    for (const quint32 w : xterms)
        session.run("kill", {QString::number(windowPid(session, w))});
    ASSERT_TRUE(waitFor([&] { return session.clientWindows("xterm").empty(); }));
    session.xdotool({"key", "Down", "Return"});
    QThread::msleep(500);
    EXPECT_FALSE(client.docks().empty()) << "choosing a window that has gone is harmless";
}

TEST_F(PointerE2e, AFolderTileClickedOpensAndClosesItsStackAndDraggedUpOutOfTheDockIsUnpinnedUnlessEscaped)
{
    startWithPins();
    const QString id = QFileInfo(folder).canonicalFilePath();
    const QRectF tile = client.tile(id);
    ASSERT_FALSE(tile.isEmpty());
    // A second click reaches the tile through the open stack and closes it.
    click(session, tile.center());
    ASSERT_TRUE(waitFor([&] { return client.object("Stack")["open"].toBool(); }));
    click(session, tile.center());
    ASSERT_TRUE(waitFor([&] { return !client.object("Stack")["open"].toBool(); }));

    const QPointF above(tile.center().x(), tile.top() - 300);
    // Given up with Escape, the button let go right after, both before a busy dock reads either:
    // it stays.
    press(session, tile.center(), above);
    ::kill(pid_t(wharf->processId()), SIGSTOP);
    session.xdotool({"key", "Escape", "mouseup", "1"});
    ::kill(pid_t(wharf->processId()), SIGCONT);
    ASSERT_TRUE(client.settledDock());
    EXPECT_TRUE(client.itemIDs().contains(id)) << "an escaped drag removes nothing";

    // Told a wrong place for its window, the dock finds out and sets Qt right: what it places
    // against its window (here the divider) stays where it is.
    const auto docks = session.clientWindows("wharf");
    ASSERT_EQ(docks.size(), 1u);
    const auto divider = [&] { return client.docks().front().json["divider"].toArray(); };
    const QJsonArray before = divider();
    claimWindowAtOrigin(session, docks.front());
    QThread::msleep(300);
    EXPECT_EQ(divider(), before);

    // Let go over the desktop far above the icons: nothing takes it, so it leaves the dock.
    press(session, tile.center(), above);
    EXPECT_TRUE(waitFor([&] { return client.docks().front().json["drag"].toObject()["id"] == id; }))
        << "the drag starts; the dock: "
        << QJsonDocument(client.docks().front().json).toJson(QJsonDocument::Compact).toStdString();
    moveTo(session, above + QPointF(1, 0));
    session.xdotool({"mouseup", "1"});
    EXPECT_TRUE(waitFor([&] { return !client.itemIDs().contains(id); })) << wharf->readAllStandardError().toStdString();
    EXPECT_TRUE(QFileInfo::exists(folder)) << "the folder itself is untouched";
    EXPECT_EQ(wharf->state(), QProcess::Running);
}

TEST_F(PointerE2e, AnApplicationDraggedAlongTheRowMovesAndFilesDroppedFromAnotherProgramMoveOrCopy)
{
    startWithPins();
    const QString alpha = QFileInfo(apps[0]).canonicalFilePath();
    const QString beta = QFileInfo(apps[1]).canonicalFilePath();
    ASSERT_EQ(client.itemIDs().mid(0, 2), (QStringList{alpha, beta}));
    const QRectF past = client.tile(beta);
    const QPointF target(past.right() + past.width() * 0.3, past.center().y());

    // Held over the new place, the dragged tile already sits there and the other one has moved aside.
    press(session, client.tile(alpha).center(), target);
    EXPECT_TRUE(waitFor([&] {
        const QJsonObject drag = client.docks().front().json["drag"].toObject();
        return drag["id"] == alpha && drag["slot"] == 1 && client.tile(alpha).left() > client.tile(beta).left();
    })) << "the row makes room while the tile is held; the dock: "
        << QJsonDocument(client.docks().front().json).toJson(QJsonDocument::Compact).toStdString();
    moveTo(session, target + QPointF(1, 0));
    session.xdotool({"mouseup", "1"});
    ASSERT_TRUE(waitFor([&] { return client.itemIDs().mid(0, 2) == QStringList{beta, alpha}; }))
        << client.itemIDs().join(' ').toStdString();

    // Files dropped from another program move into a folder and copy with Alt. (Where one dropped
    // between the icons is pinned, the view test reads from the drop.)
    const QString inbox = QFileInfo(folder).canonicalFilePath();
    const QString moved = writeFile(session.home() + "/moved.txt");
    const QString copied = writeFile(session.home() + "/copied.txt");
    EXPECT_EQ(dragFromAnotherProgram(moved, inbox), QByteArray("dropped move"));
    EXPECT_TRUE(waitFor([&] { return QFileInfo::exists(inbox + "/moved.txt"); }));
    EXPECT_FALSE(QFileInfo::exists(moved));
    EXPECT_EQ(dragFromAnotherProgram(copied, inbox, "alt"), QByteArray("dropped copy"));
    EXPECT_TRUE(waitFor([&] { return QFileInfo::exists(inbox + "/copied.txt"); }));
    EXPECT_TRUE(QFileInfo::exists(copied)) << "Alt copies";
}

} // namespace
} // namespace wharf::e2e
