// Folder stacks in the running dock: a pinned folder of twelve entries opened over its tile as a
// grid, a fan and a list, and its pile on the tile; walking into a sub-folder and back; the
// preview; closing by Escape and by a click elsewhere; a live refresh when files appear; thumbnails.
#include "support/thumbnail_png.h"
#include "dock_e2e_client.h"

#include <QColor>
#include <QDBusMessage>
#include <QCryptographicHash>
#include <QFileInfo>
#include <QUrl>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

QStringList strings(const QJsonValue& value) { return value.toVariant().toStringList(); }

bool shows(const QJsonObject& stack, const QString& mode)
{
    return stack["open"].toBool() && stack["mode"].toString() == mode
        && stack["message"].isNull() && !stack["entries"].toArray().isEmpty();
}

bool closed(const QJsonObject& stack) { return !stack["open"].toBool(); }

class StacksE2e : public testing::Test {
protected:
    void SetUp() override
    {
        WHARF_REQUIRE_SESSION(session);
        folder = session.home() + "/Samples";
        for (int i = 1; i <= 11; ++i)
            write(QStringLiteral("Note %1.txt").arg(i), "sample text\n");
        write("Sub/inner.txt", "inner\n");
        // A second folder of pictures: one the desktop has a thumbnail of, one without, one corrupt.
        pictures = session.home() + "/Pictures";
        QDir().mkpath(pictures);
        QImage red(300, 200, QImage::Format_ARGB32);
        red.fill(Qt::red);
        ASSERT_TRUE(red.save(pictures + "/cached.png"));
        ASSERT_TRUE(red.save(pictures + "/plain.png"));
        writeFile(pictures + "/broken.png", "\x89PNG\r\n\x1a\nthis is not an image");
        const QString cached = pictures + "/cached.png";
        const QByteArray uri = QUrl::fromLocalFile(cached).toEncoded();
        QImage green(128, 128, QImage::Format_ARGB32);
        green.fill(Qt::green);
        writeFile(session.home() + "/.cache/thumbnails/normal/"
                      + QCryptographicHash::hash(uri, QCryptographicHash::Md5).toHex() + ".png",
                  test::pngWithText(green, "Thumb::MTime",
                                    QByteArray::number(QFileInfo(cached).lastModified().toSecsSinceEpoch())));

        // Samples shows as a pile of its first documents.
        const QJsonObject samples{{"viewMode", "automatic"}, {"sortOrder", "name"}, {"displayMode", "stack"}};
        const QByteArray stackSettings = QJsonDocument(QJsonObject{{folder, samples}}).toJson(QJsonDocument::Compact);
        writeWharfSettings(session, {{"Wharf.stackSettings.v1", stackSettings}},
                           {{folder, "folder"}, {pictures, "folder"}});
        // Keep the pointer off the stack so hovering selects nothing.
        movePointer(session, QPointF(5, 5));
        ASSERT_NE(session.startWharf(), nullptr);
        const auto dock = wharf.settledDock();
        ASSERT_TRUE(dock);
        const int index = int(dock->ids.indexOf(folder));
        ASSERT_GE(index, 0) << "the pinned folder has a tile";
        tile = dock->tiles[std::size_t(index)];
    }
    void write(const QString& name, const QByteArray& contents) const { writeFile(folder + "/" + name, contents); }
    void key(const QString& name) { session.xdotool({"key", name}); }
    QRect frameOf(const QJsonObject& stack) { return rectFrom(stack["frame"]).toRect(); }
    // Waits until the stack satisfies `condition` and returns it; a failure of the test, with the
    // stack's last state, when it never does.
    QJsonObject until(const std::function<bool(const QJsonObject&)>& condition)
    {
        QJsonObject last;
        if (!waitFor([&] { return condition(last = wharf.object("Stack")); }, 10000, 50))
            ADD_FAILURE() << "the stack never got there: " << QJsonDocument(last).toJson().toStdString();
        return last;
    }
    QJsonObject until(const QString& mode) { return until([&](const QJsonObject& s) { return shows(s, mode); }); }

    E2eSession session;
    DockClient wharf{session};
    QString folder;
    QString pictures;
    QRectF tile;
};

