// The dock windows on two displays as the window manager sees them, auto-hide and the full-screen
// overlay dock under a real X server and window manager, with and without a compositor: checked
// through Docks() over D-Bus, the windows' properties and the pixels on screen.
#include "dock_e2e_client.h"

#include <QColor>
#include <QImage>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace wharf::e2e {
namespace {

bool fullScreen(E2eSession& session, const QString& window, bool on)
{
    return session.run("wmctrl", {"-i", "-r", window, "-b", on ? "add,fullscreen" : "remove,fullscreen"}).exitCode == 0;
}

std::optional<DockInfo> findDock(DockClient& client, const QString& display, bool overlay)
{
    for (const DockInfo& dock : client.docks()) {
        if (dock.display == display && dock.overlay == overlay)
            return dock;
    }
    return std::nullopt;
}

// Waits until the dock of `display` satisfies `condition`.
bool waitForDock(DockClient& client, const QString& display, bool overlay,
                 const std::function<bool(const DockInfo&)>& condition)
{
    return waitFor([&] {
        const auto dock = findDock(client, display, overlay);
        return dock && condition(*dock);
    }, 10000, 50);
}

// Sum of the channel differences between the mean colours of `rect` in two images.
int difference(const QImage& a, const QImage& b, const QRect& rect)
{
    return colorDistance(meanColor(a, rect), meanColor(b, rect));
}

// The rows where the shelf is drawn, above the 4-pixel edge strip at the screen's bottom, across
// the row of tiles.
QRect shelfBand(const DockInfo& dock)
{
    const QRectF& first = dock.tiles.front();
    const QRectF& last = dock.tiles.back();
    return QRect(QPoint(int(first.left()), 1080 - 24), QPoint(int(last.right()), 1080 - 6));
}

// Without a compositor, where the hidden dock is cut down to its edge strip. (With one, the
// full-screen session's overlay dock hides, comes back from the edge and leaves the same way.)
TEST(AutoHide, HidesAfterThePointerLeavesAndComesBackOnlyFromTheEdgeStrip)
{
    E2eSession session({.compositor = false});
    WHARF_REQUIRE_SESSION(session);
    writeWharfSettings(session, {{"autoHide", true}});
    const QImage empty = session.screenshot();
    movePointer(session, QPointF(960, 300));
    ASSERT_NE(session.startWharf(), nullptr);
    DockClient client(session);
    const QString display = waitFor([&] { return !client.docks().empty(); })
        ? client.docks().front().display : QString();

    // Nothing holds the dock up: it slides below the screen edge.
    ASSERT_TRUE(waitForDock(client, display, false, [](const DockInfo& d) { return d.hidden && !d.tiles.empty(); }))
        << client.json("Docks").toJson().toStdString();
    const auto dock = findDock(client, display, false);
    ASSERT_TRUE(dock);
    const QRect band = shelfBand(*dock);
    ASSERT_TRUE(waitFor([&] { return difference(session.screenshot(), empty, band) < 8; })) << "no shelf on screen";

    // The strip that still takes the pointer cannot be clear here; it must not be black.
    const QRect strip(band.left(), 1076, band.width(), 4);
    QImage black(session.screenshot().size(), QImage::Format_RGB32);
    black.fill(Qt::black);
    EXPECT_GT(difference(session.screenshot(), black, strip), 100);

    // The strip along the bottom edge reveals it, and the shelf is drawn again.
    const int centre = int(dock->tiles[dock->tiles.size() / 2].center().x());
    movePointer(session, QPointF(centre, 1079));
    ASSERT_TRUE(waitForDock(client, display, false, [](const DockInfo& d) { return d.hiddenAmount == 0; }));
    EXPECT_TRUE(waitFor([&] { return difference(session.screenshot(), empty, band) > 20; }))
        << "the shelf is drawn once shown";

    // Away from it again, it hides again.
    movePointer(session, QPointF(960, 300));
    EXPECT_TRUE(waitForDock(client, display, false, [](const DockInfo& d) { return d.hidden; }));
}

// Two docks on every display, where the window manager sees them on every desktop, above the
// others and never focused; the row is shown at rest at once, and clicks pass through all but the
// tiles. A full-screen window then hands its display to the overlay dock until it or the display goes.
TEST(AutoHide, EveryDisplayGetsTwoUnfocusedDocksThatLetClicksThroughAndAFullScreenWindowHandsItsDisplayToTheOverlay)
{
    E2eSession session({.twoMonitors = true});
    WHARF_REQUIRE_SESSION(session);
    // The terminal below must stay under the dock, so windows are not kept clear of it here.
    writeWharfSettings(session, {{"keepWindowsAboveDock", false}});
    const QString red = QString::number(startXterm(session, {"-bg", "red", "-geometry", "80x20+100+100"}));
    ASSERT_NE(red, "0");
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    // The row must not move from where it was first shown into its resting layout.
    std::vector<std::vector<QRectF>> seen;
    waitFor([&] {
        const auto docks = client.docks();
        if (!docks.empty() && !docks.front().tiles.empty())
            seen.push_back(docks.front().tiles);
        return seen.size() >= 30;
    }, 10000, 10);
    const auto settled = client.settledDock(4);
    ASSERT_TRUE(settled);
    for (const auto& tiles : seen)
        ASSERT_EQ(tiles, settled->tiles) << "the row moved after it was first shown";

    QStringList displays;
    for (const DockInfo& dock : client.docks()) {
        displays << dock.display;
        EXPECT_EQ(dock.mapped, !dock.overlay);
        const double left = dock.display == "RIGHT" ? 1920 : 0;
        EXPECT_EQ(dock.frame, QRectF(left, 740, 1920, 340)) << dock.display.toStdString();
    }
    EXPECT_EQ(displays, (QStringList{"LEFT", "LEFT", "RIGHT", "RIGHT"}));
    QString log;
    EXPECT_TRUE(waitForLog(*wharf, log, "Wharf ready. Displays: 2,"))
        << "the ready line counts the displays that carry docks";

    // What the window manager sees on the dock windows.
    const QStringList windows = wharfWindows(session, wharf->processId());
    ASSERT_EQ(windows.size(), 4) << "every dock window exists as an X window";
    QString mapped, unmapped;
    for (const QString& id : windows) {
        if (session.xprop({"-id", id, "WM_STATE"}).contains("Normal"))
            mapped = id;
        else
            unmapped = id;
        EXPECT_FALSE(session.xprop({"-id", id, "WM_PROTOCOLS"}).contains("WM_TAKE_FOCUS"))
            << "the focus is taken only in keyboard mode";
    }
    ASSERT_FALSE(mapped.isEmpty()) << "the normal dock is mapped";
    ASSERT_FALSE(unmapped.isEmpty()) << "the overlay dock is not";
    // What Wharf asks for (visible on the window the manager has not touched yet) ...
    const QString requested = session.xprop({"-id", unmapped});
    for (const char* state : {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_STICKY", "_NET_WM_STATE_SKIP_TASKBAR",
                              "_NET_WM_STATE_SKIP_PAGER"})
        EXPECT_TRUE(requested.contains(state)) << state << "\n" << requested.toStdString();
    // ... and what openbox made of it on the mapped one: a dock on every desktop, above, out of
    // task bars and pagers, never focused.
    const QString props = session.xprop({"-id", mapped});
    EXPECT_TRUE(props.contains("_NET_WM_WINDOW_TYPE(ATOM) = _NET_WM_WINDOW_TYPE_DOCK\n")) << props.toStdString();
    for (const char* state : {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"})
        EXPECT_TRUE(props.contains(state)) << state << "\n" << props.toStdString();
    EXPECT_TRUE(props.contains("_NET_WM_DESKTOP(CARDINAL) = 4294967295")) << props.toStdString();
    EXPECT_TRUE(props.contains("Client accepts input or input focus: False")) << props.toStdString();

    // Clicks reach the window below except over tiles: a terminal across the whole bottom of the
    // left display, under the dock window.
    const quint32 below = startXterm(session, {"-geometry", "320x90+0+0"});
    // A second terminal (xclock takes no focus) that is made active before each click.
    const quint32 other = startXterm(session, {"-geometry", "40x10+800+100"});
    ASSERT_TRUE(below && other);

    const auto clickAt = [&](QPoint p) {
        // Start from the other terminal being active, so the activation of the one below can only
        // come from the click.
        session.xdotool({"windowactivate", QString::number(other)});
        if (!waitFor([&] { return activeWindow(session) == other; }, 3000))
            return false;
        movePointer(session, p);
        return session.xdotool({"click", "1"}).exitCode == 0;
    };

    // Transparent part of the dock window (its top-left corner, far from the shelf).
    ASSERT_TRUE(windowFrame(session, QString::number(below)).contains(QPoint(40, 760)));
    ASSERT_TRUE(clickAt(QPoint(40, 760)));
    EXPECT_TRUE(waitFor([&] { return activeWindow(session) == below; }, 3000))
        << "a click on the transparent part reaches the terminal below";

    // A tile takes the click itself: neither the terminal below nor the dock gets the focus.
    const auto now = client.settledDock(4);
    ASSERT_TRUE(now);
    ASSERT_TRUE(windowFrame(session, QString::number(below)).contains(center(now->tiles.back()))) << "the terminal lies under the tile";
    ASSERT_TRUE(clickAt(center(now->tiles.back())));
    EXPECT_FALSE(waitFor([&] {
        const quint32 active = activeWindow(session);
        return active == below || windows.contains(QString::number(active));
    }, 1000)) << "a click on a tile stays with the dock, which leaves the focus where it was";
    // The tile is the Trash, which no file manager opens here: its alert goes.
    ASSERT_TRUE(client.succeeds("AnswerAlert", {"OK"}));

    // The red terminal, given the keyboard, goes full screen on the left display.
    movePointer(session, QPointF(960, 400));
    session.xdotool({"windowactivate", red});
    ASSERT_TRUE(waitFor([&] { return QString::number(activeWindow(session)) == red; }));
    const QString left = "LEFT", right = "RIGHT";

    ASSERT_TRUE(fullScreen(session, red, true));
    EXPECT_TRUE(waitForDock(client, left, false, [](const DockInfo& d) { return d.fullScreen && !d.mapped; }))
        << "the normal dock leaves the full-screen display";
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.mapped && d.hidden; }))
        << "the overlay waits, hidden, at its edge";
    const auto rightDock = findDock(client, right, false);
    ASSERT_TRUE(rightDock);
    EXPECT_TRUE(rightDock->mapped && !rightDock->fullScreen) << "the other display keeps its dock";
    const QImage covered = session.screenshot();
    EXPECT_EQ(covered.pixelColor(960, 1070), QColor(Qt::red)) << "nothing of a dock over the full-screen window";

