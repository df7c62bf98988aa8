// Other programs' windows under a real X server and window manager: minimized xterms become
// window tiles before the Trash, and activating a tile restores that one window.
#include "dock_e2e_client.h"

#include <QDBusInterface>
#include <QDBusReply>
#include <QColor>
#include <QImage>
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

QDBusMessage call(E2eSession& session, const QString& method, const QString& id)
{
    return QDBusInterface(QStringLiteral("com.tamberly.Wharf"), QStringLiteral("/com/tamberly/Wharf"),
                          QStringLiteral("com.tamberly.Wharf"), session.bus())
        .call(method, id);
}

bool activate(E2eSession& session, const QString& id)
{
    const QDBusReply<bool> reply = call(session, QStringLiteral("Activate"), id);
    return reply.isValid() && reply.value();
}

// The windows Wharf lists for the item running as `pid` (its context menu's list): id -> minimized.
// The window list of item `id` (what its context menu shows): window id -> minimized.
QMap<QString, bool> windowsOfItem(E2eSession& session, const QString& id)
{
    QMap<QString, bool> out;
    const QDBusReply<QString> reply = call(session, QStringLiteral("Windows"), id);
    for (const QJsonValue& w : QJsonDocument::fromJson(reply.value().toUtf8()).array())
        out.insert(w.toObject()[QStringLiteral("id")].toString(), w.toObject()[QStringLiteral("minimized")].toBool());
    return out;
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
    const auto dock = client.settledDock();
    ASSERT_TRUE(dock);
    EXPECT_TRUE(windowTiles(client).isEmpty()) << "nothing is minimized yet";

    // The xterms form one application, whose pid follows the focus; its window list (for the context
    // menu) shows the windows of all its processes, whichever has the focus.
    qint64 appPid = 0;
    QString appID;
    ASSERT_TRUE(E2eSession::waitFor([&] {
        for (const QJsonValue& item : client.items()) {
            for (quint32 w : xterms) {
                if (item.toObject()[QStringLiteral("pid")].toInteger() == windowPid(session, w)) {
                    appPid = windowPid(session, w);
                    appID = item.toObject()[QStringLiteral("id")].toString();
                }
            }
        }
        return appPid != 0;
    }));
    const quint32 first = windowPid(session, xterms[0]) == appPid ? xterms[0] : xterms[1];
    const quint32 second = first == xterms[0] ? xterms[1] : xterms[0];
    ASSERT_TRUE(E2eSession::waitFor([&] { return windowsOfItem(session, appID).contains(tileID(first)); }));
    EXPECT_FALSE(windowsOfItem(session, appID).value(tileID(first)));
    EXPECT_TRUE(windowsOfItem(session, appID).contains(tileID(second))) << "both processes' windows";

    // Minimizing it through Wharf gives it a tile, after the items and before the Trash; so does a
    // window minimized by anyone else.
    EXPECT_TRUE(QDBusReply<bool>(call(session, QStringLiteral("Minimize"), tileID(first))).value());
    ASSERT_TRUE(E2eSession::waitFor([&] { return windowTiles(client) == QStringList{tileID(first)}; }))
        << client.docks().front().ids.join(QLatin1Char(' ')).toStdString();
    EXPECT_TRUE(windowsOfItem(session, appID).value(tileID(first))) << "listed as minimized now";
    session.xdotool({QStringLiteral("windowminimize"), QString::number(second)});
    // Tiles follow the window manager's client list.
    ASSERT_TRUE(E2eSession::waitFor([&] {
        return windowTiles(client) == QStringList{tileID(xterms[0]), tileID(xterms[1])};
    })) << client.docks().front().ids.join(QLatin1Char(' ')).toStdString();
    const QStringList ids = client.docks().front().ids;
    EXPECT_EQ(ids.indexOf(tileID(xterms[1])), ids.size() - 2);
    for (const auto& other : client.docks())
        EXPECT_TRUE(other.ids.contains(tileID(first))) << "every dock shows the tile";

    // Activating a tile restores that one window and makes it active; its tile goes away.
    EXPECT_TRUE(activate(session, tileID(xterms[0])));
    EXPECT_TRUE(E2eSession::waitFor([&] { return activeWindow(session) == xterms[0] && !isIconic(session, xterms[0]); }));
    EXPECT_TRUE(E2eSession::waitFor([&] { return windowTiles(client) == QStringList{tileID(xterms[1])}; }));
    EXPECT_TRUE(isIconic(session, xterms[1])) << "the other window stays minimized";

    EXPECT_FALSE(activate(session, tileID(xterms[0]))) << "a restored window has no tile to activate";
    EXPECT_FALSE(activate(session, QStringLiteral("window-nonsense")));
    EXPECT_FALSE(QDBusReply<bool>(call(session, QStringLiteral("Minimize"), QStringLiteral("window-1"))).value());
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
    const QRectF tile = dock->tiles[dock->ids.indexOf(tileID(other))];
    const QImage shot = session.screenshot();
    int red = 0, total = 0;
    for (int y = int(tile.center().y()) - 6; y <= int(tile.center().y()) + 6; ++y) {
        for (int x = int(tile.center().x()) - 6; x <= int(tile.center().x()) + 6; ++x, ++total) {
            const QColor c = shot.pixelColor(x, y);
            red += c.red() > 200 && c.green() < 60 && c.blue() < 60;
        }
    }
    EXPECT_GT(red, total / 2) << "the tile shows the window's red icon, not a generic one";
}

} // namespace
} // namespace wharf::e2e
