// The dock's decorations on a real desktop: badges, progress and attention from the Unity
// LauncherEntry signal as applications send it (gdbus emit), the hover label, and the divider's
// drag and menu, checked through Wharf's D-Bus API, the settings file and screenshot pixels.
#include "dock_e2e_client.h"

#include <QColor>
#include <QFileInfo>
#include <QImage>
#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>

namespace wharf::e2e {
namespace {

const char* terminalEntry = "[Desktop Entry]\nType=Application\nName=Test Terminal\n"
                            "Exec=xterm\nStartupWMClass=XTerm\n";

struct Badge {
    QString label;
    QRectF frame;
    std::optional<double> progress;
    bool urgent = false;
    QPointF indicator;
};

struct Decorations {
    std::map<QString, Badge> badges;
    bool pulsing = false;
    std::optional<QRectF> hoverLabel;
    QString hoverText;
    std::optional<QRectF> divider;
    bool menuOpen = false;
    QStringList ids;
    std::vector<QRectF> tiles;
};

Decorations decorations(E2eSession& session)
{
    QDBusInterface wharf(QStringLiteral("com.tamberly.Wharf"), QStringLiteral("/com/tamberly/Wharf"),
                         QStringLiteral("com.tamberly.Wharf"), session.bus());
    const QDBusReply<QString> reply = wharf.call(QStringLiteral("Docks"));
    Decorations out;
    const QJsonArray docks = QJsonDocument::fromJson(reply.value().toUtf8()).array();
    if (docks.isEmpty())
        return out;
    const QJsonObject dock = docks.first().toObject();
    for (const QJsonValue& value : dock[QStringLiteral("badges")].toArray()) {
        const QJsonObject b = value.toObject();
        Badge badge{b[QStringLiteral("label")].toString(), rectFrom(b[QStringLiteral("frame")]), std::nullopt,
                    b[QStringLiteral("urgent")].toBool(), QPointF()};
        const QJsonArray indicator = b[QStringLiteral("indicator")].toArray();
        badge.indicator = QPointF(indicator.at(0).toDouble(), indicator.at(1).toDouble());
        if (!b[QStringLiteral("progress")].isNull())
            badge.progress = b[QStringLiteral("progress")].toDouble();
        out.badges[b[QStringLiteral("id")].toString()] = badge;
    }
    out.pulsing = dock[QStringLiteral("pulsing")].toBool();
    if (dock[QStringLiteral("hoverLabel")].isObject()) {
        const QJsonObject label = dock[QStringLiteral("hoverLabel")].toObject();
        out.hoverLabel = rectFrom(label[QStringLiteral("frame")]);
        out.hoverText = label[QStringLiteral("text")].toString();
    }
    if (dock[QStringLiteral("divider")].isArray())
        out.divider = rectFrom(dock[QStringLiteral("divider")]);
    out.menuOpen = dock[QStringLiteral("menuOpen")].toBool();
    for (const QJsonValue& tile : dock[QStringLiteral("tiles")].toArray()) {
        out.tiles.push_back(rectFrom(tile.toObject()[QStringLiteral("frame")]));
        out.ids << tile.toObject()[QStringLiteral("id")].toString();
    }
    return out;
}

// What an application sends: gdbus emit of com.canonical.Unity.LauncherEntry.Update.
void emitUpdate(E2eSession& session, const QString& desktopID, const QString& properties)
{
    const RunResult r = session.run(
        QStringLiteral("gdbus"),
        {QStringLiteral("emit"), QStringLiteral("--session"), QStringLiteral("--object-path"), QStringLiteral("/x"),
         QStringLiteral("--signal"), QStringLiteral("com.canonical.Unity.LauncherEntry.Update"),
         QStringLiteral("application://") + desktopID + QStringLiteral(".desktop"), properties});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
}

bool isRed(QRgb c) { return qRed(c) > 190 && qGreen(c) < 110 && qBlue(c) < 110; }

// Share of the pixels inside `r` (global coordinates) that `test` accepts.
double share(const QImage& image, const QRectF& r, bool (*test)(QRgb))
{
    int hits = 0;
    int all = 0;
    const QRect area = r.toAlignedRect().intersected(image.rect());
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            ++all;
            hits += test(image.pixel(x, y)) ? 1 : 0;
        }
    }
    return all ? double(hits) / all : 0;
}

int orange(QRgb c) { return qRed(c) - qBlue(c); }

quint32 firstWindow(E2eSession& session, const QString& wmClass)
{
    const auto windows = session.clientWindows(wmClass);
    return windows.empty() ? 0 : windows.front();
}

