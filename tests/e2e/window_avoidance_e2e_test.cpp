// Keeping windows clear of the resting dock under a real window manager: the reserved band,
// windows dragged into it, windows that must be left alone, and a client that refuses to move.
#include "dock_e2e_client.h"

#include <QRegularExpression>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

// The outer frame (with openbox's decorations) of a client window, in root coordinates.
QRect outerFrame(E2eSession& session, quint32 window)
{
    const RunResult info = session.run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(window)});
    auto field = [&](const QString& name) {
        const QRegularExpressionMatch m = QRegularExpression(name + QStringLiteral(":\\s+(-?\\d+)")).match(info.out);
        return m.hasMatch() ? m.captured(1).toInt() : 0;
    };
    const QString extents = session.xprop({QStringLiteral("-id"), QString::number(window), QStringLiteral("_NET_FRAME_EXTENTS")});
    QList<int> e{0, 0, 0, 0};
    const QStringList parts = extents.section(QLatin1Char('='), 1).split(QLatin1Char(','));
    for (int i = 0; i < 4 && parts.size() == 4; ++i)
        e[i] = parts[i].trimmed().toInt();
    return QRect(field(QStringLiteral("Absolute upper-left X")) - e[0], field(QStringLiteral("Absolute upper-left Y")) - e[2],
                 field(QStringLiteral("Width")) + e[0] + e[1], field(QStringLiteral("Height")) + e[2] + e[3]);
}

// The bottom reservation of Wharf's mapped dock window; -1 when it has none.
int strutBottom(E2eSession& session, qint64 wharfPid)
{
    for (const QString& id : wharfWindows(session, wharfPid)) {
        if (!session.xprop({QStringLiteral("-id"), id, QStringLiteral("WM_STATE")}).contains(QStringLiteral("Normal")))
            continue;
        const QString strut = session.xprop({QStringLiteral("-id"), id, QStringLiteral("_NET_WM_STRUT_PARTIAL")});
        const QStringList values = strut.section(QLatin1Char('='), 1).split(QLatin1Char(','));
        return values.size() == 12 ? values[3].trimmed().toInt() : -1;
    }
    return -1;
}

bool xdo(E2eSession& session, const QStringList& args) { return session.xdotool(args).exitCode == 0; }

class WindowAvoidance : public ::testing::Test {
protected:
    E2eSession session;
    QProcess* wharf = nullptr;
    int bandTop = 0;

    // Starts Wharf and waits for its reserved band; false when it never appears.
    bool startWharf(bool keepWindowsAbove = true)
    {
        writeWharfSettings(session, {{QStringLiteral("keepWindowsAboveDock"), keepWindowsAbove}});
        wharf = session.startWharf();
        if (!wharf)
            return false;
        DockClient client(session);
        if (!client.settledDock())
            return false;
        if (!keepWindowsAbove)
            return true;
        if (!E2eSession::waitFor([&] { return strutBottom(session, wharf->processId()) > 0; }))
            return false;
        bandTop = 1080 - strutBottom(session, wharf->processId());
        return true;
    }

    quint32 startXterm(const QString& geometry, const QStringList& extra = {})
    {
        const std::size_t before = session.clientWindows(QStringLiteral("xterm")).size();
        session.start(QStringLiteral("xterm"), QStringList{QStringLiteral("-geometry"), geometry} + extra);
        if (!E2eSession::waitFor([&] { return session.clientWindows(QStringLiteral("xterm")).size() > before; }))
            return 0;
        return session.clientWindows(QStringLiteral("xterm")).back();
    }

    QProcess* startBandClient(const QRect& rect, const QStringList& flags)
    {
        QProcess* client = session.start(QStringLiteral(BAND_CLIENT),
                                          QStringList{QString::number(rect.x()), QString::number(rect.y()),
                                                      QString::number(rect.width()), QString::number(rect.height())}
                                              + flags);
        if (!session.waitForClientWindow(QStringLiteral("bandclient")))
            return nullptr;
        return client;
    }
};

TEST_F(WindowAvoidance, AWindowDraggedIntoTheBandMovesUpOnlyAfterRelease)
{
    WHARF_REQUIRE_SESSION(session);
    ASSERT_TRUE(startWharf());
    const quint32 xterm = startXterm(QStringLiteral("60x15+300+200"));
    ASSERT_NE(xterm, 0u);
    ASSERT_TRUE(E2eSession::waitFor([&] { return outerFrame(session, xterm).top() < 300; }));
    const QRect start = outerFrame(session, xterm);
    ASSERT_LT(start.bottom(), bandTop) << "starts clear of the band";

    // Drag by the title bar until the bottom is 40 pixels into the band, and hold the button.
    const QPoint grab(start.center().x(), start.top() + 8);
    const int dy = bandTop + 40 - (start.y() + start.height());
    ASSERT_TRUE(xdo(session, {QStringLiteral("mousemove"), QString::number(grab.x()), QString::number(grab.y())}));
    ASSERT_TRUE(xdo(session, {QStringLiteral("mousedown"), QStringLiteral("1")}));
    for (int step = 1; step <= 4; ++step) {
        xdo(session, {QStringLiteral("mousemove"), QString::number(grab.x()), QString::number(grab.y() + dy * step / 4)});
        E2eSession::waitFor([] { return false; }, 80);
    }
    ASSERT_TRUE(E2eSession::waitFor([&] { return outerFrame(session, xterm).y() + outerFrame(session, xterm).height() > bandTop + 30; }))
        << "the window manager follows the drag";
    EXPECT_FALSE(E2eSession::waitFor([&] { const QRect f = outerFrame(session, xterm); return f.y() + f.height() <= bandTop; }, 800))
        << "nothing moves while the button is held";

    ASSERT_TRUE(xdo(session, {QStringLiteral("mouseup"), QStringLiteral("1")}));
    EXPECT_TRUE(E2eSession::waitFor([&] { const QRect f = outerFrame(session, xterm); return f.y() + f.height() == bandTop; }, 3000))
        << "released, it sits on the band: bottom " << outerFrame(session, xterm).bottom() + 1 << " band " << bandTop;
    EXPECT_EQ(outerFrame(session, xterm).height(), start.height()) << "the height is kept";
}

