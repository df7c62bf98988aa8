// Other programs' windows under a real X server and window manager: minimized xterms become
// window tiles before the Trash, showing their program's icon (whichever of its processes, or none,
// the window names), and activating a tile restores that one window.
#include "dock_e2e_client.h"

#include <QMap>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

QString tileID(quint32 window) { return "window-" + QString::number(window); }

// The window tiles of the first dock, in dock order, when the Trash is still the last tile.
QStringList windowTiles(DockClient& client)
{
    const auto docks = client.docks();
    if (docks.empty() || docks.front().ids.isEmpty() || docks.front().ids.last().startsWith("window-"))
        return {};
    return docks.front().ids.filter(QRegularExpression("^window-"));
}

// The window list of item `id` (what its context menu shows): window id -> minimized.
QMap<QString, bool> windowsOfItem(DockClient& client, const QString& id)
{
    QMap<QString, bool> out;
    for (const QJsonValue& w : client.json("Windows", {id}).array())
        out.insert(w["id"].toString(), w["minimized"].toBool());
    return out;
}

TEST(WindowControl, MinimizedWindowsBecomeTilesWithTheirIconsAndActivatingOneRestoresIt)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    session.start("xterm", {"-geometry", "40x10+100+100"});
    // A 100 KB title costs one bounded read and changes nothing else.
    session.start("xterm", {"-geometry", "40x10+600+100", "-T", QString(100000, 't')});
    // Two processes of one program (one class) form one application, which reports one of them.
    // One of them in IconicState without being minimized, as mutter keeps the windows of other
    // workspaces, and not to be minimized, as kwin says of a window that takes no input.
    session.start(BAND_CLIENT, {"100", "400", "200", "150", "--red-icon"});
    session.start(BAND_CLIENT, {"500", "400", "200", "150", "--red-icon", "--iconic-state", "--no-minimize"});
    session.start("xcalc", {"-geometry", "+900+100"}); // names no _NET_WM_PID
    ASSERT_TRUE(waitFor([&] {
        return session.clientWindows("xterm").size() == 2 && session.clientWindows("bandclient").size() == 2
            && session.clientWindows("xcalc").size() == 1;
    }));
    const std::vector<quint32> xterms = session.clientWindows("xterm");
    const std::vector<quint32> clients = session.clientWindows("bandclient");
    const quint32 calc = session.clientWindows("xcalc").front();
    ASSERT_TRUE(waitFor([&] { return isIconic(session, clients[0]) || isIconic(session, clients[1]); }));
    ASSERT_NE(session.startWharf(), nullptr);
    DockClient client(session);
    ASSERT_TRUE(client.settledDock());
    EXPECT_TRUE(windowTiles(client).isEmpty()) << "nothing is minimized yet";

    // The xterms form one application; its window list (for the context menu) shows the windows of
    // both processes, and which are minimized.
    QString appID;
    const auto isXterm = [](const QJsonObject& item) { return item["id"].toString().endsWith("xterm.desktop"); };
    ASSERT_TRUE(waitFor([&] {
        appID = client.itemIDs(isXterm).value(0);
        return windowsOfItem(client, appID).size() == 2;
    }));
    EXPECT_FALSE(windowsOfItem(client, appID).value(tileID(xterms[0])));

    // Minimizing one through Wharf gives it a tile, after the items and before the Trash; so does a
    // window minimized by anyone else.
    EXPECT_TRUE(client.succeeds("Minimize", {tileID(xterms[0])}));
    ASSERT_TRUE(waitFor([&] { return windowTiles(client) == QStringList{tileID(xterms[0])}; }))
        << client.docks().front().ids.join(' ').toStdString();
    EXPECT_TRUE(windowsOfItem(client, appID).value(tileID(xterms[0]))) << "listed as minimized now";
    session.xdotool({"windowminimize", QString::number(xterms[1])});
    // Tiles follow the window manager's client list.
    ASSERT_TRUE(waitFor([&] { return windowTiles(client) == QStringList{tileID(xterms[0]), tileID(xterms[1])}; }))
        << client.docks().front().ids.join(' ').toStdString();
    // "Show desktop" hides every window; mutter marks them all as minimized meanwhile, which
    // must not give each its own tile. Said here as mutter says it.
    const auto showDesktop = [&](const char* on) {
        session.xprop({"-root", "-f", "_NET_SHOWING_DESKTOP", "32c", "-set", "_NET_SHOWING_DESKTOP", on});
    };
    showDesktop("1");
    EXPECT_TRUE(waitFor([&] { return windowTiles(client).isEmpty(); })) << "no tiles while the desktop shows";
    const auto shown = [](const auto& xterm) { return !xterm["hidden"].toBool(); };
    EXPECT_TRUE(client.itemWhen("id", appID, shown, 3000)) << "nor is the xterm hidden";
    showDesktop("0");
    ASSERT_TRUE(waitFor([&] { return windowTiles(client).size() == 2; }));

    // Activating a tile restores that one window and makes it active; its tile goes away.
    EXPECT_TRUE(client.succeeds("Activate", {tileID(xterms[0])}));
    EXPECT_TRUE(waitFor([&] { return activeWindow(session) == xterms[0] && !isIconic(session, xterms[0]); }));
    EXPECT_TRUE(waitFor([&] { return windowTiles(client) == QStringList{tileID(xterms[1])}; }));
    EXPECT_TRUE(isIconic(session, xterms[1])) << "the other window stays minimized";

    EXPECT_FALSE(client.succeeds("Activate", {tileID(xterms[0])})) << "a restored window has no tile";
    EXPECT_FALSE(client.succeeds("Activate", {"window-nonsense"}));
    EXPECT_FALSE(client.succeeds("Minimize", {"window-1"}));

    // A window the window manager will not minimize stays, and an alert says why.
    const quint32 unminimizable = isIconic(session, clients[0]) ? clients[0] : clients[1];
    EXPECT_TRUE(client.succeeds("Minimize", {tileID(unminimizable)}));
    const auto alert = [&] { return client.object("Alert")["informativeText"].toString(); };
    EXPECT_TRUE(waitFor([&] { return alert().contains("does not support"); })) << "minimized: "
                                                                                << isIconic(session, unminimizable);
    EXPECT_TRUE(client.succeeds("AnswerAlert", {"OK"}));

    // Windows of the band client's unreported process and of xcalc, which names none, show their program's icon.
    quint32 other = 0;
    ASSERT_TRUE(waitFor([&] {
        if (client.item("pid", windowPid(session, clients[0])))
            other = clients[1];
        else if (client.item("pid", windowPid(session, clients[1])))
            other = clients[0];
        return other != 0;
    }));
    session.xdotool({"windowminimize", QString::number(other)});
    const QString calcID = client.itemIDs([](const QJsonObject& item) { return item["title"] == "XCalc"; }).value(0);
    EXPECT_TRUE(windowsOfItem(client, calcID).contains(tileID(calc))) << calcID.toStdString();
    EXPECT_TRUE(client.succeeds("Minimize", {tileID(calc)}));
    ASSERT_TRUE(waitFor([&] { return windowTiles(client).size() == 3; })) << "the other xterm's, the band client's, xcalc's";
    ASSERT_TRUE(client.settledDock());
    const QImage shot = session.screenshot();
    const auto iconPixels = [&](quint32 window, const QColor& colour) {
        const QPoint centre = client.tile(tileID(window)).center().toPoint();
        return pixelsOf(shot, QRect(centre - QPoint(6, 6), QSize(13, 13)), colour);
    };
    EXPECT_GT(iconPixels(other, Qt::red), 13 * 13 / 2) << "the program's red icon, not a generic one";
    EXPECT_GT(iconPixels(calc, Qt::black), 13 * 13 / 6) << "the calculator's black keys, not the generic icon";
}

} // namespace
} // namespace wharf::e2e