class Decorated : public ::testing::Test {
protected:
    void startDock(const QVariantMap& settings = {})
    {
        ASSERT_TRUE(session.ok()) << session.error().toStdString();
        session.writeDesktopEntry(QStringLiteral("test-terminal.desktop"), QString::fromLatin1(terminalEntry));
        session.start(QStringLiteral("xterm"), {QStringLiteral("-geometry"), QStringLiteral("40x10+300+100")});
        ASSERT_TRUE(session.waitForClientWindow(QStringLiteral("xterm")));
        QVariantMap values = settings;
        values.insert(QStringLiteral("replaceSystemDock"), false);
        writeWharfSettings(session, values);
        session.xdotool({QStringLiteral("mousemove"), QStringLiteral("5"), QStringLiteral("5")});
        wharf = session.startWharf();
        ASSERT_NE(wharf, nullptr);
        DockClient client(session);
        ASSERT_TRUE(client.settledDock());
        // The xterm's item and the desktop id applications name it by.
        ASSERT_TRUE(E2eSession::waitFor([&] {
            for (const QJsonValue& item : client.items()) {
                const QJsonObject o = item.toObject();
                if (!o[QStringLiteral("pid")].isNull() && o[QStringLiteral("id")].toString().endsWith(".desktop"))
                    terminalID = o[QStringLiteral("id")].toString();
            }
            return !terminalID.isEmpty();
        }));
        desktopID = QFileInfo(terminalID).completeBaseName();
    }

    QRectF tile(const QString& id)
    {
        const Decorations d = decorations(session);
        const auto index = d.ids.indexOf(id);
        return index < 0 ? QRectF() : d.tiles[std::size_t(index)];
    }

    E2eSession session;
    QProcess* wharf = nullptr;
    QString terminalID;
    QString desktopID;
};

TEST_F(Decorated, BadgeProgressAndAttentionFollowTheLauncherEntrySignal)
{
    startDock();
    emitUpdate(session, desktopID, QStringLiteral("{'count': <int64 5>, 'count-visible': <true>}"));
    ASSERT_TRUE(E2eSession::waitFor([&] { return decorations(session).badges[terminalID].label == "5"; }));
    const QRectF badge = decorations(session).badges[terminalID].frame;
    const QRectF icon = tile(terminalID);
    // Over the icon's top-right corner, overhanging it.
    EXPECT_GT(badge.right(), icon.right());
    EXPECT_LT(badge.top(), icon.top());
    EXPECT_GT(badge.bottom(), icon.top());
    EXPECT_TRUE(E2eSession::waitFor([&] { return share(session.screenshot(), badge.adjusted(3, 3, -3, -3), isRed) > 0.5; }))
        << "a red badge is drawn";

    // Wrong types and other applications change nothing; huge counts are shortened.
    emitUpdate(session, desktopID, QStringLiteral("{'count': <'seven'>, 'count-visible': <'yes'>}"));
    emitUpdate(session, QStringLiteral("no-such-app"), QStringLiteral("{'count': <int64 9>, 'count-visible': <true>}"));
    emitUpdate(session, desktopID, QStringLiteral("{'count': <int64 123456>}"));
    ASSERT_TRUE(E2eSession::waitFor([&] { return decorations(session).badges[terminalID].label == "999+"; }));
    EXPECT_EQ(decorations(session).badges.size(), 1u);

    emitUpdate(session, desktopID, QStringLiteral("{'count-visible': <false>}"));
    ASSERT_TRUE(E2eSession::waitFor([&] { return !decorations(session).badges.count(terminalID); }));
    ASSERT_TRUE(E2eSession::waitFor([&] { return share(session.screenshot(), badge, isRed) < 0.05; }))
        << "the badge is gone from the screen";

    // Progress: a bar under the icon, filled halfway.
    emitUpdate(session, desktopID, QStringLiteral("{'progress': <0.5>, 'progress-visible': <true>}"));
    ASSERT_TRUE(E2eSession::waitFor([&] { return decorations(session).badges[terminalID].progress == 0.5; }));
    const QRectF barIcon = tile(terminalID);
    const double barY = barIcon.bottom() + 4;
    const double barLeft = barIcon.left() + barIcon.width() * 0.15;
    const double barWidth = barIcon.width() * 0.7;
    const QPoint donePart = QPointF(barLeft + barWidth * 0.25, barY).toPoint();
    const QPoint restPart = QPointF(barLeft + barWidth * 0.75, barY).toPoint();
    const auto blueness = [](QRgb c) { return qBlue(c) - qRed(c); };
    EXPECT_TRUE(E2eSession::waitFor([&] { return blueness(session.screenshot().pixel(donePart)) > 80; }))
        << "the done part is blue";
    EXPECT_LT(blueness(session.screenshot().pixel(restPart)), 40) << "the rest is not";
    emitUpdate(session, desktopID, QStringLiteral("{'progress-visible': <false>}"));

    // Attention: while another program has the focus, the indicator pulses until the xterm is
    // activated.
    const auto tilesBefore = decorations(session).ids.size();
    session.start(QStringLiteral("xmessage"), {QStringLiteral("-geometry"), QStringLiteral("+900+100"),
                                               QStringLiteral("elsewhere")});
    ASSERT_TRUE(session.waitForClientWindow(QStringLiteral("xmessage")));
    session.xdotool({QStringLiteral("windowactivate"), QString::number(firstWindow(session, "xmessage"))});
    ASSERT_TRUE(E2eSession::waitFor([&] {
        return DockClient(session).settledDock() && decorations(session).ids.size() == tilesBefore + 1;
    })) << "xmessage has its own tile now";
    emitUpdate(session, desktopID, QStringLiteral("{'urgent': <true>}"));
    ASSERT_TRUE(E2eSession::waitFor([&] { return decorations(session).pulsing; }));
    const QPointF indicator = decorations(session).badges[terminalID].indicator;
    EXPECT_NEAR(indicator.x(), tile(terminalID).center().x(), 1);
    // Beside the indicator's white dot, inside its glow.
    const QPoint spot = (indicator + QPointF(6, 0)).toPoint();
    int lowest = 255;
    int highest = -255;
    for (int i = 0; i < 12; ++i) {
        const int o = orange(session.screenshot().pixel(spot));
        lowest = std::min(lowest, o);
        highest = std::max(highest, o);
        QThread::msleep(100);
    }
    EXPECT_GT(highest - lowest, 60) << "the glow rises and falls: " << lowest << ".." << highest;

    session.xdotool({QStringLiteral("windowactivate"), QString::number(firstWindow(session, "xterm"))});
    ASSERT_TRUE(E2eSession::waitFor([&] { return !decorations(session).pulsing; }));
    EXPECT_FALSE(decorations(session).badges.count(terminalID));
    EXPECT_LT(orange(session.screenshot().pixel(spot)), lowest + 30) << "no glow once activated";
}

