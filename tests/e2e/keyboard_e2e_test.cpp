// Keyboard mode and accessibility in the running dock: Ctrl+Alt+D gives the dock under the pointer
// the keyboard, the keys move and use the selection, leaving gives the keyboard back; a screen
// reader (through AT-SPI) sees the selection as the focus and can press tiles.
#include "dock_e2e_client.h"

#include <QDBusReply>

#include <gtest/gtest.h>

#include <algorithm>

namespace wharf::e2e {
namespace {

quint32 activeWindow(E2eSession& session)
{
    const QString out = session.xprop({QStringLiteral("-root"), QStringLiteral("_NET_ACTIVE_WINDOW")});
    bool ok = false;
    const quint32 id = out.section(QLatin1Char('#'), 1).trimmed().section(QLatin1Char(','), 0, 0).toUInt(&ok, 16);
    return ok ? id : 0;
}

class KeyboardE2e : public testing::Test {
protected:
    void SetUp() override
    {
        WHARF_REQUIRE_SESSION(session);
        folder = session.home() + QStringLiteral("/Samples");
        QDir().mkpath(folder);
        QFile note(folder + QStringLiteral("/note.txt"));
        ASSERT_TRUE(note.open(QIODevice::WriteOnly));
        note.write("text\n");
        note.close();
        const QJsonArray pins{QJsonObject{{QStringLiteral("path"), folder}, {QStringLiteral("kind"), QStringLiteral("folder")}}};
        writeWharfSettings(session, {{QStringLiteral("Wharf.pinnedItems.v1"), QJsonDocument(pins).toJson(QJsonDocument::Compact)},
                                     {QStringLiteral("replaceSystemDock"), false}});

        // The accessibility bus runs before Wharf starts, as in a desktop session; Qt joins it.
        const RunResult bus = session.run(QStringLiteral("gdbus"),
                                          {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                                           QStringLiteral("org.a11y.Bus"), QStringLiteral("--object-path"),
                                           QStringLiteral("/org/a11y/bus"), QStringLiteral("--method"),
                                           QStringLiteral("org.a11y.Bus.GetAddress")});
        ASSERT_EQ(bus.exitCode, 0) << bus.err.toStdString();
        session.setEnv(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));

        session.start(QStringLiteral("xterm"));
        ASSERT_TRUE(session.waitForClientWindow(QStringLiteral("xterm")));
        xterm = session.clientWindows(QStringLiteral("xterm")).front();
        wharf = session.startWharf();
        ASSERT_NE(wharf, nullptr);
        ASSERT_TRUE(DockClient(session).settledDock());
        session.xdotool({QStringLiteral("windowactivate"), QString::number(xterm)});
        ASSERT_TRUE(E2eSession::waitFor([&] { return activeWindow(session) == xterm; }, 3000));
        dockWindows = wharfWindows(session, wharf->processId());
        // The pointer rests on the dock's display, below its tiles.
        const auto dock = DockClient(session).settledDock();
        ASSERT_TRUE(dock);
        session.xdotool({QStringLiteral("mousemove"), QString::number(int(dock->frame.left()) + 5),
                         QString::number(int(dock->frame.bottom()) - 2)});
    }

    void key(const QString& name) { session.xdotool({QStringLiteral("key"), name}); }

    DockInfo dock() { return DockClient(session).docks().front(); }

    bool selectionIs(std::optional<int> index)
    {
        return E2eSession::waitFor([&] { return dock().keyboardIndex == index; }, 3000);
    }

    bool dockHasKeyboard()
    {
        return E2eSession::waitFor([&] { return dockWindows.contains(QString::number(activeWindow(session))); }, 3000);
    }

    // Moves the selection to the tile `id` with the right arrow.
    bool select(const QString& id)
    {
        const int target = int(dock().ids.indexOf(id));
        if (target < 0)
            return false;
        while (dock().keyboardIndex && *dock().keyboardIndex != target) {
            const int before = *dock().keyboardIndex;
            key(QStringLiteral("Right"));
            if (!selectionIs((before + 1) % int(dock().ids.size())))
                return false;
        }
        return dock().keyboardIndex == target;
    }

    RunResult atspi(const QStringList& args)
    {
        return session.run(QStringLiteral("/usr/bin/python3"),
                           QStringList{QStringLiteral("-W"), QStringLiteral("ignore"), QStringLiteral(ATSPI_SCRIPT)} + args);
    }

    QString focusedTile()
    {
        const RunResult r = atspi({QStringLiteral("focused")});
        return r.exitCode == 0 ? r.out.trimmed() : QStringLiteral("(error: %1)").arg(r.err.trimmed());
    }

