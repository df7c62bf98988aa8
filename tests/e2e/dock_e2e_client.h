#pragma once

// Reads a running Wharf over its D-Bus API for the dock end-to-end tests.
#include "e2e_session.h"

#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QColor>
#include <QImage>
#include <QRectF>
#include <QSettings>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

namespace wharf::e2e {

struct DockInfo {
    QString display;
    bool overlay = false;
    bool mapped = false;
    QRectF frame;
    std::vector<QRectF> tiles;
    QStringList ids;
    std::optional<int> hoveredIndex;
    std::optional<int> keyboardIndex;
    double hiddenAmount = 0;
    bool hidden = false;
    bool fullScreen = false;
    QJsonObject json; // all that Docks() says of it
};

inline QRectF rectFrom(const QJsonValue& value)
{
    const QJsonArray a = value.toArray();
    return a.size() == 4 ? QRectF(a[0].toDouble(), a[1].toDouble(), a[2].toDouble(), a[3].toDouble()) : QRectF();
}

inline QPoint center(const QRectF& r) { return r.center().toPoint(); }

class DockClient {
public:
    explicit DockClient(E2eSession& session)
        : wharf("com.tamberly.Wharf", "/com/tamberly/Wharf", "com.tamberly.Wharf", session.bus())
    {
    }

    std::vector<DockInfo> docks()
    {
        const QDBusReply<QString> reply = wharf.call("Docks");
        std::vector<DockInfo> out;
        if (!reply.isValid())
            return out;
        for (const QJsonValue& value : QJsonDocument::fromJson(reply.value().toUtf8()).array()) {
            const QJsonObject o = value.toObject();
            DockInfo dock;
            dock.json = o;
            dock.display = o["display"].toString();
            dock.overlay = o["overlay"].toBool();
            dock.mapped = o["mapped"].toBool();
            dock.frame = rectFrom(o["frame"]);
            for (const QJsonValue& tile : o["tiles"].toArray()) {
                dock.tiles.push_back(rectFrom(tile.toObject()["frame"]));
                dock.ids << tile.toObject()["id"].toString();
            }
            dock.hiddenAmount = o["hiddenAmount"].toDouble();
            dock.hidden = o["hidden"].toBool();
            dock.fullScreen = o["fullScreen"].toBool();
            if (!o["hoveredIndex"].isNull())
                dock.hoveredIndex = o["hoveredIndex"].toInt();
            if (!o["keyboardIndex"].isNull())
                dock.keyboardIndex = o["keyboardIndex"].toInt();
            out.push_back(dock);
        }
        return out;
    }

    QJsonArray items()
    {
        const QDBusReply<QString> reply = wharf.call("Items");
        return reply.isValid() ? QJsonDocument::fromJson(reply.value().toUtf8()).array() : QJsonArray();
    }

    QDBusMessage call(const QString& method, const QVariantList& args = {})
    {
        return wharf.callWithArgumentList(QDBus::Block, method, args);
    }

    // A method that answers true or false (Activate, Drop, …); false when the call fails.
    bool succeeds(const QString& method, const QVariantList& args = {})
    {
        const QDBusReply<bool> reply = call(method, args);
        return reply.isValid() && reply.value();
    }

    // A method that answers with JSON as text (Stack, Windows, …); empty when the call fails.
    QJsonDocument json(const QString& method, const QVariantList& args = {})
    {
        const QDBusReply<QString> reply = call(method, args);
        return reply.isValid() ? QJsonDocument::fromJson(reply.value().toUtf8()) : QJsonDocument();
    }
    QJsonObject object(const QString& method, const QVariantList& args = {}) { return json(method, args).object(); }

    // The first item whose `field` is `value`.
    std::optional<QJsonObject> item(const QString& field, const QJsonValue& value)
    {
        for (const QJsonValue& entry : items()) {
            if (entry[field] == value)
                return entry.toObject();
        }
        return std::nullopt;
    }

    // Waits until the first item whose `field` is `value` holds `condition`; returns it (none when it never does).
    std::optional<QJsonObject> itemWhen(const QString& field, const QJsonValue& value,
                                        const std::function<bool(const QJsonObject&)>& condition = {},
                                        int timeoutMs = 10000)
    {
        std::optional<QJsonObject> found;
        const bool held = waitFor([&] {
            found = item(field, value);
            return found && (!condition || condition(*found));
        }, timeoutMs);
        return held ? found : std::nullopt;
    }

    // The ids of the items `which` accepts (all by default), in dock order.
    QStringList itemIDs(const std::function<bool(const QJsonObject&)>& which = {})
    {
        QStringList ids;
        for (const QJsonValue& entry : items()) {
            if (!which || which(entry.toObject()))
                ids << entry["id"].toString();
        }
        return ids;
    }

    // The frame of tile `id` in the first dock; empty when it has none.
    QRectF tile(const QString& id)
    {
        const auto all = docks();
        const auto index = all.empty() ? -1 : all.front().ids.indexOf(id);
        return index < 0 ? QRectF() : all.front().tiles[std::size_t(index)];
    }

    int hoveredIndex()
    {
        const QDBusReply<int> reply = wharf.call("HoveredIndex");
        return reply.isValid() ? reply.value() : -2;
    }

