// Folder stacks in the running dock: a pinned folder opened over its tile as a grid, a fan and a
// list; its pile on the tile; walking into a sub-folder and back and the preview from the keyboard;
// closing by Escape and by a click elsewhere; a live refresh; a picture's thumbnail.
#include "dock_e2e_client.h"

#include <QColor>

#include <gtest/gtest.h>

namespace wharf::e2e {
namespace {

QStringList strings(const QJsonValue& value)
{
    QStringList out;
    for (const QJsonValue& v : value.toArray())
        out << v.toString();
    return out;
}

bool shows(const QJsonObject& stack, const QString& mode)
{
    return stack[QStringLiteral("open")].toBool() && stack[QStringLiteral("mode")].toString() == mode
        && stack[QStringLiteral("message")].isNull() && !stack[QStringLiteral("entries")].toArray().isEmpty();
}

bool closed(const QJsonObject& stack) { return !stack[QStringLiteral("open")].toBool(); }

class StacksE2e : public testing::Test {
protected:
    void SetUp() override
    {
        WHARF_REQUIRE_SESSION(session);
        folder = session.home() + QStringLiteral("/Samples");
        QDir().mkpath(folder + QStringLiteral("/Sub"));
        for (int i = 1; i <= 11; ++i)
            write(QStringLiteral("Note %1.txt").arg(i), "sample text\n");
        write(QStringLiteral("Sub/inner.txt"), "inner\n");
        // A folder with a picture, whose thumbnail is the picture itself.
        pictures = session.home() + QStringLiteral("/Pictures");
        QDir().mkpath(pictures);
        QImage red(300, 200, QImage::Format_ARGB32);
        red.fill(Qt::red);
        ASSERT_TRUE(red.save(pictures + QStringLiteral("/red.png")));

        // Samples shows as a pile of its first documents.
        const QByteArray stackSettings = QJsonDocument(QJsonObject{
            {folder, QJsonObject{{QStringLiteral("viewMode"), QStringLiteral("automatic")},
                                 {QStringLiteral("sortOrder"), QStringLiteral("name")},
                                 {QStringLiteral("displayMode"), QStringLiteral("stack")}}}}).toJson(QJsonDocument::Compact);
        writeWharfSettings(session, {{QStringLiteral("Wharf.pinnedItems.v1"),
                                      pinnedItems({{folder, QStringLiteral("folder")}, {pictures, QStringLiteral("folder")}})},
                                     {QStringLiteral("Wharf.stackSettings.v1"), stackSettings},
                                     {QStringLiteral("replaceSystemDock"), false}});
        // Keep the pointer off the stack so hovering selects nothing.
        movePointer(session, QPointF(5, 5));
        ASSERT_NE(session.startWharf(), nullptr);
        const auto dock = wharf.settledDock();
        ASSERT_TRUE(dock);
        const int index = int(dock->ids.indexOf(folder));
        ASSERT_GE(index, 0) << "the pinned folder has a tile";
        tile = dock->tiles[std::size_t(index)];
    }
    void write(const QString& name, const QByteArray& contents) const
    {
        QFile file(folder + QLatin1Char('/') + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }
    void key(const QString& name) { session.xdotool({QStringLiteral("key"), name}); }
    QDBusMessage::MessageType call(const QString& method, const QVariantList& args)
    {
        return wharf.call(method, args).type();
    }
    // Waits until the stack satisfies `condition` and returns it.
    QJsonObject until(const std::function<bool(const QJsonObject&)>& condition)
    {
        QJsonObject last;
        E2eSession::waitFor([&] { return condition(last = wharf.object(QStringLiteral("Stack"))); }, 10000, 50);
        return last;
    }
    QJsonObject until(const QString& mode)
    {
        return until([&](const QJsonObject& s) { return shows(s, mode); });
    }

    E2eSession session;
    DockClient wharf{session};
    QString folder;
    QString pictures;
    QRectF tile;
};

TEST_F(StacksE2e, TheFolderOpensAsGridFanAndListOverItsTileWhichShowsItsPile)
{
    const QRect icon = tile.toRect().adjusted(4, 4, -4, -4);
    const QImage folderIcon = session.screenshot().copy(icon);
    ASSERT_EQ(call(QStringLiteral("OpenStack"), {folder}), QDBusMessage::ReplyMessage);
    const QJsonObject grid = until([](const QJsonObject& s) { return shows(s, "grid") && !s["pile"].toArray().isEmpty(); });
    ASSERT_TRUE(shows(grid, "grid")) << QJsonDocument(grid).toJson().toStdString();
    EXPECT_EQ(grid["count"].toInt(), 12);
    const QRect gridFrame = rectFrom(grid["frame"]).toRect();
    EXPECT_LE(gridFrame.bottom(), tile.top()) << "above the tile";
    EXPECT_TRUE(gridFrame.left() < tile.center().x() && tile.center().x() < gridFrame.right()) << "over the tile";
    // The bubble is drawn: its inside is dark, not the desktop behind it.
    const QImage shot = session.screenshot();
    const QColor inside = shot.pixelColor(gridFrame.center().x(), gridFrame.top() + 60);
    EXPECT_LT(inside.lightness(), 80);
    EXPECT_NE(inside, shot.pixelColor(gridFrame.left() - 40, gridFrame.top() + 60));
    // Once read, the tile's picture changes from the folder icon to a pile of the first three.
    EXPECT_EQ(strings(grid["pile"]).size(), 3);
    EXPECT_TRUE(E2eSession::waitFor([&] { return session.screenshot().copy(icon) != folderIcon; }, 5000, 200));

    for (const QString& mode : {QStringLiteral("fan"), QStringLiteral("list")}) {
        ASSERT_EQ(call(QStringLiteral("SetStackViewMode"), {folder, mode}), QDBusMessage::ReplyMessage);
        const QJsonObject shown = until([&](const QJsonObject& s) { return shows(s, mode) && rectFrom(s["frame"]).height() > 0; });
        ASSERT_TRUE(shows(shown, mode));
        EXPECT_LE(rectFrom(shown["frame"]).bottom(), tile.top()) << mode.toStdString() << " opens upward from the dock";
    }
    EXPECT_EQ(call(QStringLiteral("SetStackViewMode"), {folder, QStringLiteral("carousel")}), QDBusMessage::ErrorMessage);
    EXPECT_EQ(call(QStringLiteral("OpenStack"), {session.home()}), QDBusMessage::ErrorMessage) << "not a folder tile";
}

TEST_F(StacksE2e, KeyboardPreviewDismissalAndLiveRefresh)
{
    ASSERT_EQ(call(QStringLiteral("OpenStack"), {folder}), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(shows(until(QStringLiteral("grid")), "grid"));

    // Into "Sub" (the last entry) with the keyboard, and back with Backspace.
    for (const char* name : {"Down", "Down", "Down", "Down", "Right", "Right", "Right"})
        key(name);
    ASSERT_EQ(until([](const QJsonObject& s) { return s["selected"].toInt() == 11; })["selected"].toInt(), 11);
    key("Return");
    const QJsonObject sub = until([](const QJsonObject& s) { return s["back"].toBool() && shows(s, "grid"); });
    ASSERT_TRUE(sub["back"].toBool());
    EXPECT_EQ(strings(sub["entries"]), QStringList{"inner.txt"});
    key("BackSpace");
    EXPECT_EQ(until([](const QJsonObject& s) { return !s["back"].toBool() && shows(s, "grid"); })["count"].toInt(), 12);

    // Space previews the selection; Escape closes the preview, then the stack.
    key("Left");
    key("space");
    const QJsonObject previewing = until([](const QJsonObject& s) { return s["preview"].isObject(); });
    ASSERT_TRUE(previewing["preview"].isObject());
    EXPECT_EQ(previewing["preview"]["kind"].toString(), "text");
    key("Escape");
    const QJsonObject afterPreview = until([](const QJsonObject& s) { return s["preview"].isNull(); });
    EXPECT_TRUE(afterPreview["preview"].isNull());
    EXPECT_TRUE(afterPreview["open"].toBool()) << "Escape in the preview leaves the stack open";
    key("Escape");
    EXPECT_TRUE(closed(until(closed)));

    // A click elsewhere closes it.
    ASSERT_EQ(call(QStringLiteral("OpenStack"), {folder}), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(shows(until(QStringLiteral("grid")), "grid"));
    session.xdotool({"mousemove", "100", "100", "click", "1"});
    EXPECT_TRUE(closed(until(closed)));

    // New files show in the open stack and on the tile's pile.
    ASSERT_EQ(call(QStringLiteral("OpenStack"), {folder}), QDBusMessage::ReplyMessage);
    EXPECT_EQ(strings(until(QStringLiteral("grid"))["pile"]), (QStringList{"Note 1.txt", "Note 2.txt", "Note 3.txt"}));
    for (const char* name : {"New A.txt", "New B.txt", "New C.txt"})
        write(name, "new\n");
    const QJsonObject after = until([](const QJsonObject& s) { return s["count"].toInt() == 15; });
    EXPECT_EQ(after["count"].toInt(), 15);
    EXPECT_EQ(strings(until([](const QJsonObject& s) { return strings(s["pile"]).contains("New A.txt"); })["pile"]),
              (QStringList{"New A.txt", "New B.txt", "New C.txt"}));
}

// (Where thumbnails come from, the desktop's cache first, is the thumbnail cache test's part.)
TEST_F(StacksE2e, APictureShowsItsThumbnail)
{
    ASSERT_EQ(call(QStringLiteral("SetStackViewMode"), {pictures, QStringLiteral("grid")}), QDBusMessage::ReplyMessage);
    ASSERT_EQ(call(QStringLiteral("OpenStack"), {pictures}), QDBusMessage::ReplyMessage);
    const QJsonObject grid = until([](const QJsonObject& s) {
        return shows(s, "grid") && strings(s["thumbnails"]) == QStringList{"image"};
    });
    ASSERT_TRUE(shows(grid, "grid"));
    EXPECT_TRUE(E2eSession::waitFor([&] { return redPixels(session.screenshot(), rectFrom(grid["frame"]).toRect()) > 500; }))
        << "the red picture is drawn in the stack";
}

} // namespace
} // namespace wharf::e2e