TEST_F(WindowAvoidance, MaximizedWindowsStopAboveTheBandWhileDialogsAndFullScreenWindowsAreLeftAlone)
{
    WHARF_REQUIRE_SESSION(session);
    ASSERT_TRUE(startWharf());
    const quint32 maximized = startXterm(QStringLiteral("40x10+100+100"));
    ASSERT_NE(maximized, 0u);
    session.run(QStringLiteral("wmctrl"), {QStringLiteral("-i"), QStringLiteral("-r"), QString::number(maximized),
                                           QStringLiteral("-b"), QStringLiteral("add,maximized_vert,maximized_horz")});
    EXPECT_TRUE(E2eSession::waitFor([&] { const QRect f = outerFrame(session, maximized); return f.height() > 900 && f.y() + f.height() == bandTop; }))
        << "bottom " << outerFrame(session, maximized).y() + outerFrame(session, maximized).height() << " band " << bandTop;

    const quint32 fullScreen = startXterm(QStringLiteral("40x10+0+0"), {QStringLiteral("-fullscreen")});
    ASSERT_NE(fullScreen, 0u);
    ASSERT_TRUE(E2eSession::waitFor([&] { return outerFrame(session, fullScreen) == QRect(0, 0, 1920, 1080); }));

    const QRect dialogPlace(700, bandTop - 100, 300, 160);
    QProcess* dialog = startBandClient(dialogPlace, {QStringLiteral("--dialog")});
    ASSERT_NE(dialog, nullptr);
    const quint32 dialogWindow = session.clientWindows(QStringLiteral("bandclient")).front();
    // Openbox places new windows clear of the reserved band; the dialog moves itself into it.
    xdo(session, {QStringLiteral("windowmove"), QString::number(dialogWindow), QString::number(dialogPlace.x()),
                  QString::number(dialogPlace.y())});
    ASSERT_TRUE(E2eSession::waitFor([&] { return outerFrame(session, dialogWindow).y() + outerFrame(session, dialogWindow).height() > bandTop; }))
        << "the dialog reaches into the band: " << outerFrame(session, dialogWindow).y() << " "
        << outerFrame(session, dialogWindow).height() << " band " << bandTop;
    const QRect dialogFrame = outerFrame(session, dialogWindow);

    // Give the worker time for several drains; neither window moves.
    E2eSession::waitFor([] { return false; }, 1000);
    EXPECT_EQ(outerFrame(session, fullScreen), QRect(0, 0, 1920, 1080));
    EXPECT_EQ(outerFrame(session, dialogWindow), dialogFrame);
}

TEST_F(WindowAvoidance, AWindowThatSnapsBackIsRetriedOnlyAfterTheCooldown)
{
    WHARF_REQUIRE_SESSION(session);
    ASSERT_TRUE(startWharf());
    QProcess* client = startBandClient(QRect(400, bandTop - 60, 300, 160), {QStringLiteral("--snap-back")});
    ASSERT_NE(client, nullptr);
    QByteArray out;
    const auto moves = [&] {
        out += client->readAllStandardOutput();
        return out.count("moved");
    };
    ASSERT_TRUE(E2eSession::waitFor([&] { return moves() >= 1; })) << "Wharf tries once";
    E2eSession::waitFor([] { return false; }, 2500);
    EXPECT_EQ(moves(), 1) << "and leaves the refusing window alone during the cooldown";
    EXPECT_TRUE(E2eSession::waitFor([&] { return moves() >= 2; }, 4000)) << "then tries again";
}

TEST_F(WindowAvoidance, KeepWindowsAboveOffReservesNothingAndMovesNothing)
{
    WHARF_REQUIRE_SESSION(session);
    ASSERT_TRUE(startWharf(false));
    EXPECT_LE(strutBottom(session, wharf->processId()), 0);
    QProcess* client = startBandClient(QRect(400, 1080 - 100, 300, 160), {QStringLiteral("--snap-back")});
    ASSERT_NE(client, nullptr);
    E2eSession::waitFor([] { return false; }, 1000);
    EXPECT_FALSE(client->readAllStandardOutput().contains("moved"));
}

} // namespace
} // namespace wharf::e2e
