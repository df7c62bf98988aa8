// Auto-hide and the full-screen overlay dock under a real X server and window manager, with and
// without a compositor: checked through Docks() over D-Bus and the pixels on screen.
#include "dock_e2e_client.h"

#include <QColor>
#include <QImage>

#include <gtest/gtest.h>

#include <cstdlib>

namespace wharf::e2e {
namespace {

bool fullScreen(E2eSession& session, const QString& window, bool on)
{
    return session.run(QStringLiteral("wmctrl"), {QStringLiteral("-i"), QStringLiteral("-r"), window, QStringLiteral("-b"),
                                                  on ? QStringLiteral("add,fullscreen") : QStringLiteral("remove,fullscreen")})
               .exitCode == 0;
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
                 const std::function<bool(const DockInfo&)>& condition, int timeoutMs = 10000)
{
    return E2eSession::waitFor([&] {
        const auto dock = findDock(client, display, overlay);
        return dock && condition(*dock);
    }, timeoutMs, 50);
}

// Sum of the channel differences between the mean colours of `rect` in two images.
int difference(const QImage& a, const QImage& b, const QRect& rect)
{
    return colorDistance(meanColor(a, rect), meanColor(b, rect));
}

// The rows where the shelf is drawn, above the 4-pixel edge strip, across the row of tiles.
QRect shelfBand(const DockInfo& dock, int screenBottom)
{
    const QRectF& first = dock.tiles.front();
    const QRectF& last = dock.tiles.back();
    return QRect(QPoint(int(first.left()), screenBottom - 24), QPoint(int(last.right()), screenBottom - 6));
}

TEST(AutoHide, HidesAfterThePointerLeavesAndComesBackOnlyFromTheEdgeStrip)
{
    for (const bool compositor : {true, false}) {
        SCOPED_TRACE(compositor ? "with a compositor" : "without a compositor");
        E2eSession session({.compositor = compositor});
        WHARF_REQUIRE_SESSION(session);
        writeWharfSettings(session, {{QStringLiteral("autoHide"), true}});
        const QImage empty = session.screenshot();
        movePointer(session, QPointF(960, 300));
        QProcess* wharf = session.startWharf();
        ASSERT_NE(wharf, nullptr);
        DockClient client(session);
        const QString display = E2eSession::waitFor([&] { return !client.docks().empty(); })
            ? client.docks().front().display : QString();

        // Nothing holds the dock up: it slides below the screen edge.
        ASSERT_TRUE(waitForDock(client, display, false, [](const DockInfo& d) { return d.hidden && !d.tiles.empty(); }))
            << client.json(QStringLiteral("Docks")).toJson().toStdString();
        auto dock = findDock(client, display, false);
        ASSERT_TRUE(dock);
        for (const QRectF& tile : dock->tiles)
            EXPECT_GE(tile.top(), 1080) << "tile at " << tile.x();
        const QRect band = shelfBand(*dock, 1080);
        ASSERT_TRUE(E2eSession::waitFor([&] { return difference(session.screenshot(), empty, band) < 8; }))
            << "no shelf on screen";

        if (!compositor) {
            // The strip that still takes the pointer cannot be clear here; it must not be black.
            const QRect strip(band.left(), 1076, band.width(), 4);
            QImage black(session.screenshot().size(), QImage::Format_RGB32);
            black.fill(Qt::black);
            EXPECT_GT(difference(session.screenshot(), black, strip), 100);
        }

        // The strip along the bottom edge reveals it, and the shelf is drawn again.
        const int centre = int(dock->tiles[dock->tiles.size() / 2].center().x());
        movePointer(session, QPointF(centre, 1079));
        ASSERT_TRUE(waitForDock(client, display, false, [](const DockInfo& d) { return d.hiddenAmount == 0; }));
        dock = findDock(client, display, false);
        for (const QRectF& tile : dock->tiles)
            EXPECT_LT(tile.bottom(), 1080);
        EXPECT_TRUE(E2eSession::waitFor([&] { return difference(session.screenshot(), empty, band) > 20; }))
            << "the shelf is drawn once shown";

        // Away from it again, it hides again.
        movePointer(session, QPointF(960, 300));
        EXPECT_TRUE(waitForDock(client, display, false, [](const DockInfo& d) { return d.hidden; }));
        EXPECT_TRUE(client.quit());
        EXPECT_TRUE(wharf->waitForFinished(10000));
    }
}

TEST(AutoHide, AFullScreenWindowHandsItsDisplayToTheOverlayDockUntilItOrTheDisplayGoes)
{
    E2eSession session({.twoMonitors = true});
    WHARF_REQUIRE_SESSION(session);
    const QString xterm = QString::number(startXterm(session, {"-bg", "red", "-geometry", "80x20+100+100"}));
    ASSERT_NE(xterm, "0");
    movePointer(session, QPointF(960, 400));
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    ASSERT_TRUE(E2eSession::waitFor([&] { return client.docks().size() == 4; }));
    const QString left = QStringLiteral("LEFT"), right = QStringLiteral("RIGHT");

    ASSERT_TRUE(fullScreen(session, xterm, true));
    EXPECT_TRUE(waitForDock(client, left, false, [](const DockInfo& d) { return d.fullScreen && !d.mapped; }))
        << "the normal dock leaves the full-screen display";
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.mapped && d.hidden; }))
        << "the overlay waits, hidden, at its edge";
    auto other = findDock(client, right, false);
    ASSERT_TRUE(other);
    EXPECT_TRUE(other->mapped && !other->fullScreen) << "the other display keeps its dock";
    const QImage covered = session.screenshot();
    EXPECT_EQ(covered.pixelColor(960, 1070), QColor(Qt::red)) << "nothing of a dock over the full-screen window";

    // The pointer at that display's bottom edge brings the overlay up, above the full-screen window.
    movePointer(session, QPointF(960, 1079));
    ASSERT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.hiddenAmount == 0; }));
    const auto overlay = findDock(client, left, true);
    ASSERT_TRUE(overlay && !overlay->tiles.empty());
    const QRect band = shelfBand(*overlay, 1080);
    EXPECT_TRUE(E2eSession::waitFor([&] { return difference(session.screenshot(), covered, band) > 20; }))
        << "the overlay's shelf is drawn over the full-screen window";

    // It leaves again with the pointer.
    movePointer(session, QPointF(960, 400));
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.hidden; }));

    // The shortcut's path on a full-screen display gives the keyboard to the overlay, which shows.
    client.call(QStringLiteral("FocusDock"));
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.hiddenAmount == 0; }));
    // A click on the full-screen window takes the keyboard back, which ends keyboard mode.
    session.xdotool({QStringLiteral("click"), QStringLiteral("1")});
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return d.hidden; }));

    // Leaving full screen brings the normal dock back and puts the overlay away.
    ASSERT_TRUE(fullScreen(session, xterm, false));
    EXPECT_TRUE(waitForDock(client, left, false, [](const DockInfo& d) { return d.mapped && !d.fullScreen; }));
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return !d.mapped; }));

    // A full-screen display that is removed leaves no dock hidden.
    session.xdotool({QStringLiteral("windowmove"), QStringLiteral("--sync"), xterm, QStringLiteral("2100"), QStringLiteral("100")});
    ASSERT_TRUE(fullScreen(session, xterm, true));
    ASSERT_TRUE(waitForDock(client, right, true, [](const DockInfo& d) { return d.mapped; }));
    ASSERT_EQ(session.run(QStringLiteral("xrandr"), {QStringLiteral("--delmonitor"), right}).exitCode, 0);
    ASSERT_TRUE(E2eSession::waitFor([&] {
        const auto docks = client.docks();
        return docks.size() == 2 && docks.front().display == left && docks.back().display == left;
    })) << "rebuilt for the display that is left";
    // Whatever the window manager did with the window, a dock is shown exactly where no
    // full-screen window is, and the normal dock comes back once none is.
    ASSERT_TRUE(fullScreen(session, xterm, false));
    EXPECT_TRUE(waitForDock(client, left, false, [](const DockInfo& d) { return d.mapped && !d.fullScreen; }));
    EXPECT_TRUE(waitForDock(client, left, true, [](const DockInfo& d) { return !d.mapped; }));
    EXPECT_EQ(wharf->state(), QProcess::Running);
}

} // namespace
} // namespace wharf::e2e