TEST_F(StacksE2e, TwelveEntriesOpenAsGridFanAndListOverTheirPiledTileThumbnailsShowAndKeysPreviewDismissAndRefreshWork)
{
    const QRect icon = tile.toRect().adjusted(4, 4, -4, -4);
    const QImage folderIcon = session.screenshot().copy(icon);
    ASSERT_EQ(wharf.call("OpenStack", {folder}).type(), QDBusMessage::ReplyMessage);
    const QJsonObject grid = until([](const QJsonObject& s) { return shows(s, "grid") && !s["pile"].toArray().isEmpty(); });
    ASSERT_TRUE(shows(grid, "grid"));
    EXPECT_EQ(grid["count"].toInt(), 12);
    EXPECT_EQ(grid["columns"].toInt(), 4);
    EXPECT_EQ(strings(grid["entries"]).last(), "Sub");
    const QRect gridFrame = frameOf(grid);
    EXPECT_EQ(gridFrame.size(), QSize(4 * 112 + 38, 3 * 124 + 102));
    EXPECT_LE(gridFrame.bottom(), tile.top()) << "above the tile";
    EXPECT_TRUE(gridFrame.left() < tile.center().x() && tile.center().x() < gridFrame.right()) << "over the tile";

    // The bubble is drawn: its inside is dark, not the desktop behind it.
    const QImage shot = session.screenshot();
    ASSERT_FALSE(shot.isNull());
    const QColor inside = shot.pixelColor(gridFrame.center().x(), gridFrame.top() + 60);
    const QColor desktop = shot.pixelColor(gridFrame.left() - 40, gridFrame.top() + 60);
    EXPECT_LT(inside.lightness(), 80);
    EXPECT_NE(inside, desktop);
    // Once read, the tile's picture changes from the folder icon to a pile of the first three.
    EXPECT_EQ(strings(grid["pile"]).size(), 3);
    EXPECT_TRUE(waitFor([&] { return session.screenshot().copy(icon) != folderIcon; }, 5000, 200));

    // The tile's menu, as a right-click shows it, sets the view.
    ASSERT_TRUE(wharf.succeeds("ChooseMenuItem", {folder, "Fan"}));
    const QJsonObject fan = until("fan");
    EXPECT_EQ(strings(fan["entries"]).size(), 9);
    EXPECT_EQ(fan["button"].toString(), "↗  3 More in Files");
    const QRect fanFrame = frameOf(fan);
    EXPECT_EQ(fanFrame.size(), QSize(370, 9 * 67 + 61));
    EXPECT_LE(fanFrame.bottom(), tile.top());

    ASSERT_EQ(wharf.call("SetStackViewMode", {folder, "list"}).type(), QDBusMessage::ReplyMessage);
    const QJsonObject list = until([](const QJsonObject& s) {
        return shows(s, "list") && rectFrom(s["frame"]).height() > 0;
    });
    ASSERT_TRUE(shows(list, "list"));
    EXPECT_EQ(strings(list["entries"]).size(), 13);
    EXPECT_EQ(strings(list["entries"]).last(), "Open in Files");
    EXPECT_LE(frameOf(list).bottom(), tile.top()) << "the menu opens upward from the dock";

    EXPECT_EQ(wharf.call("SetStackViewMode", {folder, "carousel"}).type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(wharf.call("OpenStack", {session.home()}).type(), QDBusMessage::ErrorMessage) << "not a folder tile";

    // Thumbnails come from the desktop's cache first, and a corrupt image shows its icon.
    ASSERT_EQ(wharf.call("SetStackViewMode", {pictures, "grid"}).type(), QDBusMessage::ReplyMessage);
    ASSERT_EQ(wharf.call("OpenStack", {pictures}).type(), QDBusMessage::ReplyMessage);
    const QJsonObject thumbnails = until([](const QJsonObject& s) {
        const QStringList sources = strings(s["thumbnails"]);
        return shows(s, "grid") && sources.size() == 3 && !sources.contains(QString());
    });
    EXPECT_EQ(strings(thumbnails["entries"]), (QStringList{"broken.png", "cached.png", "plain.png"}));
    EXPECT_EQ(strings(thumbnails["thumbnails"]), (QStringList{"icon", "cache", "image"}));

    // On screen: the cached thumbnail is green although the file itself is red.
    const QRect frame = rectFrom(thumbnails["frame"]).toRect();
    const QImage pictured = session.screenshot();
    EXPECT_GT(pixelsOf(pictured, frame, Qt::green), 500);
    EXPECT_GT(pixelsOf(pictured, frame, Qt::red), 500) << "the file without a cached thumbnail shows itself";
    key("Escape");
    until(closed);

    // The keyboard, the preview, dismissal and a live refresh, on the twelve entries as a grid again.
    ASSERT_EQ(wharf.call("SetStackViewMode", {folder, "grid"}).type(), QDBusMessage::ReplyMessage);
    ASSERT_EQ(wharf.call("OpenStack", {folder}).type(), QDBusMessage::ReplyMessage);
    until("grid");

    // Into "Sub" (the last entry) with the keyboard, and back with Backspace.
    session.xdotool({"key", "Down", "Down", "Down", "Down", "Right", "Right", "Right"});
    until([](const QJsonObject& s) { return s["selected"].toInt() == 11; });
    key("Return");
    QJsonObject sub = until([](const QJsonObject& s) { return s["back"].toBool() && shows(s, "grid"); });
    EXPECT_EQ(strings(sub["entries"]), QStringList{"inner.txt"});
    key("BackSpace");
    QJsonObject root = until([](const QJsonObject& s) { return !s["back"].toBool() && shows(s, "grid"); });
    EXPECT_EQ(root["count"].toInt(), 12);

    // And with the "‹" button.
    session.xdotool({"key", "Down", "Down", "Down", "Down", "Right", "Right", "Right", "Return"});
    sub = until([](const QJsonObject& s) { return s["back"].toBool() && shows(s, "grid"); });
    const QRect subFrame = frameOf(sub);
    session.xdotool({"mousemove", QString::number(subFrame.left() + 28), QString::number(subFrame.top() + 23)});
    session.xdotool({"click", "1"});
    until([](const QJsonObject& s) { return !s["back"].toBool() && shows(s, "grid"); });
    session.xdotool({"mousemove", "5", "5"});

    // Space previews the selection; Escape closes the preview, then the stack.
    session.xdotool({"key", "Left", "space"});
    const QJsonObject previewing = until([](const QJsonObject& s) { return s["preview"].isObject(); });
    EXPECT_EQ(previewing["preview"]["kind"].toString(), "text");
    key("Escape");
    const QJsonObject afterPreview = until([](const QJsonObject& s) { return s["preview"].isNull(); });
    EXPECT_TRUE(afterPreview["open"].toBool()) << "Escape in the preview leaves the stack open";
    key("Escape");
    until(closed);

    // A click elsewhere closes it.
    ASSERT_EQ(wharf.call("OpenStack", {folder}).type(), QDBusMessage::ReplyMessage);
    until("grid");
    session.xdotool({"mousemove", "100", "100", "click", "1"});
    until(closed);

    // Three files within a tenth of a second refresh the open stack once, and the tile's pile.
    ASSERT_EQ(wharf.call("OpenStack", {folder}).type(), QDBusMessage::ReplyMessage);
    const QJsonObject before = until("grid");
    const int loads = before["loads"].toInt();
    EXPECT_EQ(strings(before["pile"]), (QStringList{"Note 1.txt", "Note 2.txt", "Note 3.txt"}));
    const int renders = before["pileRenders"].toInt();
    for (const char* name : {"New A.txt", "New B.txt", "New C.txt"})
        write(name, "new\n");
    until([](const QJsonObject& s) { return s["count"].toInt() == 15; });
    waitFor([] { return false; }, 1000); // time for any further refresh
    const QJsonObject settled = wharf.object("Stack");
    EXPECT_EQ(settled["loads"].toInt(), loads + 1);
    EXPECT_EQ(strings(settled["pile"]), (QStringList{"New A.txt", "New B.txt", "New C.txt"}));
    EXPECT_EQ(settled["pileRenders"].toInt(), renders + 1);

    // With the stack closed the pile follows the folder, and a folder that is gone shows no pile.
    key("Escape");
    until(closed);
    const QImage pile = session.screenshot().copy(icon);
    QImage red(300, 200, QImage::Format_ARGB32);
    red.fill(Qt::red);
    ASSERT_TRUE(red.save(folder + "/AAA.png"));
    EXPECT_TRUE(waitFor([&] { return session.screenshot().copy(icon) != pile; }, 5000, 200));
    const QImage newPile = session.screenshot().copy(icon);
    ASSERT_TRUE(QDir().rename(folder, folder + ".away"));
    EXPECT_TRUE(waitFor([&] { return session.screenshot().copy(icon) != newPile; }, 5000, 200));

    // A folder that is away opens as a message, and shows itself once it is back.
    ASSERT_EQ(wharf.call("OpenStack", {folder}).type(), QDBusMessage::ReplyMessage);
    until([](const QJsonObject& s) { return s["message"].toString() == "This folder could not be opened."; });
    ASSERT_TRUE(QDir().rename(folder + ".away", folder));
    until([](const QJsonObject& s) { return s["count"].toInt() == 16; });
}

} // namespace
} // namespace wharf::e2e
