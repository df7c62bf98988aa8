// Keeping windows clear of the resting dock under a real window manager: windows dragged into the
// reserved band, windows that must be left alone (as read from X), and a client that refuses to move. Every check
// waits for the window manager to settle instead of for a set time.
#include "dock_e2e_client.h"

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

// The outer frame (with openbox's decorations) of a client window, in root coordinates.
QRect outerFrame(E2eSession& session, quint32 window)
{
    const QString extents = session.xprop({"-id", QString::number(window), "_NET_FRAME_EXTENTS"});
    const QStringList parts = extents.section('=', 1).split(',');
    const auto e = [&](int i) { return parts.size() == 4 ? parts[i].trimmed().toInt() : 0; };
    return windowFrame(session, QString::number(window)).adjusted(-e(0), -e(2), e(1), e(3));
}

int bottomEdge(const QRect& frame) { return frame.y() + frame.height(); }

class WindowAvoidance : public ::testing::Test {
protected:
    void SetUp() override
    {
        WHARF_REQUIRE_SESSION(session);
        wharf = session.startWharf();
        ASSERT_NE(wharf, nullptr);
        ASSERT_TRUE(DockClient(session).settledDock());
        ASSERT_TRUE(waitFor([&] { return reservedBottom(session, wharf->processId()) > 0; }));
        bandTop = 1080 - reservedBottom(session, wharf->processId());
    }

    // Waits until `window`'s frame holds `condition` in two readings in a row, and returns it.
    QRect frameWhen(quint32 window, const std::function<bool(const QRect&)>& condition, int timeoutMs = 10000)
    {
        QRect last;
        waitFor([&] {
            const QRect now = outerFrame(session, window);
            const bool settled = now == last && condition(now);
            last = now;
            return settled;
        }, timeoutMs, 100);
        return last;
    }

    QProcess* startBandClient(const QRect& rect, const QString& flag)
    {
        QProcess* client = session.start(BAND_CLIENT,
                                          {QString::number(rect.x()), QString::number(rect.y()),
                                           QString::number(rect.width()), QString::number(rect.height()), flag});
        return session.waitForClientWindow("bandclient") ? client : nullptr;
    }

    void xdo(const QStringList& args) { ASSERT_EQ(session.xdotool(args).exitCode, 0) << args.join(' ').toStdString(); }

    E2eSession session;
    QProcess* wharf = nullptr;
    int bandTop = 0;
};

// One session, one case after another: a window dragged into the band, a client that refuses to
// move, and windows that must be left alone.
TEST_F(WindowAvoidance, ADraggedWindowMovesUpOnlyAfterReleaseOneThatSnapsBackOnlyAfterTheCooldownAndDialogsAndFullScreenStay)
{
    const quint32 xterm = startXterm(session, {"-geometry", "60x15+300+200"});
    ASSERT_NE(xterm, 0u);
    // Placed and decorated: the title bar is where the frame says.
    const QRect start = frameWhen(xterm, [](const QRect& f) { return f.top() < 300 && f.height() > 0; });
    ASSERT_LT(bottomEdge(start), bandTop) << "starts clear of the band";

    // Drag by the title bar until the bottom is 40 pixels into the band, and hold the button.
    const QPoint grab(start.center().x(), start.top() + 8);
    const int dy = bandTop + 40 - bottomEdge(start);
    movePointer(session, grab);
    xdo({"mousedown", "1"});
    for (int step = 1; step <= 4; ++step) {
        xdo({"mousemove", QString::number(grab.x()), QString::number(grab.y() + dy * step / 4)});
        waitFor([] { return false; }, 80);
    }
    ASSERT_GT(bottomEdge(frameWhen(xterm, [&](const QRect& f) { return bottomEdge(f) > bandTop + 30; })), bandTop + 30)
        << "the window manager follows the drag";
    EXPECT_FALSE(waitFor([&] { return bottomEdge(outerFrame(session, xterm)) <= bandTop; }, 800))
        << "nothing moves while the button is held";

    xdo({"mouseup", "1"});
    const QRect end = frameWhen(xterm, [&](const QRect& f) { return bottomEdge(f) == bandTop; });
    EXPECT_EQ(bottomEdge(end), bandTop) << "released, it sits on the band";
    EXPECT_EQ(end.height(), start.height()) << "the height is kept";

    // A client that snaps back into the band.
    QProcess* snapping = startBandClient(QRect(400, bandTop - 60, 300, 160), "--snap-back");
    ASSERT_NE(snapping, nullptr);
    QByteArray out;
    const auto moves = [&] {
        out += snapping->readAllStandardOutput();
        return out.count("moved");
    };
    ASSERT_TRUE(waitFor([&] { return moves() >= 1; })) << "Wharf tries once";
    // Its snapping back reads as a refusal, not as a new place to correct at once.
    EXPECT_FALSE(waitFor([&] { return moves() >= 2; }, 2000)) << "and leaves the refusing window alone";
    EXPECT_TRUE(waitFor([&] { return moves() >= 2; }, 10000)) << "until the cooldown is over";
    E2eSession::stop(snapping);
    ASSERT_TRUE(waitFor([&] { return session.clientWindows("bandclient").empty(); }));

    // (That maximized windows stop above the band is the window manager's, from the reservation the
    // application test checks.)
    const quint32 fullScreen = startXterm(session, {"-geometry", "40x10+0+0", "-fullscreen"});
    ASSERT_NE(fullScreen, 0u);
    const QRect screen(0, 0, 1920, 1080);
    ASSERT_EQ(frameWhen(fullScreen, [&](const QRect& f) { return f == screen; }), screen);

    // Openbox places new windows clear of the reserved band; the dialog moves itself into it.
    const QRect dialogPlace(700, bandTop - 100, 300, 160);
    ASSERT_NE(startBandClient(dialogPlace, "--dialog"), nullptr);
    const quint32 dialog = session.clientWindows("bandclient").front();
    xdo({"windowmove", QString::number(dialog), QString::number(dialogPlace.x()), QString::number(dialogPlace.y())});
    const QRect dialogFrame = frameWhen(dialog, [&](const QRect& f) { return bottomEdge(f) > bandTop; });
    ASSERT_GT(bottomEdge(dialogFrame), bandTop) << "the dialog reaches into the band";

    // Give the worker time for several drains; neither window moves.
    EXPECT_FALSE(waitFor([&] { return outerFrame(session, dialog) != dialogFrame; }, 1000));
    EXPECT_EQ(outerFrame(session, fullScreen), screen);
}

} // namespace
} // namespace wharf::e2e
