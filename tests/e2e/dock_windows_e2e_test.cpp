// The dock windows under a real X server, window manager and compositor (where they sit on two
// displays, what the window manager is told and pass-through clicks are the auto-hide test's
// full-screen session): magnification, the shape without a compositor, where icewm's task bar is,
// and what is drawn: the shelf, running indicators and a new icon theme.
#include "dock_e2e_client.h"

#include "dock/dock_layout.h"

#include <QColor>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <cmath>

namespace wharf::e2e {
namespace {

bool near(const QColor& a, const QColor& b) { return colorDistance(a, b) <= 60; }

TEST(DockWindows, ShelfIndicatorsAndIconsAreDrawnWhereTheFramesSayInLightAndDarkAndANewIconThemeRedrawsThem)
{
    std::map<QString, int> shelfLightness;
    for (const QString appearance : {"light", "dark"}) {
        SCOPED_TRACE(appearance.toStdString());
        E2eSession session;
        WHARF_REQUIRE_SESSION(session);
        // Two installed themes that draw the same icon name red and blue.
        for (const auto& [theme, color] : {std::pair{"WharfRed", Qt::red}, std::pair{"WharfBlue", Qt::blue}}) {
            const QString base = session.dataHome() + "/icons/" + theme;
            writeFile(base + "/index.theme",
                      "[Icon Theme]\nName=x\nDirectories=256x256/apps\n\n[256x256/apps]\nSize=256\nType=Fixed\n");
            QDir().mkpath(base + "/256x256/apps");
            QImage image(256, 256, QImage::Format_ARGB32);
            image.fill(color);
            ASSERT_TRUE(image.save(base + "/256x256/apps/wharf-e2e-app.png"));
        }
        const QString entry = session.writeDesktopEntry("themed", "themed", "true", "Icon=wharf-e2e-app\n");
        const QString themed = QFileInfo(entry).canonicalFilePath();
        const auto setTheme = [&](const QString& theme) {
            return session.run("gsettings", {"set", "org.gnome.desktop.interface", "icon-theme", theme}).exitCode;
        };
        ASSERT_EQ(setTheme("WharfRed"), 0);
        writeWharfSettings(session, {{"dockAppearance", appearance}}, {{themed, "application"}});
        const QImage empty = session.screenshot().convertToFormat(QImage::Format_RGB32);
        const quint32 xterm = startXterm(session, {"-geometry", "40x10+100+100"});
        ASSERT_NE(xterm, 0u);
        QProcess* wharf = session.startWharf();
        ASSERT_NE(wharf, nullptr);
        DockClient client(session);
        ASSERT_TRUE(waitFor([&] { return client.items().size() >= 3; })); // the pin, the xterm, the Trash
        const auto dock = client.settledDock();
        ASSERT_TRUE(dock);
        const QImage shot = session.screenshot().convertToFormat(QImage::Format_RGB32);
        ASSERT_FALSE(shot.isNull());
        // The shelf: a band just below the icons, between the first and last tile.
        const QRectF first = dock->tiles.front(), last = dock->tiles.back();
        const QRect shelf(QPoint(int(first.left()), int(first.bottom()) + 2),
                          QPoint(int(last.right()), int(first.bottom()) + 6));
        const QColor shelfColor = meanColor(shot, shelf);
        EXPECT_GT(colorDistance(shelfColor, meanColor(empty, shelf)), 20) << "the shelf is drawn under the icons";
        shelfLightness[appearance] = shelfColor.lightness();

        // Running indicators: a dot on the shelf's lip under each running item's tile, and no dot
        // under the others (compared with a strip of the same lip a little to the side).
        const QStringList running = client.itemIDs([](const auto& item) { return !item["pid"].isNull(); });
        ASSERT_FALSE(running.isEmpty());
        std::vector<QRectF> layoutFrames; // y up from the screen's bottom edge
        for (const QRectF& tile : dock->tiles)
            layoutFrames.emplace_back(tile.x(), 1080 - tile.bottom(), tile.width(), tile.height());
        const int lipY = 1080 - int(std::lround(DockLayout::metrics(layoutFrames).shelfBottom));
        for (std::size_t i = 0; i < dock->tiles.size(); ++i) {
            const int cx = int(std::lround(dock->tiles[i].center().x()));
            int strongest = 0;
            for (int y = lipY - 4; y <= std::min(lipY + 10, 1079); ++y)
                strongest = std::max(strongest, colorDistance(meanColor(shot, QRect(cx - 1, y, 3, 1)),
                                                         meanColor(shot, QRect(cx + 8, y, 3, 1))));
            if (running.contains(dock->ids[int(i)]))
                EXPECT_GT(strongest, 40) << "indicator under " << dock->ids[int(i)].toStdString();
            else
                EXPECT_LT(strongest, 15) << "no indicator under " << dock->ids[int(i)].toStdString();
        }

        const QPoint centre = dock->tiles[std::size_t(dock->ids.indexOf(themed))].center().toPoint();
        QColor shown;
        const auto shows = [&](const QColor& color) {
            return waitFor([&] { return near(shown = session.screenshot().pixelColor(centre), color); }, 10000, 200);
        };
        EXPECT_TRUE(shows(Qt::red)) << shown.name().toStdString();
        ASSERT_EQ(setTheme("WharfBlue"), 0);
        EXPECT_TRUE(shows(Qt::blue)) << shown.name().toStdString();
        // The xterm's tile leaves in frames drawn past Qt. Mapped again, the dock shows the last of
        // them, not the older picture Qt kept.
        session.xdotool({"windowkill", QString::number(xterm)});
        ASSERT_TRUE(waitFor([&] { return client.items().size() == 2; }));
        ASSERT_TRUE(client.settledDock());
        const QRect dockArea(0, 1080 - 200, 1920, 200);
        const auto dockShot = [&] { return session.screenshot().copy(dockArea).convertToFormat(QImage::Format_RGB32); };
        QImage left = dockShot();
        ASSERT_TRUE(waitFor([&] { return std::exchange(left, dockShot()) == left; }, 5000, 200));
        const RunResult shownDocks = session.xdotool(
            {"search", "--onlyvisible", "--pid", QString::number(wharf->processId()), "--name", "^Wharf$"});
        for (const QString& window : shownDocks.out.split('\n', Qt::SkipEmptyParts)) {
            session.xdotool({"windowunmap", "--sync", window});
            session.xdotool({"windowmap", "--sync", window});
        }
        EXPECT_TRUE(waitFor([&] { return dockShot() == left; }, 3000, 100)) << "the dock after mapping again";
    }
    EXPECT_GT(shelfLightness["light"], shelfLightness["dark"] + 20) << "the light shelf is lighter than the dark one";
}

// Without a compositor the dock window is clipped to what is drawn, and X delivers input only
// inside that shape: the transparent corner of a magnified tile must neither strand the hover nor
// let clicks through. A compositor that starts later is followed.
TEST(DockWindows, WithoutACompositorOnlyTheShelfIsShownAndTakesThePointerAndCompositingIsFollowed)
{
    E2eSession session({.compositor = false});
    WHARF_REQUIRE_SESSION(session);
    const QColor desktop(0x9f, 0xc8, 0xe8);
    // As wallpaper setters do: a pixmap published in _XROOTPMAP_ID and kept after the setter exits.
    ASSERT_EQ(session.run("hsetroot", {"-solid", desktop.name()}).exitCode, 0);
    // A white terminal under the left of the dock window: without a compositor translucent pixels
    // would turn it black. It must stay there, so windows are not kept clear of the dock here.
    writeWharfSettings(session, {{"keepWindowsAboveDock", false}, {"restingIconSize", 58}});
    session.start("xclock", {"-geometry", "100x100+600+100"});
    ASSERT_NE(startXterm(session, {"-geometry", "40x70+0+100"}), 0u);
    ASSERT_TRUE(session.waitForClientWindow("xclock"));
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    ASSERT_TRUE(waitFor([&] { return client.items().size() >= 3; }));
    const auto dock = client.settledDock();
    ASSERT_TRUE(dock);
    const int count = int(dock->tiles.size());
    ASSERT_GE(count, 3);
    QString log;

    const QPoint clear(100, 800); // inside the dock window, far from the shelf
    const QPoint icon = center(dock->tiles.front());
    const QColor white(255, 255, 255);
    QImage plain = session.screenshot();
    EXPECT_EQ(plain.pixelColor(clear), white) << "the window is clipped to what is drawn";
    EXPECT_NE(plain.pixelColor(icon), desktop) << "the icons are still drawn";

    // The pointer magnifies the icon under it.
    const int target = 1;
    const QPoint point = center(dock->tiles[target]);
    movePointer(session, point);
    std::optional<DockInfo> magnified;
    ASSERT_TRUE(waitFor([&] {
        magnified = client.settledDock();
        return magnified && magnified->hoveredIndex == target
            && magnified->tiles[target].width() > dock->tiles[target].width() * 1.3;
    })) << "hovered " << client.hoveredIndex();
    ASSERT_EQ(int(magnified->tiles.size()), count);
    const QRectF tile = magnified->tiles[target];
    const auto windowUnderPointer = [&] {
        const QString under = session.xdotool({"getmouselocation", "--shell"}).out;
        const QString window = under.section("WINDOW=", 1).section('\n', 0, 0);
        return session.run("xwininfo", {"-id", window}).out;
    };
    // The hover label above it shows (its dark title over the white terminal) and takes no input:
    // the pointer on it is in the terminal, out of the dock, and the hover ends.
    const QRect label(int(tile.center().x()) - 20, int(tile.top()) - 36, 40, 26);
    EXPECT_TRUE(waitFor([&] {
        const QImage shot = session.screenshot();
        return countPixels(label, [&](QPoint p) { return qGray(shot.pixel(p)) < 100; }) > 10;
    })) << "the label's title on screen";
    movePointer(session, label.center());
    EXPECT_FALSE(windowUnderPointer().contains("Height: 340")) << "the label takes no input";
    EXPECT_TRUE(waitFor([&] { return client.hoveredIndex() == -1; })) << "hover ends on the label";
    movePointer(session, point);
    ASSERT_TRUE(waitFor([&] { return client.hoveredIndex() == target; }));
    // While the row moves, the dock follows the pointer without motion events of its own: a move
    // back right after one to the next icon is seen too.
    movePointer(session, center(magnified->tiles[target - 1]));
    movePointer(session, point);
    EXPECT_TRUE(waitFor([&] {
        const auto now = client.settledDock();
        return now && now->hoveredIndex == target;
    })) << "hovered " << client.hoveredIndex();
    // In the magnified tile's transparent corner X puts the pointer, and so the clicks, in the dock
    // (its frame), not in the desktop below.
    movePointer(session, QPoint(int(tile.left()) + 2, int(tile.top()) + 2));
    ASSERT_TRUE(client.settledDock()) << "the row settles around the corner";
    const QString geometry = windowUnderPointer();
    EXPECT_TRUE(geometry.contains("Height: 340")) << geometry.toStdString();
    // Leaving through it ends the hover and brings the row back to rest.
    movePointer(session, QPoint(960, 200));
    EXPECT_TRUE(waitFor([&] {
        const auto now = client.settledDock();
        return now && !now->hoveredIndex && int(now->tiles.size()) == count
            && std::abs(now->tiles[target].width() - dock->tiles[target].width()) < 0.5;
    })) << "the hover ends and the row is back at rest; hovered " << client.hoveredIndex();

    // A tile dragged up shows its icon under the pointer, on the desktop: Qt's drag image keeps no
    // white square around it.
    movePointer(session, point);
    std::optional<DockInfo> pressed;
    ASSERT_TRUE(waitFor([&] {
        pressed = client.settledDock();
        return pressed && pressed->hoveredIndex == target && pressed->tiles[target].width() > tile.width() - 1;
    })) << "magnified again before the press: the drag image is the magnified icon";
    session.xdotool({"mousedown", "1"});
    for (const int up : {10, 60, 150, 300})
        movePointer(session, point - QPoint(0, up));
    ASSERT_TRUE(waitFor([&] { return client.docks().front().json["drag"].isObject(); }));
    const QRect image = pressed->tiles[target].translated(0, -300).toAlignedRect();
    EXPECT_TRUE(waitFor([&] {
        const QImage shot = session.screenshot();
        const int shown = countPixels(image, [&](QPoint p) { return near(shot.pixelColor(p), desktop); });
        return shown > image.width() && shown < image.width() * image.height() * 3 / 4;
    })) << "the drag image's clear corners show the desktop";
    session.xdotool({"key", "Escape"});
    EXPECT_TRUE(waitFor([&] { return !client.docks().front().json["drag"].isObject(); })) << "Escape ends the drag";
    session.xdotool({"mouseup", "1"});
    const auto after = client.settledDock();
    ASSERT_TRUE(after && int(after->tiles.size()) == count) << "the tile stays in the dock";
    EXPECT_EQ(after->hoveredIndex, std::nullopt) << "and the row rests: the pointer is far above it";

    QProcess* compositor = session.start("xcompmgr");
    ASSERT_TRUE(waitForLog(*wharf, log, "Compositing manager running")) << log.toStdString();
    ASSERT_TRUE(waitFor([&] { return session.screenshot().pixelColor(icon) != desktop; }, 3000));
    const QImage blended = session.screenshot();
    EXPECT_EQ(blended.pixelColor(clear), white) << "translucent, and still nothing drawn far from the shelf";
    // Icon edges blended against black come out darker than the icon and the desktop both; blended
    // against the desktop they match what the compositor makes of them.
    int darker = 0;
    const auto isDarker = [&](QPoint p) { return qGray(plain.pixel(p)) + 24 < qGray(blended.pixel(p)); };
    for (const QRectF& t : dock->tiles)
        darker += countPixels(t.toAlignedRect().intersected(plain.rect()), isDarker);
    EXPECT_LE(darker, 10) << "dark fringes around the icons without a compositor";

    E2eSession::stop(compositor);
    EXPECT_TRUE(waitForLog(*wharf, log, "Compositing manager gone")) << log.toStdString();
}

// An X server without the Composite extension keeps no window's pixels for it: what a window
// passing over the dock uncovers, the dock draws again.
TEST(DockWindows, WhatAWindowPassingOverTheDockUncoversIsDrawnAgain)
{
    E2eSession session({.compositeExtension = false});
    WHARF_REQUIRE_SESSION(session);
    ASSERT_NE(session.startWharf(), nullptr);
    DockClient client(session);
    const auto dock = client.settledDock();
    ASSERT_TRUE(dock);
    const QRect shelf = QRectF(dock->tiles.front().topLeft(), dock->tiles.back().bottomRight())
                            .toAlignedRect().adjusted(-20, -10, 20, 40).intersected(QRect(0, 0, 1920, 1080));
    const auto shelfShot = [&] { return session.screenshot().copy(shelf).convertToFormat(QImage::Format_RGB32); };
    QImage atRest = shelfShot();
    ASSERT_TRUE(waitFor([&] { return std::exchange(atRest, shelfShot()) == atRest; }, 5000, 200));
    QProcess* passing = session.start("xterm", {"-xrm", "*overrideRedirect: true", "-geometry", "200x20+0+100"});
    QString passer;
    ASSERT_TRUE(waitFor([&] {
        passer = session.xdotool({"search", "--onlyvisible", "--pid",
                                  QString::number(passing->processId())}).out.trimmed();
        return !passer.isEmpty();
    }));
    for (const int y : {700, 850, 1000, 800, 100})
        session.xdotool({"windowmove", "--sync", passer, "0", QString::number(y)});
    EXPECT_TRUE(waitFor([&] { return shelfShot() == atRest; }, 3000));
}

// icewm keeps its task bar along the bottom edge: the dock sits on top of it instead of over it.
TEST(DockWindows, UnderIcewmTheDockSitsAboveItsTaskBar)
{
    E2eSession session({.windowManager = false});
    WHARF_REQUIRE_SESSION(session);
    if (QStandardPaths::findExecutable("icewm").isEmpty())
        GTEST_SKIP() << "icewm is not installed";
    session.start("icewm");
    ASSERT_TRUE(waitFor([&] { return session.xprop({"-root", "_NET_WORKAREA"}).contains('='); }));
    const auto taskBarHeight = [&] {
        // The bottom edge the task bar reserves, from the work area icewm publishes before Wharf runs.
        const QStringList v = session.xprop({"-root", "_NET_WORKAREA"}).section('=', 1).split(',');
        return v.size() >= 4 ? 1080 - (v[1].trimmed().toInt() + v[3].trimmed().toInt()) : -1;
    };
    ASSERT_TRUE(waitFor([&] { return taskBarHeight() > 0; })) << "icewm shows its task bar";
    const int taskBar = taskBarHeight();

    ASSERT_NE(session.startWharf(), nullptr);
    DockClient client(session);
    const auto dock = client.settledDock();
    ASSERT_TRUE(dock);
    EXPECT_EQ(dock->frame, QRectF(0, 1080 - taskBar - 340, 1920, 340)) << "the dock stands on the task bar";
}

// Qt scales each display from its own top-left corner: at scale 2 the second display's dock reserves
// the bottom of that display, in device pixels, and not a stretch beyond the screen. A folder's
// stack opens over the dock where it is clicked.
TEST(DockWindows, AtScaleTwoEachDisplaysDockReservesTheBottomOfItsOwnDisplayAndOpensItsOwnStacks)
{
    E2eSession session({.twoMonitors = true});
    WHARF_REQUIRE_SESSION(session);
    session.setEnv("QT_SCALE_FACTOR", "2");
    const QString folder = session.home() + "/Folder";
    ASSERT_TRUE(QDir().mkpath(folder));
    writeWharfSettings(session, {}, {{folder, "folder"}});
    QProcess* wharf = session.startWharf();
    ASSERT_NE(wharf, nullptr);
    DockClient client(session);
    ASSERT_TRUE(client.settledDock(4));
    QStringList reserved;
    for (const QString& window : wharfWindows(session, wharf->processId())) {
        const QStringList v = session.xprop({"-id", window, "_NET_WM_STRUT_PARTIAL"}).section('=', 1).split(',');
        if (v.size() == 12)
            reserved << v[10].trimmed() + "-" + v[11].trimmed();
    }
    reserved.sort();
    EXPECT_EQ(reserved.join(' '), "0-1919 1920-3839");

    movePointer(session, QPointF(3000, 1000)); // the right display's dock, in device pixels
    ASSERT_TRUE(client.succeeds("Activate", {folder}));
    ASSERT_TRUE(waitFor([&] { return client.object("Stack")["open"].toBool(); }));
    EXPECT_GE(client.object("Stack")["frame"].toArray()[0].toInt(), 1920) << "over the right display";
}

} // namespace
} // namespace wharf::e2e
