// Badges of applications that published before Wharf saw them: a program exports its Unity
// LauncherEntry and answers Query, as libunity does, but sends no Update; Wharf must ask it, when
// Wharf starts and when the program's tile appears later.
#include "dock_e2e_client.h"

#include <QDBusConnectionInterface>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

// A program that publishes before its window opens: a child process owns a name and exports the
// entry on libunity's path for application://<id>.desktop, answering Query with a visible count;
// then the program becomes an xterm of its own window class.
const char* exporter = R"py(#!/usr/bin/python3
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

class Badges : public ::testing::Test {
protected:
    // The program, with a desktop entry for its window class; returns once both its name and its
    // window are there.
    void startProgram(const QString& desktopID, int count)
    {
        const QString windowClass = desktopID + QStringLiteral("-class");
        const QString busName = QStringLiteral("org.wharf.test.") + QString(desktopID).remove(QLatin1Char('-'));
        session.writeDesktopEntry(desktopID + QStringLiteral(".desktop"),
                                  QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=xterm\n"
                                                 "StartupWMClass=%2\n")
                                      .arg(desktopID, windowClass));
        session.start(script, {desktopID, QString::number(count), busName, windowClass});
        ASSERT_TRUE(session.waitForClientWindow(windowClass));
        ASSERT_TRUE(E2eSession::waitFor([&] { return session.bus().interface()->isServiceRegistered(busName).value(); }));
    }

    // The badge label Wharf shows on the tile whose id ends in `desktopID`.desktop; empty: none.
    QString badge(const QString& desktopID)
    {
        QDBusInterface wharf(QStringLiteral("com.tamberly.Wharf"), QStringLiteral("/com/tamberly/Wharf"),
                             QStringLiteral("com.tamberly.Wharf"), session.bus());
        const QDBusReply<QString> reply = wharf.call(QStringLiteral("Docks"));
        const QJsonArray docks = QJsonDocument::fromJson(reply.value().toUtf8()).array();
        if (docks.isEmpty())
            return {};
        for (const QJsonValue& value : docks.first().toObject()[QStringLiteral("badges")].toArray()) {
            const QJsonObject b = value.toObject();
            if (b[QStringLiteral("id")].toString().endsWith(QLatin1Char('/') + desktopID + QStringLiteral(".desktop")))
                return b[QStringLiteral("label")].toString();
        }
        return {};
    }

    E2eSession session;
    QString script = session.writeScript(QStringLiteral("launcher-entry-exporter"), QString::fromLatin1(exporter));
};

TEST_F(Badges, ProgramsThatPublishedBeforeTheirTileAppearedAreAsked)
{
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    startProgram(QStringLiteral("early-terminal"), 7);
    writeWharfSettings(session, {{QStringLiteral("replaceSystemDock"), false}});
    ASSERT_NE(session.startWharf(), nullptr);
    ASSERT_TRUE(DockClient(session).settledDock());
    EXPECT_TRUE(E2eSession::waitFor([&] { return badge(QStringLiteral("early-terminal")) == QStringLiteral("7"); }))
        << "the program that published before Wharf started shows its count";

    // A program whose tile appears while Wharf runs: its updates were not listened to before.
    startProgram(QStringLiteral("late-terminal"), 3);
    EXPECT_TRUE(E2eSession::waitFor([&] { return badge(QStringLiteral("late-terminal")) == QStringLiteral("3"); }))
        << "the program is asked when its tile appears";
}

} // namespace
} // namespace wharf::e2e
