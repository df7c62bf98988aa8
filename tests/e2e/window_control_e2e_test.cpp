// Other programs' windows under a real X server and window manager: minimized xterms become
// window tiles before the Trash, and activating a tile restores that one window.
#include "dock_e2e_client.h"

#include <QDBusInterface>
#include <QDBusReply>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

quint32 activeWindow(E2eSession& session)
{
    const QString out = session.xprop({QStringLiteral("-root"), QStringLiteral("_NET_ACTIVE_WINDOW")});
    bool ok = false;
    const quint32 id = out.section(QLatin1Char('#'), 1).trimmed().section(QLatin1Char(','), 0, 0).toUInt(&ok, 16);
    return ok ? id : 0;
}

bool isIconic(E2eSession& session, quint32 window)
{
    return session.xprop({QStringLiteral("-id"), QString::number(window), QStringLiteral("WM_STATE")})
        .contains(QStringLiteral("Iconic"));
}

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

bool activate(E2eSession& session, const QString& id)
{
    const QDBusReply<bool> reply = QDBusInterface(QStringLiteral("com.tamberly.Wharf"), QStringLiteral("/com/tamberly/Wharf"),
                                                  QStringLiteral("com.tamberly.Wharf"), session.bus())
                                       .call(QStringLiteral("Activate"), id);
    return reply.isValid() && reply.value();
}

TEST(WindowControl, MinimizedWindowsBecomeTilesAndActivatingOneRestoresIt)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    for (const char* geometry : {"40x10+100+100", "40x10+600+100"}) {
        session.start(QStringLiteral("xterm"), {QStringLiteral("-geometry"), QLatin1String(geometry)});
    }
    ASSERT_TRUE(E2eSession::waitFor([&] { return session.clientWindows(QStringLiteral("xterm")).size() == 2; }));
    const std::vector<quint32> xterms = session.clientWindows(QStringLiteral("xterm"));
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    const auto dock = client.settledDock();
    ASSERT_TRUE(dock);
    EXPECT_TRUE(windowTiles(client).isEmpty()) << "nothing is minimized yet";

    // Each minimized window gets its own tile, after the items and before the Trash.
    session.xdotool({QStringLiteral("windowminimize"), QString::number(xterms[0])});
    ASSERT_TRUE(E2eSession::waitFor([&] { return windowTiles(client) == QStringList{tileID(xterms[0])}; }))
        << client.docks().front().ids.join(QLatin1Char(' ')).toStdString();
    session.xdotool({QStringLiteral("windowminimize"), QString::number(xterms[1])});
    ASSERT_TRUE(E2eSession::waitFor([&] {
        return windowTiles(client) == QStringList{tileID(xterms[0]), tileID(xterms[1])};
    })) << client.docks().front().ids.join(QLatin1Char(' ')).toStdString();
    const QStringList ids = client.docks().front().ids;
    EXPECT_EQ(ids.indexOf(tileID(xterms[1])), ids.size() - 2);
    for (const auto& other : client.docks())
        EXPECT_TRUE(other.ids.contains(tileID(xterms[0]))) << "every dock shows the tile";

    // Activating a tile restores that one window and makes it active; its tile goes away.
    EXPECT_TRUE(activate(session, tileID(xterms[0])));
    EXPECT_TRUE(E2eSession::waitFor([&] { return activeWindow(session) == xterms[0] && !isIconic(session, xterms[0]); }));
    EXPECT_TRUE(E2eSession::waitFor([&] { return windowTiles(client) == QStringList{tileID(xterms[1])}; }));
    EXPECT_TRUE(isIconic(session, xterms[1])) << "the other window stays minimized";

    EXPECT_FALSE(activate(session, tileID(xterms[0]))) << "a restored window has no tile to activate";
    EXPECT_FALSE(activate(session, QStringLiteral("window-nonsense")));
    EXPECT_EQ(wharf->state(), QProcess::Running);
}

} // namespace
} // namespace wharf::e2e