// (Where the label and the divider's drag stop is the view tests' part.)
TEST_F(Decorated, HoverLabelShowsTheTitleAboveTheTileAndDraggingTheDividerResizesTheDockWithTheApplicationsMenu)
{
    // A small dock, with room to grow.
    startDock({{QStringLiteral("dockWidthFraction"), 0.15}, {QStringLiteral("magnification"), 1.0}});
    const QRectF terminal = tile(terminalID);
    movePointer(session, terminal.center());
    ASSERT_TRUE(E2eSession::waitFor([&] { return decorations(session).hoverText == QStringLiteral("Test Terminal"); }));
    const Decorations d = decorations(session);
    ASSERT_TRUE(d.hoverLabel);
    const QRectF current = tile(terminalID);
    EXPECT_NEAR(d.hoverLabel->center().x(), current.center().x(), 2) << "centred over the tile";
    EXPECT_LE(d.hoverLabel->bottom(), current.top()) << "above the icon";

    // The pointer leaves the dock: the label goes.
    movePointer(session, QPointF(900, 300));
    ASSERT_TRUE(E2eSession::waitFor([&] { return !decorations(session).hoverLabel; }));

    const Decorations before = decorations(session);
    ASSERT_TRUE(before.divider) << "a divider between the applications and the folders";
    const QPoint grip = before.divider->center().toPoint();
    const double startWidth = before.tiles.front().width();
    const auto moveTo = [&](int x, int y) {
        movePointer(session, QPointF(x, y));
        QThread::msleep(60);
    };

    // Up enlarges, while the button is still held.
    moveTo(grip.x(), grip.y());
    session.xdotool({QStringLiteral("mousedown"), QStringLiteral("1")});
    for (int dy = 10; dy <= 50; dy += 10)
        moveTo(grip.x(), grip.y() - dy);
    EXPECT_TRUE(E2eSession::waitFor([&] { return decorations(session).tiles.front().width() > startWidth + 20; }))
        << "icons grow while the divider is dragged up";
    session.xdotool({QStringLiteral("mouseup"), QStringLiteral("1")});

    // Once the row has settled at its new size, the divider's context menu is the application's menu.
    ASSERT_TRUE(DockClient(session).settledDock());
    const QPoint grip2 = decorations(session).divider->center().toPoint();
    moveTo(grip2.x(), grip2.y());
    session.xdotool({QStringLiteral("click"), QStringLiteral("3")});
    ASSERT_TRUE(E2eSession::waitFor([&] { return decorations(session).menuOpen; }));
    session.xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
    ASSERT_TRUE(E2eSession::waitFor([&] { return !decorations(session).menuOpen; }));

    // The new size is what was stored.
    ASSERT_TRUE(DockClient(session).quit());
    ASSERT_TRUE(E2eSession::waitFor([&] { return wharf->state() == QProcess::NotRunning; }));
    QSettings stored(session.configHome() + QStringLiteral("/wharf/wharf.conf"), QSettings::IniFormat);
    EXPECT_GT(stored.value(QStringLiteral("dockWidthFraction")).toDouble(), 0.15);
}

} // namespace
} // namespace wharf::e2e
