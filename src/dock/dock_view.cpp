#include "dock/dock_view.h"

#include "dock/dock_tile.h"
#include "dock/dock_view_painter.h"

#include <QElapsedTimer>
#include <QTimer>

namespace wharf {

struct DockView::RetiringIcon {
    QRectF frame;
    double started = 0;
};

DockView::DockView(DockViewContext ctx, bool isFullScreenOverlay, QWidget* parent)
    : QWidget(parent), context(std::move(ctx)), overlay(isFullScreenOverlay),
      drawing(std::make_unique<DockViewPainter>())
{
    timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &DockView::tick);
}

DockView::~DockView() = default;

void DockView::start() {}
void DockView::stop() { timer->stop(); }
void DockView::reload() {}
void DockView::tick() {}
void DockView::markLayoutDirty() { layoutDirty = true; }
bool DockView::isFullScreenOverlay() const { return overlay; }
const std::vector<DockEntry>& DockView::entries() const { return entryList; }
std::vector<QRectF> DockView::tileFrames() const { return {}; }
std::optional<int> DockView::hoveredIndex() const { return hovered; }
double DockView::restingContentHeight() const { return 0; }
QRegion DockView::inputRegion() const { return currentInputRegion; }
const std::vector<DockTile*>& DockView::tiles() const { return tileList; }
std::optional<int> DockView::separatorIndex() const { return separator; }
bool DockView::isAnimating() const { return animating; }
bool DockView::isTicking() const { return timer->isActive(); }
int DockView::retiringIconCount() const { return int(retiringIcons.size()); }
const DockViewPainter& DockView::painter() const { return *drawing; }
void DockView::render(QImage&) {}
void DockView::paintEvent(QPaintEvent*) {}
void DockView::resizeEvent(QResizeEvent*) {}
void DockView::mouseMoveEvent(QMouseEvent*) {}
void DockView::enterEvent(QEnterEvent*) {}
void DockView::leaveEvent(QEvent*) {}
bool DockView::event(QEvent* e) { return QWidget::event(e); }

} // namespace wharf
