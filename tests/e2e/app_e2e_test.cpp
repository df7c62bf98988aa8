// The application around the dock on a real desktop: the first start's pins from GNOME's
// favourites, the settings window driven from the keyboard and reopened where it was left, the tray
// menu and its D-Bus twin.
#include "dock_e2e_client.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

const QString settingsTitle = "^Wharf Settings$";

// The first visible window whose title matches, as an xdotool window id; empty when none.
QString findWindow(E2eSession& session, const QString& title, int timeoutMs = 10000)
{
    QString found;
    waitFor([&] {
        const RunResult r = session.xdotool({"search", "--onlyvisible", "--name", title});
        found = r.out.split('\n', Qt::SkipEmptyParts).value(0);
        return !found.isEmpty();
    }, timeoutMs, 50);
    return found;
}

void keys(E2eSession& session, const QStringList& names)
{
    for (const QString& name : names)
        session.xdotool({"key", "--delay", "40", name});
}

// The pixels in `area` of a screenshot that differ from the tray's empty background.
QRect paintedArea(const QImage& shot, const QRect& area, QRgb background)
{
    QRect painted;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (shot.pixel(x, y) != background)
                painted |= QRect(x, y, 1, 1);
    return painted;
}

TEST(App, FirstStartPinsGnomeFavouritesTheTrayIconAndDBusShowTheSameMenuAndTheSettingsWindowWorksFromTheKeyboard)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    session.start("trayer", {"--edge", "top", "--align", "right", "--widthtype", "pixel", "--width", "64",
                             "--height", "32", "--tint", "0x000000", "--transparent", "false"});
    ASSERT_TRUE(session.waitForClientWindow("trayer"));
    const QRect tray(1920 - 64, 0, 64, 32);
    const QRgb background = session.screenshot().pixel(tray.center());

    // GNOME's favourites through a private schema and the keyfile backend: the first start pins
    // them in order, skipping unknown ids.
    const QString alpha = session.writeDesktopEntry("alpha", "Alpha", "true");
    const QString beta = session.writeDesktopEntry("beta", "Beta", "true");
    const QString schemas = session.root() + "/schemas";
    writeFile(schemas + "/org.gnome.shell.gschema.xml",
              "<schemalist><schema id=\"org.gnome.shell\" path=\"/org/gnome/shell/\">"
              "<key name=\"favorite-apps\" type=\"as\"><default>[]</default></key></schema></schemalist>\n");
    ASSERT_EQ(session.run("glib-compile-schemas", {schemas}).exitCode, 0);
    session.setEnv("GSETTINGS_SCHEMA_DIR", schemas);
    writeFile(session.configHome() + "/glib-2.0/settings/keyfile",
              "[org/gnome/shell]\nfavorite-apps=['beta.desktop', 'missing.desktop', 'alpha.desktop']\n");
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    ASSERT_TRUE(client.settledDock());
    const QStringList pinned =
        client.itemIDs([](const auto& item) { return item["pinned"].toBool() && item["kind"] == "application"; });
    EXPECT_EQ(pinned, (QStringList{beta, alpha})) << pinned.join(' ').toStdString();

    QRect icon;
    ASSERT_TRUE(waitFor([&] {
        icon = paintedArea(session.screenshot(), tray, background);
        return icon.width() >= 8 && icon.height() >= 8;
    })) << "no icon in the tray";

    // The tray icon is an unmanaged window of Wharf's too.
    const qsizetype trayWindows = openMenus(session, wharf->processId()).size();
    const auto menuShown = [&] { return openMenus(session, wharf->processId()).size() > trayWindows; };

    // The first enabled entry below the header is "Settings…".
    session.xdotool({"mousemove", QString::number(icon.center().x()), QString::number(icon.center().y()),
                     "click", "3"});
    ASSERT_TRUE(waitFor(menuShown));
    keys(session, {"Down", "Return"});
    EXPECT_FALSE(findWindow(session, settingsTitle).isEmpty()) << "the tray menu did not open the settings";
    session.run("wmctrl", {"-c", "Wharf Settings"});
    ASSERT_TRUE(waitFor([&] { return findWindow(session, settingsTitle, 0).isEmpty(); }));

    // Ctrl+, from a dock that has the keyboard.
    ASSERT_EQ(client.call("FocusDock").type(), QDBusMessage::ReplyMessage);
    const QStringList docks = wharfWindows(session, wharf->processId());
    ASSERT_TRUE(waitFor([&] { return docks.contains(QString::number(activeWindow(session))); }));
    keys(session, {"ctrl+comma"});
    EXPECT_FALSE(findWindow(session, settingsTitle).isEmpty()) << "Ctrl+, did not open the settings";
    session.run("wmctrl", {"-c", "Wharf Settings"});

    // Without a tray the same menu comes from D-Bus; its last entry quits.
    session.xdotool({"mousemove", "400", "300"});
    ASSERT_EQ(client.call("ShowApplicationMenu").type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(waitFor(menuShown));
    keys(session, {"Up", "Return"});
    ASSERT_TRUE(wharf->waitForFinished(10000)) << "\"Restore System Dock & Quit\" did not quit";
    EXPECT_EQ(wharf->exitCode(), 0);

    // The settings window, opened again.
    wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    const auto dock = client.settledDock();
    ASSERT_TRUE(dock);

    ASSERT_EQ(client.call("ShowSettings").type(), QDBusMessage::ReplyMessage);
    const QString window = findWindow(session, settingsTitle);
    ASSERT_FALSE(window.isEmpty()) << "no settings window";
    const QPoint opened = windowFrame(session, window).topLeft();
    session.xdotool({"windowmove", "--sync", window, "300", "150"});
    QPoint left;
    ASSERT_TRUE(waitFor([&] { return (left = windowFrame(session, window).topLeft()) != opened; }))
        << "the window did not move";
    session.xdotool({"windowactivate", "--sync", window});
    ASSERT_TRUE(waitFor([&] { return QString::number(activeWindow(session)) == window; }));

    // The width slider has the focus; the magnification slider is next.
    keys(session, {"Tab", "Right", "Right", "Right"});
    EXPECT_TRUE(waitFor([&] { return storedSetting(session, "magnification") == 1.8; }, 5000, 50))
        << storedSetting(session, "magnification").toString().toStdString();

    // Auto-hide: at once the running dock stops reserving its band at the bottom of the screen.
    const auto bottomStrut = [&] { return reservedBottom(session, wharf->processId()); };
    ASSERT_GT(bottomStrut(), 0) << "the resting dock reserves its band";
    EXPECT_LE(1080 - bottomStrut(), int(dock->tiles.front().top())) << "the band ends just above the icons";
    EXPECT_LT(bottomStrut(), 340) << "and not at the top of the dock window";
    keys(session, {"Tab", "space"});
    EXPECT_TRUE(waitFor([&] { return storedSetting(session, "autoHide") == true; }, 5000, 50));
    EXPECT_TRUE(waitFor([&] { return bottomStrut() == 0; })) << "the dock still reserves its band";

    // "Open at login" (the compatibility box is disabled here: no desktop dock to hide).
    const QString entry = session.configHome() + "/autostart/wharf.desktop";
    keys(session, {"Tab", "Tab", "space"});
    EXPECT_TRUE(waitFor([&] { return QFile::exists(entry); }, 5000)) << "no autostart entry";
    keys(session, {"space"});
    EXPECT_TRUE(waitFor([&] { return !QFile::exists(entry); }, 5000)) << "autostart entry stays";

    // Ctrl+Q quits while the settings window has the keyboard; the next start opens it where it was.
    keys(session, {"ctrl+q"});
    ASSERT_TRUE(wharf->waitForFinished(10000));
    EXPECT_EQ(wharf->exitCode(), 0);
    ASSERT_NE(session.startWharf(), nullptr);
    ASSERT_EQ(client.call("ShowSettings").type(), QDBusMessage::ReplyMessage);
    const QString reopened = findWindow(session, settingsTitle);
    ASSERT_FALSE(reopened.isEmpty()) << "no settings window";
    QPoint now;
    EXPECT_TRUE(waitFor([&] { return (now = windowFrame(session, reopened).topLeft()) == left; }))
        << now.x() << "," << now.y() << " instead of " << left.x() << "," << left.y();
}

} // namespace
} // namespace wharf::e2e
