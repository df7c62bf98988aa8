#include "dock/dock_hover_label.h"

#include "dock/dock_geometry.h"
#include "dock/dock_hover_label_window.h"
#include "dock/dock_tile.h"

#include <QPainter>
#include <QRegion>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace wharf {

QRectF DockHoverLabel::place(double naturalWidth, const QRectF& tile, const QRectF& bounds)
{
    const double w = std::min(std::max(bounds.width() - 20, 0.0), std::ceil(naturalWidth) + 24);
    // The lower bound first, then the upper: in a view too narrow for both the right edge wins.
    const double x = std::min(std::max(tile.center().x() - w / 2, bounds.left() + 10), bounds.right() - w - 10);
    // bottom() is the larger y: the top edge in layout terms.
    const double y = std::min(tile.bottom() + 10, bounds.bottom() - labelHeight - 4);
    return QRectF(x, y, w, labelHeight);
}

void DockHoverLabel::show(std::optional<int> hovered, const std::vector<DockTile*>& tiles, bool allowed)
{
    if (!dock || !allowed || !hovered || *hovered < 0 || size_t(*hovered) >= tiles.size()) {
        hide();
        return;
    }
    const DockTile& tile = *tiles[size_t(*hovered)];
    const QString title = tile.entry().title();
    const QRectF bounds(0, 0, dock->width(), dock->height());
    const QRectF frame = place(DockHoverLabelWindow::naturalWidth(title), tile.frame, bounds);
    const QRect local(toWidgetRect(frame, dock->height()).topLeft().toPoint(),
                      QSize(int(std::lround(frame.width())), int(labelHeight)));
    if (!ownWindow) {
        showInDock(local, title);
        return;
    }
    if (!window)
        window = new DockHoverLabelWindow(dock);
    window->setText(title);
    const QRect global(dock->mapToGlobal(local.topLeft()), local.size());
    if (window->geometry() != global)
        window->setGeometry(global);
    if (window->isHidden())
        window->show();
}

void DockHoverLabel::showInDock(const QRect& frame, const QString& text)
{
    if (drawnFrame == frame && drawnText == text)
        return;
    const double scale = dock->devicePixelRatioF();
    const QImage& cached = images[text];
    if (cached.size() != frame.size() * scale || cached.devicePixelRatio() != scale) {
        if (images.size() > 64)
            images.clear();
        QImage image(frame.size() * scale, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(scale);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        // A few rows at a time: QPainter hands a fill of many spans to worker threads and waits
        // for them, several wakeups for a label this small.
        constexpr int rows = 6;
        for (int y = 0; y < frame.height(); y += rows) {
            painter.setClipRect(QRect(0, y, frame.width(), rows));
            DockHoverLabelWindow::paint(painter, QRectF(QPointF(0, 0), QSizeF(frame.size())), text);
        }
        painter.end();
        images.insert(text, image);
    }
    QRegion dirty(frame);
    if (drawnFrame)
        dirty += *drawnFrame;
    drawnFrame = frame;
    drawnText = text;
    dock->update(dirty);
}

void DockHoverLabel::hide()
{
    if (window && !window->isHidden())
        window->hide();
    if (drawnFrame && dock)
        dock->update(*drawnFrame);
    drawnFrame.reset();
}

void DockHoverLabel::setOwnWindow(bool own)
{
    if (own == ownWindow)
        return;
    hide(); // the next tick shows it the new way
    ownWindow = own;
}

void DockHoverLabel::paint(QPainter& painter) const
{
    if (drawnFrame)
        painter.drawImage(drawnFrame->topLeft(), images.value(drawnText));
}

bool DockHoverLabel::isVisible() const { return drawnFrame || (window && window->isVisible()); }

QString DockHoverLabel::text() const
{
    if (drawnFrame)
        return drawnText;
    return window ? window->text() : QString();
}

QRect DockHoverLabel::globalFrame() const
{
    if (drawnFrame)
        return drawnFrame->translated(dock->mapToGlobal(QPoint(0, 0)));
    return window ? window->geometry() : QRect();
}

} // namespace wharf
