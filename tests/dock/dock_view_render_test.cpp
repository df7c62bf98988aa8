// Drawing, the icon and reflection caches, icons at twice the device pixels, and what assistive
// technology sees.
#include "dock_view_test_support.h"

#include "dock/dock_view_renderer.h"

#include <QAccessible>
#include <QIconEngine>
#include <QImage>
#include <QPainter>

#include <cmath>
#include <limits>

namespace wharf::test {
namespace {

// The view drawn at its device pixel ratio.
QImage renderView(DockView& view)
{
    const qreal ratio = view.devicePixelRatioF();
    QImage image(view.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    view.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

class DockViewRender : public ::testing::Test {
protected:
    void SetUp() override
    {
        red = h.app("red", Qt::red);
        // Blue is a small square inside wide transparent margins.
        QPixmap padded(256, 256);
        padded.fill(Qt::transparent);
        QPainter(&padded).fillRect(80, 64, 96, 96, Qt::blue);
        blue = h.app("blue", QIcon(padded));
        docs = h.folder("docs");
        h.pin({red, blue, docs});
        h.startView();
    }

    int renders() const { return h.view->renderer().statistics().iconRenders; }

    DockViewHarness h;
    QString red, blue, docs;
};

TEST_F(DockViewRender, IconsRenderOncePerSizeStep)
{
    renderView(*h.view);
    const int first = renders();
    EXPECT_EQ(first, int(h.view->entries().size()));

    // A pointer sweep fills the caches; the same sweep again, from the same settled start, draws
    // every size from them. At scale 2 too, where each size takes four times the bytes.
    const auto resting = h.view->tileFrames();
    const auto sweep = [&] {
        h.pointer = QPointF(resting.front().left(), resting.front().center().y());
        h.settle();
        renderView(*h.view);
        for (double x = resting.front().left(); x < resting.back().right(); x += 7) {
            h.pointer = QPointF(x, resting.front().center().y());
            h.advance(1.0 / 60);
            renderView(*h.view);
        }
    };
    sweep();
    const int afterSweep = renders();
    const int betweenSizes = h.view->renderer().statistics().betweenRenders;
    EXPECT_GT(afterSweep, first);
    EXPECT_GT(betweenSizes, 0);
    sweep();
    EXPECT_EQ(renders(), afterSweep);
    // At scale 2 the sizes between steps outgrow their budget, and the few refused are drawn uncached.
    EXPECT_LT(h.view->renderer().statistics().betweenRenders - betweenSizes, betweenSizes / 4);
}

// The view draws the entries' artwork: the padded icon stands as tall as the full one, on the same
// baseline.
TEST_F(DockViewRender, APaddedIconIsDrawnAsTallAsAFullOne)
{
    const QImage image = renderView(*h.view);
    // The rows of a tile's centre column drawn in its icon's colour.
    const auto drawn = [&](const QString& app, QRgb color) {
        const int x = int(h.view->tileFrames()[size_t(h.indexOf(app))].center().x() * image.devicePixelRatio());
        QRect rows;
        for (int y = 0; y < image.height(); ++y) {
            if (image.pixel(x, y) == color)
                rows |= QRect(x, y, 1, 1);
        }
        return rows;
    };
    const QRect full = drawn(red, qRgb(255, 0, 0));
    const QRect padded = drawn(blue, qRgb(0, 0, 255));
    ASSERT_GT(full.height(), 40);
    // Untrimmed, the padded square would be 96/256 of the full one; antialiased edges cost a few rows.
    EXPECT_GT(padded.height(), 0.9 * full.height());
    EXPECT_NEAR(padded.bottom(), full.bottom(), 0.06 * full.height()) << "the same baseline";
}

// The separator's light line stands on the shelf between the applications and the folder, and
// nowhere between two applications.
TEST_F(DockViewRender, TheSeparatorIsDrawnBetweenTheApplicationsAndTheRest)
{
    const QImage image = renderView(*h.view);
    const double k = image.devicePixelRatio();
    // Rows of the shelf where the gap between two neighbouring tiles is not even from side to side.
    const auto linedRows = [&](const QString& left, const QString& right) {
        const QRectF a = h.view->tileFrames()[size_t(h.indexOf(left))];
        const QRectF b = h.view->tileFrames()[size_t(h.indexOf(right))];
        int rows = 0;
        for (int y = int(a.bottom() * k); y < image.height(); ++y) {
            int lightest = 0, darkest = 255;
            for (int x = int(std::ceil(a.right() * k)); x < int(b.left() * k); ++x) {
                lightest = std::max(lightest, qGray(image.pixel(x, y)));
                darkest = std::min(darkest, qGray(image.pixel(x, y)));
            }
            rows += lightest - darkest > 40;
        }
        return rows;
    };
    EXPECT_GT(linedRows(blue, docs), linedRows(red, blue) + 5);
}

// Stored settings can hold anything; the dock still lays out inside its view and draws.
TEST(DockViewSettings, OddStoredValues)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // One row per value the view is handed: the preferences read what is not a finite number as
    // zero and clamp the sizes (their own test), but pass the width fraction and resting size on.
    const std::pair<const char*, QVariant> rows[] = {
        {"iconSize", -40},         {"iconSize", 1e9},          {"magnification", nan},    {"magnification", 1e6},
        {"dockWidthFraction", nan}, {"dockWidthFraction", 50}, {"restingIconSize", -1},
    };
    for (const auto& [key, value] : rows) {
        SCOPED_TRACE(std::string(key) + " = " + value.toString().toStdString());
        DockViewHarness h;
        h.pin({h.app("a"), h.app("b")});
        h.store->setValue(key, value);
        DockView& view = h.startView();
        h.pointer = view.tileFrames().empty() ? QPointF(500, 150) : view.tileFrames().front().center();
        h.settle();
        const QImage image = renderView(view);
        ASSERT_EQ(view.tileFrames().size(), view.entries().size());
        for (const QRectF& frame : view.tileFrames()) {
            EXPECT_TRUE(std::isfinite(frame.x()) && std::isfinite(frame.y()) && std::isfinite(frame.width()));
            // Magnified icons may grow above the view; they never leave it sideways or below.
            EXPECT_GE(frame.left(), 0);
            EXPECT_LE(frame.right(), view.width());
            EXPECT_LE(frame.bottom(), view.height());
        }
        const QRectF last = view.tileFrames().back();
        const QPointF nearBase(last.center().x(), last.bottom() - 3);
        EXPECT_GT(qAlpha(image.pixel((nearBase * image.devicePixelRatio()).toPoint())), 0) << "the icon is drawn";
    }
}

TEST_F(DockViewRender, ReflectionsAreDroppedOnlyWhenTheIconObjectChanges)
{
    renderView(*h.view);
    const QString redID = h.view->entries()[size_t(h.indexOf(red))].identifier();
    const QString blueID = h.view->entries()[size_t(h.indexOf(blue))].identifier();
    const int made = h.view->renderer().statistics().reflectionRenders;
    ASSERT_TRUE(h.view->renderer().hasReflection(redID));

    // The same icon objects after a refresh keep their reflections.
    h.model.refresh();
    h.view->reload();
    renderView(*h.view);
    EXPECT_EQ(h.view->renderer().statistics().reflectionRenders, made);

    // A new icon object for one entry replaces only that entry's reflection.
    h.workspace.icons[red] = DockViewHarness::solidIcon(Qt::darkRed);
    h.model.iconCache.remove(redID);
    h.model.refresh();
    h.view->reload();
    EXPECT_FALSE(h.view->renderer().hasReflection(redID));
    EXPECT_TRUE(h.view->renderer().hasReflection(blueID));
    renderView(*h.view);
    EXPECT_EQ(h.view->renderer().statistics().reflectionRenders, made + 1);
}

TEST(DockViewAccessibility, TilesDescribeWhatAClickDoesAndTheirBadge)
{
    DockViewHarness h;
    const QString mail = h.app("mail");
    const QString docs = h.folder("docs");
    h.pin({mail, docs});
    h.workspace.launch(FakeWorkspace::app("mail", 99, mail));
    h.badges = [mail](const QString& identity) {
        return identity == QFileInfo(mail).canonicalFilePath() ? std::optional<QString>("3") : std::nullopt;
    };
    h.model.refresh();
    h.minimized.push_back(DockWindow{5, "Draft", "mail", "mail", true});
    DockView& view = h.makeView();
    view.show();
    view.start();
    h.settle();

    // Roles, the dock's and applications' names and the selection are read over AT-SPI end to end;
    // descriptions, badges and a window's name here.
    QAccessibleInterface* dock = QAccessible::queryAccessibleInterface(&view);
    ASSERT_NE(dock, nullptr);
    ASSERT_EQ(dock->childCount(), int(view.entries().size()));
    EXPECT_EQ(dock->indexOfChild(dock->child(2)), 2);
    EXPECT_EQ(dock->child(0)->text(QAccessible::Description),
              "Running. Click to switch. Right-click for app and window actions.");
    EXPECT_EQ(dock->child(0)->text(QAccessible::Value), "Badge: 3");
    EXPECT_EQ(dock->child(1)->text(QAccessible::Value), QString());
    EXPECT_EQ(dock->child(1)->text(QAccessible::Description),
              "Click to open. Drag to arrange. Right-click for options.");
    EXPECT_EQ(dock->child(2)->text(QAccessible::Name), "Draft");
}

TEST(DockViewAccessibility, AnUnshownDockIsNotExposedAndOnlyChangesAreAnnounced)
{
    DockViewHarness h;
    const QString mail = h.app("mail");
    const QString notes = h.app("notes");
    h.pin({mail, notes});
    // What a screen reader would hear.
    std::vector<std::pair<QAccessible::Event, QObject*>> accessibilityEvents;
    h.accessibilityEvent = [&](QAccessibleEvent* event) { accessibilityEvents.emplace_back(event->type(), event->object()); };
    DockView& view = h.startView();

    QAccessibleInterface* dock = QAccessible::queryAccessibleInterface(&view);
    ASSERT_NE(dock, nullptr);
    EXPECT_EQ(dock->childCount(), 0) << "an unmapped dock has no tiles to offer";
    EXPECT_TRUE(dock->state().invisible);
    h.workspace.names[mail] = "Post";
    h.model.refresh();
    view.reload();
    EXPECT_TRUE(accessibilityEvents.empty()) << "an unmapped dock says nothing";

    view.show();
    ASSERT_EQ(dock->childCount(), int(view.tiles().size()));
    accessibilityEvents.clear();
    h.model.refresh();
    view.reload();
    EXPECT_TRUE(accessibilityEvents.empty()) << "a refresh that changes nothing says nothing";

    using Event = std::pair<QAccessible::Event, QObject*>;
    accessibilityEvents.clear();
    const QString files = h.folder("files");
    h.pin({mail, notes, files});
    EXPECT_EQ(accessibilityEvents,
              (std::vector<Event>{{QAccessible::ObjectCreated, view.tiles()[size_t(h.indexOf(files))]}}));

    accessibilityEvents.clear();
    QObject* leaving = view.tiles()[size_t(h.indexOf(notes))];
    h.pin({mail, files});
    EXPECT_EQ(accessibilityEvents, (std::vector<Event>{{QAccessible::ObjectDestroyed, leaving}}));
}

// An icon that records every size it is asked to render.
class RecordingEngine : public QIconEngine {
public:
    explicit RecordingEngine(std::shared_ptr<std::vector<QSize>> log) : log(std::move(log)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        painter->fillRect(rect, Qt::darkCyan);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode, QIcon::State) override
    {
        log->push_back(size);
        QPixmap pm(size);
        pm.fill(Qt::darkCyan);
        return pm;
    }
    QIconEngine* clone() const override { return new RecordingEngine(log); }

    std::shared_ptr<std::vector<QSize>> log;
};

// Run at QT_SCALE_FACTOR=2 by its own CTest entry; skipped otherwise.
TEST(DockViewHiDpi, IconsRenderAtDevicePixels)
{
    DockViewHarness h;
    auto requests = std::make_shared<std::vector<QSize>>();
    const QString app = h.app("app", QIcon(new RecordingEngine(requests)));
    h.pin({app});
    DockView& view = h.makeView();
    if (view.devicePixelRatioF() != 2)
        GTEST_SKIP() << "needs QT_SCALE_FACTOR=2";
    view.start();
    h.settle();

    requests->clear();
    const QImage image = renderView(view);

    const QRectF frame = view.tileFrames()[size_t(h.indexOf(app))];
    ASSERT_FALSE(requests->empty());
    const int devicePixels = int(std::lround(frame.width() * 2));
    // On the common canvas the icon fills a little less than its tile, rendered at that many pixels.
    EXPECT_LE(requests->front().width(), devicePixels) << "rendered for the device, not scaled down";
    EXPECT_GE(requests->front().width(), 0.9 * devicePixels) << "rendered for the device, not scaled up";
    const QPoint inside((frame.left() + 4) * 2, frame.center().y() * 2);
    EXPECT_EQ(image.pixelColor(inside).rgb(), QColor(Qt::darkCyan).rgb());
}

} // namespace
} // namespace wharf::test
