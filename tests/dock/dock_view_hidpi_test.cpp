// Icons at a device pixel ratio of 2 (run with QT_SCALE_FACTOR=2; skipped otherwise).
#include "dock_view_test_support.h"

#include <QIconEngine>
#include <QPainter>

namespace wharf::test {
namespace {

// An icon that records every size it is asked to render.
class RecordingEngine : public QIconEngine {
public:
    explicit RecordingEngine(std::shared_ptr<std::vector<QSize>> log) : log(std::move(log)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override
    {
        painter->fillRect(rect, Qt::darkCyan);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        log->push_back(size);
        QPixmap pm(size);
        pm.fill(Qt::transparent);
        QPainter p(&pm);
        paint(&p, pm.rect(), mode, state);
        return pm;
    }
    QIconEngine* clone() const override { return new RecordingEngine(log); }

    std::shared_ptr<std::vector<QSize>> log;
};

TEST(DockViewHiDpi, IconsRenderAtDevicePixels)
{
    DockViewHarness h;
    auto requests = std::make_shared<std::vector<QSize>>();
    const QString app = h.app(QStringLiteral("app"), QIcon(new RecordingEngine(requests)));
    h.pin({{app, DockItem::Kind::application}});
    DockView& view = h.makeView();
    if (view.devicePixelRatioF() != 2)
        GTEST_SKIP() << "needs QT_SCALE_FACTOR=2";
    view.start();
    h.settle();

    QImage image(view.size() * 2, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(2);
    image.fill(Qt::transparent);
    requests->clear();
    view.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);

    const QRectF frame = view.tileFrames()[size_t(h.indexOf(app))];
    ASSERT_FALSE(requests->empty());
    const int devicePixels = int(std::lround(frame.width() * 2));
    // On the common canvas the icon fills a little less than its tile, rendered at that many pixels.
    EXPECT_LE(requests->front().width(), devicePixels) << "rendered for the device, not scaled down";
    EXPECT_GE(requests->front().width(), 0.9 * devicePixels) << "rendered for the device, not scaled up";
    const QPoint inside((frame.left() + 4) * 2, frame.center().y() * 2);
    EXPECT_EQ(image.pixelColor(inside).rgb(), QColor(Qt::darkCyan).rgb());

    requests->clear();
    view.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    EXPECT_TRUE(requests->empty()) << "a repeated frame renders no icon";
}

} // namespace
} // namespace wharf::test
