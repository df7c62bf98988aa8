// Keyboard mode and accessibility in the running dock: Ctrl+Alt+D, held by Wharf while it runs,
// gives the dock under the pointer the keyboard, the keys move and use the selection, leaving gives
// the keyboard back; a screen reader (through AT-SPI) sees the selection as the focus and can press
// tiles. Held by another program, the shortcut is missed with a message and Wharf runs on.
#include "dock_e2e_client.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>
#include <memory>

namespace wharf::e2e {
namespace {

using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

// Another program's grab of Ctrl+Alt+D on a connection of its own (without Num Lock or Caps Lock),
// held while the connection is open; no connection when the grab is refused.
Connection grabShortcut(const QString& display)
{
    Connection connection(xcb_connect(display.toLocal8Bit().constData(), nullptr), &xcb_disconnect);
    if (xcb_connection_has_error(connection.get()))
        return Connection(nullptr, &xcb_disconnect);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data->root;
    xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(connection.get());
    xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, 0x0064);
    const xcb_keycode_t keycode = codes ? *codes : 0;
    std::free(codes);
    xcb_key_symbols_free(symbols);
    const auto cookie = xcb_grab_key_checked(connection.get(), 0, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1,
                                             keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    xcb_generic_error_t* error = xcb_request_check(connection.get(), cookie);
    std::free(error);
    return keycode != 0 && !error ? std::move(connection) : Connection(nullptr, &xcb_disconnect);
}

class KeyboardE2e : public testing::Test {
protected:
    void SetUp() override
    {
        WHARF_REQUIRE_SESSION(session);
        folder = session.home() + "/Samples";
        QDir().mkpath(folder);
        writeWharfSettings(session, {}, {{folder, "folder"}});

        // The accessibility bus runs before Wharf starts, as in a desktop session; Qt joins it.
        const RunResult bus = session.run("gdbus", {"call", "--session", "--dest", "org.a11y.Bus", "--object-path",
                                                    "/org/a11y/bus", "--method", "org.a11y.Bus.GetAddress"});
        ASSERT_EQ(bus.exitCode, 0) << bus.err.toStdString();
        session.setEnv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");

        xterm = startXterm(session);
        ASSERT_NE(xterm, 0u);
        wharf = session.startWharf();
        ASSERT_NE(wharf, nullptr);
        const auto dock = client.settledDock();
        ASSERT_TRUE(dock);
        session.xdotool({"windowactivate", QString::number(xterm)});
        ASSERT_TRUE(waitFor([&] { return activeWindow(session) == xterm; }, 3000));
        dockWindows = wharfWindows(session, wharf->processId());
        // The pointer rests on the dock's display, below its tiles.
        movePointer(session, QPointF(dock->frame.left() + 5, dock->frame.bottom() - 2));
    }

    void key(const QString& name) { session.xdotool({"key", name}); }

    DockInfo dock() { return client.docks().front(); }

    bool selectionIs(std::optional<int> index)
    {
        return waitFor([&] { return dock().keyboardIndex == index; }, 3000);
    }

    RunResult atspi(const QStringList& args)
    {
        return session.run("/usr/bin/python3", QStringList{"-W", "ignore", ATSPI_SCRIPT} + args);
    }

    QString focusedTile()
    {
        const RunResult r = atspi({"focused"});
        return r.exitCode == 0 ? r.out.trimmed() : QStringLiteral("(error: %1)").arg(r.err.trimmed());
    }

    bool stackOpen(bool open)
    {
        return waitFor([&] { return client.object("Stack")["open"].toBool() == open; }, 5000);
    }

