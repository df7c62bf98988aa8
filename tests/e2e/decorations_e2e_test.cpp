// The dock's decorations on a real desktop: badges, progress and attention from the Unity
// LauncherEntry signal as applications send it (gdbus emit) or answer when asked, the hover label,
// and the divider's drag and menu, checked through Wharf's D-Bus API, the settings file and
// screenshot pixels.
#include "dock_e2e_client.h"

#include <QColor>
#include <QFileInfo>
#include <QImage>
#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>

namespace wharf::e2e {
namespace {

// A program that publishes before Wharf hears from it: a child process owns a name and exports
// the entry on libunity's path for application://<id>.desktop, answering Query with a visible
// count but sending no Update; then the program becomes an xterm of its own window class.
const char* publisher = R"py(#!/usr/bin/python3
import os, sys
from gi.repository import Gio, GLib

desktop_id, count, name, window_class = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4]
ready_read, ready_write = os.pipe()
if os.fork():
    os.close(ready_write)
    os.read(ready_read, 1)
    os.execvp('xterm', ['xterm', '-class', window_class])

uri = 'application://%s.desktop' % desktop_id
h = 5381
for b in uri.encode():
    h = (h * 33 + (b - 256 if b > 127 else b)) & 0xffffffff
node = Gio.DBusNodeInfo.new_for_xml('''<node><interface name="com.canonical.Unity.LauncherEntry">
  <method name="Query"><arg type="s" direction="out"/><arg type="a{sv}" direction="out"/></method>
  <signal name="Update"><arg type="s"/><arg type="a{sv}"/></signal></interface></node>''')

def call(connection, sender, path, interface, method, parameters, invocation):
    invocation.return_value(GLib.Variant('(sa{sv})', (uri, {
        'count': GLib.Variant('x', count), 'count-visible': GLib.Variant('b', True)})))

bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
bus.register_object('/com/canonical/unity/launcherentry/%d' % h, node.interfaces[0], call, None, None)
Gio.bus_own_name_on_connection(bus, name, Gio.BusNameOwnerFlags.NONE, lambda *_: os.write(ready_write, b'!'), None)
GLib.MainLoop().run()
)py";

// What an application sends: gdbus emit of com.canonical.Unity.LauncherEntry.Update.
void emitUpdate(E2eSession& session, const QString& desktopID, const QString& properties)
{
    const RunResult r = session.run("gdbus", {"emit", "--session", "--object-path", "/x", "--signal",
                                              "com.canonical.Unity.LauncherEntry.Update",
                                              "application://" + desktopID + ".desktop", properties});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
}

bool isRed(QRgb c) { return qRed(c) > 190 && qGreen(c) < 110 && qBlue(c) < 110; }

// Share of the pixels inside `r` (global coordinates) that `test` accepts.
double share(const QImage& image, const QRectF& r, bool (*test)(QRgb))
{
    const QRect area = r.toAlignedRect().intersected(image.rect());
    const int hits = countPixels(area, [&](QPoint p) { return test(image.pixel(p)); });
    return area.isEmpty() ? 0 : double(hits) / (area.width() * area.height());
}

int orange(QRgb c) { return qRed(c) - qBlue(c); }

class Decorated : public ::testing::Test {
protected:
    void SetUp() override { WHARF_REQUIRE_SESSION(session); }

    // Starts the publisher as the program of entry `desktopID` with `count`; returns the entry's id
    // once both its bus name and its window are there.
    QString startPublisher(const QString& desktopID, int count)
    {
        const QString windowClass = desktopID + "-class";
        const QString busName = "org.wharf.test." + QString(desktopID).remove('-');
        const QString entry =
            session.writeDesktopEntry(desktopID, desktopID, "xterm", "StartupWMClass=" + windowClass + "\n");
        session.start(script, {desktopID, QString::number(count), busName, windowClass});
        EXPECT_TRUE(session.waitForClientWindow(windowClass));
        EXPECT_TRUE(waitFor([&] { return session.bus().interface()->isServiceRegistered(busName).value(); }));
        return QFileInfo(entry).canonicalFilePath();
    }

    // The first dock, as Docks() reports it.
    QJsonObject dock()
    {
        const auto docks = client.docks();
        return docks.empty() ? QJsonObject() : docks.front().json;
    }
    // The badge of tile `id`; empty when it has none.
    QJsonObject badge(const QString& id)
    {
        for (const QJsonValue& value : dock()["badges"].toArray()) {
            if (value["id"].toString() == id)
                return value.toObject();
        }
        return {};
    }
    QString label(const QString& id) { return badge(id)["label"].toString(); }

    E2eSession session;
    DockClient client{session};
    QString script = session.writeScript("launcher-entry-publisher", QString::fromLatin1(publisher));
};