    bool quit() { return wharf.call("Quit").type() == QDBusMessage::ReplyMessage; }

    // Waits until the docks exist and their tiles stop moving; returns the settled normal dock
    // of the first display.
    std::optional<DockInfo> settledDock(int expectedDocks = 2)
    {
        std::vector<QRectF> last;
        int stable = 0;
        std::optional<DockInfo> result;
        const bool settled = waitFor([&] {
            const auto all = docks();
            if (static_cast<int>(all.size()) != expectedDocks || all.front().tiles.empty())
                return false;
            stable = all.front().tiles == last ? stable + 1 : 0;
            last = all.front().tiles;
            result = all.front();
            return stable >= 4;
        }, 10000, 50);
        return settled ? result : std::nullopt;
    }

private:
    QDBusInterface wharf;
};

// Wharf's settings file in a private session.
inline QString wharfSettingsFile(E2eSession& session) { return session.configHome() + "/wharf/wharf.conf"; }

// Writes Wharf's settings before it starts; `pins` (path, kind) are its pinned items.
inline void writeWharfSettings(E2eSession& session, const QVariantMap& values,
                               const std::vector<std::pair<QString, QString>>& pins = {})
{
    QDir().mkpath(session.configHome() + "/wharf");
    QSettings settings(wharfSettingsFile(session), QSettings::IniFormat);
    for (auto it = values.begin(); it != values.end(); ++it)
        settings.setValue(it.key(), it.value());
    QJsonArray list;
    for (const auto& [path, kind] : pins)
        list.append(QJsonObject{{"path", path}, {"kind", kind}});
    if (!pins.empty())
        settings.setValue("Wharf.pinnedItems.v1", QJsonDocument(list).toJson(QJsonDocument::Compact));
    settings.sync();
}

// What the settings file holds for `key` now.
inline QVariant storedSetting(E2eSession& session, const QString& key)
{
    return QSettings(wharfSettingsFile(session), QSettings::IniFormat).value(key);
}

// How many pixels of `image` inside `area` are close to the pure colour `pure` (a picture of one
// colour drawn by the dock).
inline int pixelsOf(const QImage& image, const QRect& area, const QColor& pure)
{
    return countPixels(area, [&](QPoint p) {
        const QColor c = image.pixelColor(p);
        return std::abs(c.red() - pure.red()) < 60 && std::abs(c.green() - pure.green()) < 60
            && std::abs(c.blue() - pure.blue()) < 60;
    });
}

inline void movePointer(E2eSession& session, const QPointF& at)
{
    session.xdotool({"mousemove", QString::number(int(at.x())), QString::number(int(at.y()))});
}

// Starts an xterm with `args` and waits for its window; returns it (0 when none shows up).
inline quint32 startXterm(E2eSession& session, const QStringList& args = {})
{
    const std::size_t before = session.clientWindows("xterm").size();
    session.start("xterm", args);
    if (!waitFor([&] { return session.clientWindows("xterm").size() > before; }, 10000, 100))
        return 0;
    return session.clientWindows("xterm").back();
}

// Mean colour of `rect` in `image` (smooth scaling to one pixel averages it).
inline QColor meanColor(const QImage& image, const QRect& rect)
{
    return image.copy(rect.intersected(image.rect()))
        .scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .pixelColor(0, 0);
}

inline int colorDistance(const QColor& a, const QColor& b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
}

// The process a client window names in _NET_WM_PID; 0 when none.
inline qint64 windowPid(E2eSession& session, quint32 window)
{
    return session.xprop({"-id", QString::number(window), "_NET_WM_PID"}).section('=', 1).trimmed().toLongLong();
}

// A window's frame in root coordinates from xwininfo (without the window manager's decorations).
inline QRect windowFrame(E2eSession& session, const QString& window)
{
    const QString info = session.run("xwininfo", {"-id", window}).out;
    const auto field = [&](const QString& name) {
        const qsizetype at = info.indexOf(name);
        return at < 0 ? -1 : info.mid(at + name.size()).section('\n', 0, 0).trimmed().toInt();
    };
    return QRect(field("Absolute upper-left X:"), field("Absolute upper-left Y:"), field("Width:"), field("Height:"));
}

// Wharf's own top-level windows, from xdotool.
inline QStringList wharfWindows(E2eSession& session, qint64 pid)
{
    const RunResult r = session.xdotool({"search", "--all", "--pid", QString::number(pid), "--name", "^Wharf$"});
    return r.out.split('\n', Qt::SkipEmptyParts);
}

// The band at the bottom of the screen that Wharf's windows reserve (_NET_WM_STRUT_PARTIAL); 0 when none.
inline int reservedBottom(E2eSession& session, qint64 pid)
{
    int bottom = 0;
    for (const QString& window : wharfWindows(session, pid)) {
        const QStringList values = session.xprop({"-id", window, "_NET_WM_STRUT_PARTIAL"}).section('=', 1).split(',');
        if (values.size() == 12)
            bottom = std::max(bottom, values[3].trimmed().toInt());
    }
    return bottom;
}

} // namespace wharf::e2e