    E2eSession session;
    DockClient client{session};
    QString folder;
    quint32 xterm = 0;
    QProcess* wharf = nullptr;
    QStringList dockWindows;
};

TEST_F(KeyboardE2e, TheShortcutArrowsMenusAndReturnWorkTheDockAsScreenReadersSeeItAndAnotherProgramsGrabIsReported)
{
    EXPECT_FALSE(grabShortcut(session.display())) << "Wharf holds the shortcut: nobody else gets it";
    key("ctrl+alt+d");
    ASSERT_TRUE(waitFor([&] { return dockWindows.contains(QString::number(activeWindow(session))); }, 3000))
        << "the dock under the pointer is the active window";
    ASSERT_TRUE(selectionIs(0));
    ASSERT_GE(dock().ids.size(), 3); // xterm, the folder, the Trash
    const QJsonArray items = client.items(); // in dock order, before any window tiles
    ASSERT_GE(items.size(), 2);
    const QString title0 = items[0].toObject()["title"].toString();
    const QString title1 = items[1].toObject()["title"].toString();
    QString name0;
    EXPECT_TRUE(waitFor([&] { return (name0 = focusedTile()) == title0; }, 5000))
        << "a screen reader finds the selected tile focused: " << name0.toStdString();

    key("Right");
    EXPECT_TRUE(selectionIs(1));
    EXPECT_EQ(dock().hoveredIndex, 1) << "the selection is what the dock shows as hovered";
    QString name1;
    EXPECT_TRUE(waitFor([&] { return (name1 = focusedTile()) == title1; }, 5000))
        << "the focus follows the selection: " << name1.toStdString();

    // Space opens the selected tile's menu; closing it leaves the dock in keyboard mode.
    key("space");
    EXPECT_TRUE(waitFor([&] { return openMenus(session, wharf->processId()).size() == 1; }, 3000)) << "a menu is up";
    key("Escape");
    EXPECT_TRUE(waitFor([&] { return openMenus(session, wharf->processId()).isEmpty(); }, 3000)) << "and gone";
    EXPECT_EQ(dock().keyboardIndex, 1);

    key("Escape");
    EXPECT_TRUE(selectionIs(std::nullopt));
    EXPECT_TRUE(waitFor([&] { return activeWindow(session) == xterm; }, 3000))
        << "Escape gives the keyboard back to the window that had it";
    EXPECT_EQ(focusedTile(), QString());

    // When that window has closed meanwhile, Escape leaves the keyboard with no dock either.
    const quint32 closing = startXterm(session);
    ASSERT_NE(closing, 0u);
    session.xdotool({"windowactivate", QString::number(closing)});
    ASSERT_TRUE(waitFor([&] { return activeWindow(session) == closing; }, 3000));
    key("ctrl+alt+d");
    ASSERT_TRUE(selectionIs(0));
    session.run("wmctrl", {"-i", "-c", QString::number(closing)});
    ASSERT_TRUE(waitFor([&] { return session.clientWindows("xterm").size() == 1; }, 5000));
    key("Escape");
    EXPECT_TRUE(selectionIs(std::nullopt));
    EXPECT_TRUE(waitFor([&] { return !dockWindows.contains(QString::number(activeWindow(session))); }, 3000));
    // Nor to one minimized meanwhile (from the dock's own menu, say): it stays minimized.
    session.xdotool({"windowactivate", QString::number(xterm)});
    ASSERT_TRUE(waitFor([&] { return activeWindow(session) == xterm; }, 3000));
    key("ctrl+alt+d");
    ASSERT_TRUE(selectionIs(0));
    session.xdotool({"windowminimize", QString::number(xterm)});
    ASSERT_TRUE(waitFor([&] { return isIconic(session, xterm); }, 3000));
    key("Escape");
    EXPECT_TRUE(selectionIs(std::nullopt));
    EXPECT_FALSE(waitFor([&] { return !isIconic(session, xterm); }, 1000)) << "Escape restored it";
    session.xdotool({"windowactivate", QString::number(xterm)});
    ASSERT_TRUE(waitFor([&] { return activeWindow(session) == xterm; }, 3000));

    // Return opens the selected folder's stack (the folder follows the xterm).
    key("ctrl+alt+d");
    ASSERT_TRUE(selectionIs(0));
    key("Right");
    ASSERT_TRUE(selectionIs(int(dock().ids.indexOf(folder))));
    key("Return");
    EXPECT_TRUE(stackOpen(true));
    EXPECT_EQ(client.object("Stack")["root"].toString(), folder);
    EXPECT_TRUE(selectionIs(std::nullopt)) << "activating ends keyboard mode";
    key("Escape");
    ASSERT_TRUE(stackOpen(false));

    // A minimized window's tile, as a screen reader hears it; the reader's press restores the
    // window, as a click does. (Return activates the selection as the window test sees, and what
    // activating a window's tile does the window control test reads.)
    const QString tile = "window-" + QString::number(xterm);
    session.xdotool({"windowminimize", QString::number(xterm)});
    ASSERT_TRUE(waitFor([&] { return dock().ids.contains(tile); }, 5000));
    QJsonArray tiles;
    waitFor([&] {
        tiles = QJsonDocument::fromJson(atspi({"tiles"}).out.toUtf8()).array();
        return tiles.size() == dock().ids.size();
    }, 8000, 200);
    ASSERT_EQ(tiles.size(), dock().ids.size()) << "every tile is on the accessibility bus";
    const auto states = [&](int index) { return tiles[index].toObject()["states"].toVariant().toStringList(); };
    const QStringList ids = dock().ids;
    for (const QJsonValue& t : tiles)
        EXPECT_EQ(t["actions"].toArray(), (QJsonArray{"Press", "ShowMenu"}));
    const int app = int(ids.indexOf(QRegularExpression(".*xterm\\.desktop")));
    ASSERT_GE(app, 0);
    EXPECT_TRUE(states(app).contains("checked")) << "running: " << states(app).join(' ').toStdString();
    EXPECT_TRUE(states(app).contains("collapsed")) << "all its windows minimized";
    EXPECT_FALSE(states(app).contains("active"));
    const int window = int(ids.indexOf(tile));
    EXPECT_TRUE(states(window).contains("collapsed")) << "a minimized window";
    EXPECT_FALSE(states(int(ids.indexOf(folder))).contains("checked")) << "a folder is not running";

    const QString windowName = tiles[window].toObject()["name"].toString();
    const RunResult press = atspi({"do", windowName, "Press"});
    ASSERT_EQ(press.exitCode, 0) << press.err.toStdString();
    EXPECT_TRUE(waitFor([&] { return !dock().ids.contains(tile); }, 5000)) << "pressed, the window is restored";

    // The shortcut is released when Wharf quits.
    ASSERT_TRUE(client.quit());
    ASSERT_TRUE(wharf->waitForFinished(10000));
    const Connection other = grabShortcut(session.display());
    ASSERT_TRUE(other) << "released when Wharf quits";

    // Held by another program, the shortcut is missed with a message and Wharf runs on.
    wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    QString err;
    const QString expected =
        "Keyboard shortcut unavailable: Control–Option–D is already assigned to another application. Change that "
        "application's shortcut, then relaunch Wharf to enable keyboard access.";
    EXPECT_TRUE(waitForLog(*wharf, err, expected)) << err.toStdString();
    EXPECT_TRUE(client.settledDock()) << "the dock runs on";
}

} // namespace
} // namespace wharf::e2e
