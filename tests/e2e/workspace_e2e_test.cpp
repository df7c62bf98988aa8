// `wharf --list-items` against a real private desktop: Xvfb, openbox, a session bus and real X clients.
#include "e2e_session.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <gtest/gtest.h>

using wharf::e2e::E2eSession;

namespace {

// The listing's items, one JSON object a line; empty when it could not be read.
std::vector<QJsonObject> listItems(E2eSession& session)
{
    const auto result = session.run(E2eSession::wharfBinary(), {"--list-items"});
    std::vector<QJsonObject> items;
    if (result.timedOut || result.crashed || result.exitCode != 0)
        return {};
    for (const QString& line : result.out.split('\n', Qt::SkipEmptyParts)) {
        const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8());
        if (!document.isObject())
            return {};
        items.push_back(document.object());
    }
    return items;
}

} // namespace

TEST(WorkspaceE2e, RunningProgramsAreListedOldestFirstAcrossAWindowManagerRestart)
{
    E2eSession session;
    WHARF_REQUIRE_SESSION(session);
    const QString terminal = QFileInfo(session.writeDesktopEntry(
                                           "test-terminal.desktop",
                                           "[Desktop Entry]\nType=Application\nName=Test Terminal\n"
                                           "Exec=xterm -geometry 40x10+50+50\nStartupWMClass=XTerm\n"))
                                 .canonicalFilePath();
    // The older program shows its window last, so the window manager lists it second.
    QProcess* slow = session.start("sh", {"-c", QStringLiteral("sleep 1.5; exec %1 400 400 120 80").arg(BAND_CLIENT)});
    QThread::msleep(200); // start times count in clock ticks
    session.start("xterm", {"-geometry", "40x10+50+50"});
    ASSERT_TRUE(session.waitForClientWindow("xterm"));
    ASSERT_TRUE(session.waitForClientWindow("BandClient"));
    // The listed order of the two: "slow" for the band client, "terminal" for the xterm.
    const auto running = [&] {
        QStringList order;
        E2eSession::waitFor(
            [&] {
                order.clear();
                for (const QJsonObject& object : listItems(session)) {
                    if (object.value("id").toString() == terminal)
                        order << "terminal";
                    else if (object.value("pid").toInteger() == slow->processId())
                        order << "slow";
                }
                return order.size() == 2;
            },
            15000, 100);
        return order;
    };
    const QStringList oldestFirst{"slow", "terminal"};
    EXPECT_EQ(running(), oldestFirst);

    const auto restart = session.run("openbox", {"--restart"});
    EXPECT_EQ(restart.exitCode, 0) << restart.err.toStdString();
    ASSERT_TRUE(E2eSession::waitFor(
        [&] { return session.xprop({"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id"); }));
    // Each listing is a fresh Wharf, so this is also the order after Wharf restarts.
    EXPECT_EQ(running(), oldestFirst);
}