// (Where the label and the divider's drag stop is the view tests' part.)
TEST_F(Decorated, BadgeProgressAndAttentionFollowTheLauncherEntrySignalEarlyPublishersAreAskedAndTheLabelAndDividerWork)
{
    // Published before Wharf started, so no update of it was ever heard.
    const QString early = startPublisher("early-terminal", 7);
    session.writeDesktopEntry("test-terminal", "Test Terminal", "xterm", "StartupWMClass=XTerm\n");
    const quint32 xterm = startXterm(session, {"-geometry", "40x10+300+100"});
    ASSERT_NE(xterm, 0u);
    // A small dock, with room to grow.
    writeWharfSettings(session, {{"dockWidthFraction", 0.15}, {"magnification", 1.0}});
    movePointer(session, QPointF(5, 5));
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    ASSERT_TRUE(client.settledDock());
    // The xterm's item and the desktop id applications name it by.
    const auto item = client.itemWhen("pid", windowPid(session, xterm));
    ASSERT_TRUE(item);
    const QString terminalID = (*item)["id"].toString();
    const QString desktopID = QFileInfo(terminalID).completeBaseName();
    EXPECT_TRUE(waitFor([&] { return label(early) == "7"; }))
        << "the program that published before Wharf started shows its count";
    // Published before its tile appeared, while Wharf listened only to its dock's applications.
    const QString late = startPublisher("late-terminal", 3);
    EXPECT_TRUE(waitFor([&] { return label(late) == "3"; })) << "the program is asked when its tile appears";

    emitUpdate(session, desktopID, "{'count': <int64 5>, 'count-visible': <true>}");
    ASSERT_TRUE(waitFor([&] { return label(terminalID) == "5"; }));
    const QRectF frame = rectFrom(badge(terminalID)["frame"]);
    const QRectF icon = client.tile(terminalID);
    // Over the icon's top-right corner, overhanging it.
    EXPECT_GT(frame.right(), icon.right());
    EXPECT_LT(frame.top(), icon.top());
    EXPECT_GT(frame.bottom(), icon.top());
    EXPECT_TRUE(waitFor([&] { return share(session.screenshot(), frame.adjusted(3, 3, -3, -3), isRed) > 0.5; }))
        << "a red badge is drawn";

    // Wrong types and other applications change nothing; huge counts are shortened.
    emitUpdate(session, desktopID, "{'count': <'seven'>, 'count-visible': <'yes'>}");
    emitUpdate(session, "no-such-app", "{'count': <int64 9>, 'count-visible': <true>}");
    emitUpdate(session, desktopID, "{'count': <int64 123456>}");
    ASSERT_TRUE(waitFor([&] { return label(terminalID) == "999+"; }));
    EXPECT_EQ(dock()["badges"].toArray().size(), 3) << "the terminal's and the publishers'";

    emitUpdate(session, desktopID, "{'count-visible': <false>}");
    ASSERT_TRUE(waitFor([&] { return badge(terminalID).isEmpty(); }));
    ASSERT_TRUE(waitFor([&] { return share(session.screenshot(), frame, isRed) < 0.05; }))
        << "the badge is gone from the screen";

    // Progress: a bar under the icon, filled halfway.
    emitUpdate(session, desktopID, "{'progress': <0.5>, 'progress-visible': <true>}");
    ASSERT_TRUE(waitFor([&] { return badge(terminalID)["progress"].toDouble() == 0.5; }));
    const QRectF barIcon = client.tile(terminalID);
    const double barY = barIcon.bottom() + 4;
    const double barLeft = barIcon.left() + barIcon.width() * 0.15;
    const double barWidth = barIcon.width() * 0.7;
    const QPoint donePart = QPointF(barLeft + barWidth * 0.25, barY).toPoint();
    const QPoint restPart = QPointF(barLeft + barWidth * 0.75, barY).toPoint();
    const auto blueness = [](QRgb c) { return qBlue(c) - qRed(c); };
    EXPECT_TRUE(waitFor([&] { return blueness(session.screenshot().pixel(donePart)) > 80; }))
        << "the done part is blue";
    EXPECT_LT(blueness(session.screenshot().pixel(restPart)), 40) << "the rest is not";
    emitUpdate(session, desktopID, "{'progress-visible': <false>}");

    // Attention: while another program has the focus, the indicator pulses until the xterm is
    // activated.
    const auto tiles = [&] { return dock()["tiles"].toArray().size(); };
    const auto tilesBefore = tiles();
    session.start("xmessage", {"-geometry", "+900+100", "elsewhere"});
    ASSERT_TRUE(session.waitForClientWindow("xmessage"));
    session.xdotool({"windowactivate", QString::number(session.clientWindows("xmessage").front())});
    ASSERT_TRUE(waitFor([&] { return client.settledDock() && tiles() == tilesBefore + 1; }))
        << "xmessage has its own tile now";
    emitUpdate(session, desktopID, "{'urgent': <true>}");
    ASSERT_TRUE(waitFor([&] { return dock()["pulsing"].toBool(); }));
    const QJsonArray indicator = badge(terminalID)["indicator"].toArray();
    EXPECT_NEAR(indicator.at(0).toDouble(), client.tile(terminalID).center().x(), 1);
    // Beside the indicator's white dot, inside its glow.
    const QPoint spot = QPointF(indicator.at(0).toDouble() + 6, indicator.at(1).toDouble()).toPoint();
    std::vector<int> glow;
    while (glow.size() < 12) {
        glow.push_back(orange(session.screenshot().pixel(spot)));
        QThread::msleep(100);
    }
    const auto [lowest, highest] = std::ranges::minmax(glow);
    EXPECT_GT(highest - lowest, 60) << "the glow rises and falls: " << lowest << ".." << highest;

    session.xdotool({"windowactivate", QString::number(xterm)});
    ASSERT_TRUE(waitFor([&] { return !dock()["pulsing"].toBool(); }));
    EXPECT_TRUE(badge(terminalID).isEmpty());
    EXPECT_LT(orange(session.screenshot().pixel(spot)), lowest + 30) << "no glow once activated";

    // The xterm's own window asking for attention (the urgency hint) does the same.
    emitUpdate(session, desktopID, "{'urgent': <false>}");
    session.xdotool({"windowactivate", QString::number(session.clientWindows("xmessage").front())});
    session.xdotool({"set_window", "--urgency", "1", QString::number(xterm)});
    ASSERT_TRUE(waitFor([&] { return dock()["pulsing"].toBool(); })) << "the urgency hint";
    session.xdotool({"windowactivate", QString::number(xterm)});
    ASSERT_TRUE(waitFor([&] { return !dock()["pulsing"].toBool(); }));
    session.xdotool({"set_window", "--urgency", "0", QString::number(xterm)});

    // The hover label names the tile under the pointer.
    ASSERT_TRUE(client.settledDock());
    const QRectF terminal = client.tile(terminalID);
    movePointer(session, terminal.center());
    const auto hoverLabel = [&]() -> QJsonValue { return dock()["hoverLabel"]; };
    ASSERT_TRUE(waitFor([&] { return hoverLabel()["text"] == "Test Terminal"; }));
    const QRectF shown = rectFrom(hoverLabel()["frame"]);
    const QRectF current = client.tile(terminalID);
    EXPECT_NEAR(shown.center().x(), current.center().x(), 2) << "centred over the tile";
    EXPECT_LE(shown.bottom(), current.top()) << "above the icon";

    // The pointer leaves the dock: the label goes.
    movePointer(session, QPointF(900, 300));
    ASSERT_TRUE(waitFor([&] { return !hoverLabel().isObject(); }));

    const auto grip = [&] { return rectFrom(dock()["divider"]).center().toPoint(); };
    ASSERT_FALSE(grip().isNull()) << "a divider between the applications and the folders";
    const QPoint start = grip();
    const double startWidth = client.tile(terminalID).width();
    const auto moveTo = [&](int x, int y) {
        movePointer(session, QPointF(x, y));
        QThread::msleep(60);
    };

    // Up enlarges, while the button is still held.
    moveTo(start.x(), start.y());
    session.xdotool({"mousedown", "1"});
    for (int dy = 10; dy <= 50; dy += 10)
        moveTo(start.x(), start.y() - dy);
    EXPECT_TRUE(waitFor([&] { return client.tile(terminalID).width() > startWidth + 20; }))
        << "icons grow while the divider is dragged up";
    session.xdotool({"mouseup", "1"});

    // Once the row has settled at its new size, the divider's context menu is the application's menu.
    ASSERT_TRUE(client.settledDock());
    moveTo(grip().x(), grip().y());
    session.xdotool({"click", "3"});
    const auto menuOpen = [&] { return dock()["menuOpen"].toBool(); };
    ASSERT_TRUE(waitFor(menuOpen));
    session.xdotool({"key", "Escape"});
    ASSERT_TRUE(waitFor([&] { return !menuOpen(); }));

    // The new size is what was stored.
    ASSERT_TRUE(client.quit());
    ASSERT_TRUE(waitFor([&] { return wharf->state() == QProcess::NotRunning; }));
    EXPECT_GT(storedSetting(session, "dockWidthFraction").toDouble(), 0.15);
}

} // namespace
} // namespace wharf::e2e
