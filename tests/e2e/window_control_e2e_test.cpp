// Other programs' windows under a real X server and window manager: minimized xterms become
// window tiles before the Trash, and activating a tile restores that one window.
#include "dock_e2e_client.h"

#include <QDBusReply>
#include <QMap>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

QString tileID(quint32 window) { return QStringLiteral("window-") + QString::number(window); }

// The window tiles of the first dock, in dock order, when the Trash is still the last tile.
QStringList windowTiles(DockClient& client)
{
    const auto docks = client.docks();
    if (docks.empty() || docks.front().ids.isEmpty() || docks.front().ids.last().startsWith(QStringLiteral("window-")))
        return {};
    QStringList tiles;
    for (const QString& id : docks.front().ids) {
        if (id.startsWith(QStringLiteral("window-")))
            tiles << id;
    }
    return tiles;
}

// The window list of item `id` (what its context menu shows): window id -> minimized.
QMap<QString, bool> windowsOfItem(DockClient& client, const QString& id)
{
    QMap<QString, bool> out;
    const QDBusReply<QString> reply = client.call(QStringLiteral("Windows"), {id});
    for (const QJsonValue& w : QJsonDocument::fromJson(reply.value().toUtf8()).array())
        out.insert(w.toObject()[QStringLiteral("id")].toString(), w.toObject()[QStringLiteral("minimized")].toBool());
    return out;
}

bool called(DockClient& client, const QString& method, const QString& id)
{
    const QDBusReply<bool> reply = client.call(method, {id});
    return reply.isValid() && reply.value();
}

qint64 windowPid(E2eSession& session, quint32 window)
{
    return session.xprop({QStringLiteral("-id"), QString::number(window), QStringLiteral("_NET_WM_PID")})
        .section(QLatin1Char('='), 1).trimmed().toLongLong();
}

TEST(WindowControl, MinimizedWindowsBecomeTilesAndActivatingOneRestoresIt)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    session.start(QStringLiteral("xterm"), {QStringLiteral("-geometry"), QStringLiteral("40x10+100+100")});
    // A 100 KB title costs one bounded read and changes nothing else.
    session.start(QStringLiteral("xterm"), {QStringLiteral("-geometry"), QStringLiteral("40x10+600+100"),
                                            QStringLiteral("-T"), QString(100000, QLatin1Char('t'))});
    ASSERT_TRUE(E2eSession::waitFor([&] { return session.clientWindows(QStringLiteral("xterm")).size() == 2; }));
    const std::vector<quint32> xterms = session.clientWindows(QStringLiteral("xterm"));
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    ASSERT_TRUE(client.settledDock());
    EXPECT_TRUE(windowTiles(client).isEmpty()) << "nothing is minimized yet";

    // The xterms form one application; its window list (for the context menu) shows the windows of
    // both processes, and which are minimized.
    QString appID;
    ASSERT_TRUE(E2eSession::waitFor([&] {
        for (const QJsonValue& item : client.items()) {
            if (item.toObject()[QStringLiteral("id")].toString().endsWith(QStringLiteral("xterm.desktop")))
                appID = item.toObject()[QStringLiteral("id")].toString();
        }
        return windowsOfItem(client, appID).size() == 2;
    }));
    EXPECT_FALSE(windowsOfItem(client, appID).value(tileID(xterms[0])));

    // Minimizing one through Wharf gives it a tile, after the items and before the Trash; so does a
    // window minimized by anyone else.
    EXPECT_TRUE(called(client, QStringLiteral("Minimize"), tileID(xterms[0])));
    ASSERT_TRUE(E2eSession::waitFor([&] { return windowTiles(client) == QStringList{tileID(xterms[0])}; }))
        << client.docks().front().ids.join(QLatin1Char(' ')).toStdString();
    EXPECT_TRUE(windowsOfItem(client, appID).value(tileID(xterms[0]))) << "listed as minimized now";
    session.xdotool({QStringLiteral("windowminimize"), QString::number(xterms[1])});
    // Tiles follow the window manager's client list.
    ASSERT_TRUE(E2eSession::waitFor([&] {
        return windowTiles(client) == QStringList{tileID(xterms[0]), tileID(xterms[1])};
    })) << client.docks().front().ids.join(QLatin1Char(' ')).toStdString();

    // Activating a tile restores that one window and makes it active; its tile goes away.
    EXPECT_TRUE(called(client, QStringLiteral("Activate"), tileID(xterms[0])));
    EXPECT_TRUE(E2eSession::waitFor([&] { return activeWindow(session) == xterms[0] && !isIconic(session, xterms[0]); }));
    EXPECT_TRUE(E2eSession::waitFor([&] { return windowTiles(client) == QStringList{tileID(xterms[1])}; }));
    EXPECT_TRUE(isIconic(session, xterms[1])) << "the other window stays minimized";

    EXPECT_FALSE(called(client, QStringLiteral("Activate"), tileID(xterms[0]))) << "a restored window has no tile";
    EXPECT_FALSE(called(client, QStringLiteral("Activate"), QStringLiteral("window-nonsense")));
    EXPECT_FALSE(called(client, QStringLiteral("Minimize"), QStringLiteral("window-1")));
    EXPECT_EQ(wharf->state(), QProcess::Running);
}

TEST(WindowControl, AWindowOfAProcessTheDockHasNoIconForShowsItsOwnIcon)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    // Two processes of one program (one class) form one application, which reports one of them.
    for (const char* x : {"100", "500"})
        session.start(QStringLiteral(BAND_CLIENT), {QLatin1String(x), QStringLiteral("100"), QStringLiteral("200"),
                                                    QStringLiteral("150"), QStringLiteral("--red-icon")});
    ASSERT_TRUE(E2eSession::waitFor([&] { return session.clientWindows(QStringLiteral("bandclient")).size() == 2; }));
    const std::vector<quint32> clients = session.clientWindows(QStringLiteral("bandclient"));
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    ASSERT_TRUE(client.settledDock());
    quint32 other = 0;
    ASSERT_TRUE(E2eSession::waitFor([&] {
        for (const QJsonValue& item : client.items()) {
            const qint64 pid = item.toObject()[QStringLiteral("pid")].toInteger();
            if (pid == windowPid(session, clients[0]))
                other = clients[1];
            else if (pid == windowPid(session, clients[1]))
                other = clients[0];
        }
        return other != 0;
    }));

    session.xdotool({QStringLiteral("windowminimize"), QString::number(other)});
    ASSERT_TRUE(E2eSession::waitFor([&] { return windowTiles(client) == QStringList{tileID(other)}; }));
    const auto dock = client.settledDock();
    ASSERT_TRUE(dock);
    const QPoint centre = dock->tiles[dock->ids.indexOf(tileID(other))].center().toPoint();
    EXPECT_GT(pixelsOf(session.screenshot(), QRect(centre - QPoint(6, 6), QSize(13, 13)), Qt::red), 13 * 13 / 2)
        << "the tile shows the window's red icon, not a generic one";
}

} // namespace
} // namespace wharf::e2e