    // The pointer at that display's bottom edge brings the overlay up, above the full-screen window.
    movePointer(session, QPointF(960, 1079));
    ASSERT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.hiddenAmount == 0; }));
    const auto overlay = findDock(client, left, true);
    ASSERT_TRUE(overlay && !overlay->tiles.empty());
    const QRect band = shelfBand(*overlay);
    EXPECT_TRUE(waitFor([&] { return difference(session.screenshot(), covered, band) > 20; }))
        << "the overlay's shelf is drawn over the full-screen window";

    // It leaves again with the pointer.
    movePointer(session, QPointF(960, 400));
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.hidden; }));

    // The shortcut's path on a full-screen display gives the keyboard to the overlay, which shows.
    client.call("FocusDock");
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.hiddenAmount == 0; }));
    // A click on the full-screen window takes the keyboard back, which ends keyboard mode.
    session.xdotool({"click", "1"});
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.hidden; }));

    // Leaving full screen brings the normal dock back and puts the overlay away.
    ASSERT_TRUE(fullScreen(session, red, false));
    EXPECT_TRUE(waitForDock(client, left, false, [](const DockInfo& d) { return d.mapped && !d.fullScreen; }));
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return !d.mapped; }));
    // Withdrawn, the normal dock lost its desktop and states: mapped again, it is on every
    // desktop and out of task bars as before, like the other display's.
    const auto everywhere = [&](const QString& id) {
        const QString p = session.xprop({"-id", id, "WM_STATE", "_NET_WM_DESKTOP", "_NET_WM_STATE"});
        return p.contains("Normal") && p.contains("= 4294967295") && p.contains("_NET_WM_STATE_SKIP_TASKBAR");
    };
    EXPECT_TRUE(waitFor([&] { return std::count_if(windows.begin(), windows.end(), everywhere) == 2; }, 3000));

    // A full-screen display that is removed leaves no dock hidden.
    session.xdotool({"windowmove", "--sync", red, "2100", "100"});
    ASSERT_TRUE(fullScreen(session, red, true));
    ASSERT_TRUE(waitForDock(client, right, true, [](const DockInfo& d) { return d.mapped; }));
    ASSERT_EQ(session.run("xrandr", {"--delmonitor", right}).exitCode, 0);
    ASSERT_TRUE(waitFor([&] {
        const auto docks = client.docks();
        return docks.size() == 2 && docks.front().display == left && docks.back().display == left;
    })) << "rebuilt for the display that is left";
    // Whatever the window manager did with the window, a dock is shown exactly where no
    // full-screen window is, and the normal dock comes back once none is.
    ASSERT_TRUE(fullScreen(session, red, false));
    EXPECT_TRUE(waitForDock(client, left, false, [](const DockInfo& d) { return d.mapped && !d.fullScreen; }));
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return !d.mapped; }));
}

} // namespace
} // namespace wharf::e2e