    QJsonObject stack()
    {
        QDBusInterface wharfBus(QStringLiteral("com.tamberly.Wharf"), QStringLiteral("/com/tamberly/Wharf"),
                                QStringLiteral("com.tamberly.Wharf"), session.bus());
        const QDBusReply<QString> reply = wharfBus.call(QStringLiteral("Stack"));
        return reply.isValid() ? QJsonDocument::fromJson(reply.value().toUtf8()).object() : QJsonObject();
    }

    E2eSession session;
    QString folder;
    quint32 xterm = 0;
    QProcess* wharf = nullptr;
    QStringList dockWindows;
};

TEST_F(KeyboardE2e, ShortcutSelectsArrowsMoveEscapeAndOtherWindowsTakeTheKeyboardBack)
{
    key(QStringLiteral("ctrl+alt+d"));
    ASSERT_TRUE(dockHasKeyboard()) << "the dock under the pointer is the active window";
    ASSERT_TRUE(selectionIs(0));
    const QStringList ids = dock().ids;
    ASSERT_GE(ids.size(), 3); // xterm, the folder, the Trash
    const int last = int(ids.size()) - 1;
    const QJsonArray items = DockClient(session).items(); // in dock order, before any window tiles
    ASSERT_GE(items.size(), 2);
    const QString title0 = items[0].toObject()[QStringLiteral("title")].toString();
    const QString title1 = items[1].toObject()[QStringLiteral("title")].toString();
    QString name0;
    EXPECT_TRUE(E2eSession::waitFor([&] { return (name0 = focusedTile()) == title0; }, 5000))
        << "a screen reader finds the selected tile focused: " << name0.toStdString();

    key(QStringLiteral("Left"));
    EXPECT_TRUE(selectionIs(last)) << "Left at the first tile wraps to the last";
    key(QStringLiteral("Tab"));
    EXPECT_TRUE(selectionIs(0)) << "Tab wraps forward";
    key(QStringLiteral("Right"));
    EXPECT_TRUE(selectionIs(1));
    EXPECT_EQ(dock().hoveredIndex, 1) << "the selection is what the dock shows as hovered";
    QString name1;
    EXPECT_TRUE(E2eSession::waitFor([&] { return (name1 = focusedTile()) == title1; }, 5000))
        << "the focus follows the selection: " << name1.toStdString();

    // Space opens the selected tile's menu; closing it leaves the dock in keyboard mode.
    const auto shownWindows = [&] {
        return session.xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--pid"),
                                QString::number(wharf->processId())})
            .out.split(QLatin1Char('\n'), Qt::SkipEmptyParts)
            .size();
    };
    const auto withoutMenu = shownWindows();
    key(QStringLiteral("space"));
    EXPECT_TRUE(E2eSession::waitFor([&] { return shownWindows() == withoutMenu + 1; }, 3000)) << "a menu is up";
    key(QStringLiteral("Escape"));
    EXPECT_TRUE(E2eSession::waitFor([&] { return shownWindows() == withoutMenu; }, 3000)) << "and gone";
    EXPECT_EQ(dock().keyboardIndex, 1);

    key(QStringLiteral("Escape"));
    EXPECT_TRUE(selectionIs(std::nullopt));
    EXPECT_TRUE(E2eSession::waitFor([&] { return activeWindow(session) == xterm; }, 3000))
        << "Escape gives the keyboard back to the window that had it";
    EXPECT_EQ(focusedTile(), QString());

    // Another window taking the keyboard ends keyboard mode, and keeps the keyboard.
    key(QStringLiteral("ctrl+alt+d"));
    ASSERT_TRUE(dockHasKeyboard());
    ASSERT_TRUE(selectionIs(0));
    session.xdotool({QStringLiteral("windowactivate"), QString::number(xterm)});
    EXPECT_TRUE(selectionIs(std::nullopt));
    EXPECT_TRUE(E2eSession::waitFor([&] { return activeWindow(session) == xterm; }, 3000));
}

TEST_F(KeyboardE2e, ReturnOpensTheSelectedFoldersStackAndRestoresAMinimizedWindow)
{
    key(QStringLiteral("ctrl+alt+d"));
    ASSERT_TRUE(selectionIs(0));
    ASSERT_TRUE(select(folder));
    key(QStringLiteral("Return"));
    EXPECT_TRUE(E2eSession::waitFor([&] { return stack()[QStringLiteral("open")].toBool(); }, 5000));
    EXPECT_EQ(stack()[QStringLiteral("root")].toString(), folder);
    EXPECT_TRUE(selectionIs(std::nullopt)) << "activating ends keyboard mode";
    key(QStringLiteral("Escape"));
    ASSERT_TRUE(E2eSession::waitFor([&] { return !stack()[QStringLiteral("open")].toBool(); }, 5000));

    const QString tile = QStringLiteral("window-") + QString::number(xterm);
    session.xdotool({QStringLiteral("windowminimize"), QString::number(xterm)});
    ASSERT_TRUE(E2eSession::waitFor([&] { return dock().ids.contains(tile); }, 5000));
    key(QStringLiteral("ctrl+alt+d"));
    ASSERT_TRUE(dockHasKeyboard());
    ASSERT_TRUE(select(tile));
    key(QStringLiteral("Return"));
    EXPECT_TRUE(E2eSession::waitFor([&] { return !dock().ids.contains(tile); }, 5000)) << "the window is restored";
    EXPECT_TRUE(E2eSession::waitFor([&] { return activeWindow(session) == xterm; }, 3000)) << "and has the keyboard";
    EXPECT_EQ(dock().keyboardIndex, std::nullopt);
}

TEST_F(KeyboardE2e, ScreenReadersPressTilesAndHearTheirStates)
{
    const QString tile = QStringLiteral("window-") + QString::number(xterm);
    session.xdotool({QStringLiteral("windowminimize"), QString::number(xterm)});
    ASSERT_TRUE(E2eSession::waitFor([&] { return dock().ids.contains(tile); }, 5000));

    QJsonArray tiles;
    E2eSession::waitFor(
        [&] {
            const RunResult r = atspi({QStringLiteral("tiles")});
            tiles = QJsonDocument::fromJson(r.out.toUtf8()).array();
            return tiles.size() == dock().ids.size();
        },
        8000, 200);
    ASSERT_EQ(tiles.size(), dock().ids.size()) << "every tile is on the accessibility bus";
    const auto states = [&](int index) {
        QStringList out;
        for (const QJsonValue& v : tiles[index].toObject()[QStringLiteral("states")].toArray())
            out << v.toString();
        return out;
    };
    const QStringList ids = dock().ids;
    for (int i = 0; i < tiles.size(); ++i) {
        const QJsonObject t = tiles[i].toObject();
        SCOPED_TRACE(t[QStringLiteral("name")].toString().toStdString());
        EXPECT_EQ(t[QStringLiteral("role")].toString(), QStringLiteral("push button"));
        EXPECT_EQ(t[QStringLiteral("actions")].toArray(), (QJsonArray{QStringLiteral("Press"), QStringLiteral("ShowMenu")}));
    }
    const auto found = std::find_if(ids.begin(), ids.end(), [](const QString& id) { return id.endsWith("xterm.desktop"); });
    const int app = found == ids.end() ? -1 : int(found - ids.begin());
    ASSERT_GE(app, 0);
    EXPECT_TRUE(states(app).contains(QStringLiteral("checked"))) << "running: " << states(app).join(' ').toStdString();
    EXPECT_TRUE(states(app).contains(QStringLiteral("collapsed"))) << "all its windows minimized";
    EXPECT_FALSE(states(app).contains(QStringLiteral("active")));
    const int window = int(ids.indexOf(tile));
    EXPECT_TRUE(states(window).contains(QStringLiteral("collapsed"))) << "a minimized window";
    const int folderIndex = int(ids.indexOf(folder));
    EXPECT_FALSE(states(folderIndex).contains(QStringLiteral("checked"))) << "a folder is not running";

    // Pressing the folder's tile opens its stack, as a click does.
    const QString folderName = tiles[folderIndex].toObject()[QStringLiteral("name")].toString();
    const RunResult press = atspi({QStringLiteral("do"), folderName, QStringLiteral("Press")});
    ASSERT_EQ(press.exitCode, 0) << press.err.toStdString();
    EXPECT_TRUE(E2eSession::waitFor([&] { return stack()[QStringLiteral("open")].toBool(); }, 5000));

    // Pressing the window's tile restores it.
    const QString windowName = tiles[window].toObject()[QStringLiteral("name")].toString();
    key(QStringLiteral("Escape"));
    ASSERT_TRUE(E2eSession::waitFor([&] { return !stack()[QStringLiteral("open")].toBool(); }, 5000));
    ASSERT_EQ(atspi({QStringLiteral("do"), windowName, QStringLiteral("Press")}).exitCode, 0);
    EXPECT_TRUE(E2eSession::waitFor([&] { return !dock().ids.contains(tile); }, 5000));
}

} // namespace
} // namespace wharf::e2e
