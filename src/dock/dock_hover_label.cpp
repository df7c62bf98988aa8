#include "dock/dock_hover_label.h"

#include "dock/dock_geometry.h"
#include "dock/dock_tile.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace wharf {

namespace {

constexpr double cornerRadius = 13;
constexpr double textInset = 12;

QFont labelFont()
{
    QFont font;
    font.setPixelSize(14);
    return font;
}

QPainterPath backdrop(const QRectF& area)
{
    QPainterPath path;
    path.addRoundedRect(area, cornerRadius, cornerRadius);
    return path;
}

// A rounded backdrop with one line of text, elided at the tail when too long.
QImage drawLabel(const QSize& size, qreal scale, const QString& text)
{
    QImage image(size * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area(QPointF(0, 0), QSizeF(size));
    // A few rows at a time: QPainter hands a fill of many spans to worker threads and waits for
    // them, several wakeups for a label this small.
    constexpr int rows = 6;
    for (int y = 0; y < size.height(); y += rows) {
        painter.setClipRect(QRect(0, y, size.width(), rows));
        painter.fillPath(backdrop(area), QColor(246, 246, 246, 240));
    }
    painter.setClipping(false);
    const QFont font = labelFont();
    painter.setFont(font);
    painter.setPen(QColor(28, 28, 30));
    const QRectF container = area.adjusted(textInset, 0, -textInset, 0);
    painter.drawText(container, Qt::AlignCenter, QFontMetricsF(font).elidedText(text, Qt::ElideRight, container.width()));
    return image;
}

} // namespace

QRectF DockHoverLabel::place(double naturalWidth, const QRectF& tile, const QRectF& bounds)
{
    const double w = std::min(std::max(bounds.width() - 20, 0.0), std::ceil(naturalWidth) + 24);
    // The lower bound first, then the upper: in a view too narrow for both the right edge wins.
    const double x = std::min(std::max(tile.center().x() - w / 2, bounds.left() + 10), bounds.right() - w - 10);
    // bottom() is the larger y: the top edge in layout terms.
    const double y = std::min(tile.bottom() + 10, bounds.bottom() - labelHeight - 4);
    return QRectF(x, y, w, labelHeight);
}

double DockHoverLabel::naturalWidth(const QString& text) { return QFontMetricsF(labelFont()).horizontalAdvance(text); }

void DockHoverLabel::show(std::optional<int> hovered, const std::vector<DockTile*>& tiles, bool allowed)
{
    if (!dock || !allowed || !hovered || *hovered < 0 || size_t(*hovered) >= tiles.size()) {
        hide();
        return;
    }
    const DockTile& tile = *tiles[size_t(*hovered)];
    const QString title = tile.entry().title();
    const QRectF bounds(0, 0, dock->width(), dock->height());
    auto width = widths.constFind(title);
    if (width == widths.constEnd()) {
        if (widths.size() > 64)
            widths.clear();
        width = widths.insert(title, naturalWidth(title));
    }
    const QRectF frame = place(*width, tile.frame, bounds);
    setFrame(QRect(toWidgetRect(frame, dock->height()).topLeft().toPoint(),
                   QSize(int(std::lround(frame.width())), int(labelHeight))),
             title);
}

void DockHoverLabel::hide() { setFrame(std::nullopt, QString()); }

void DockHoverLabel::setFrame(std::optional<QRect> frame, const QString& text)
{
    if (drawnFrame == frame && drawnText == text)
        return;
    if (frame) {
        const double scale = dock->devicePixelRatioF();
        const QImage& cached = images[text];
        if (cached.size() != frame->size() * scale || cached.devicePixelRatio() != scale) {
            if (images.size() > 64)
                images.clear();
            images.insert(text, drawLabel(frame->size(), scale, text));
        }
    }
    // Each rectangle of a repaint is a pass of its own over the whole dock: a label that moved a
    // little is one rectangle over both places, not the three their union splits into.
    const QRect before = drawnFrame.value_or(QRect());
    const QRect after = frame.value_or(QRect());
    const QRegion dirty = before.intersects(after) ? QRegion(before.united(after)) : QRegion(before).united(after);
    const bool moved = drawnFrame != frame;
    drawnFrame = frame;
    drawnText = text;
    if (repaint)
        repaint(dirty);
    if (!moved)
        return;
    if (frame && frame->size() != originSize) {
        // The pixels at half opacity or more, as the path's polygon covers them.
        originSize = frame->size();
        originOutline = QRegion(backdrop(QRectF(QPointF(0, 0), QSizeF(originSize))).toFillPolygon().toPolygon());
    }
    shownOutline = frame ? originOutline.translated(frame->topLeft()) : QRegion();
    if (onOutlineChanged)
        onOutlineChanged(shownOutline);
}

void DockHoverLabel::paint(QPainter& painter) const
{
    if (drawnFrame)
        painter.drawImage(drawnFrame->topLeft(), images.value(drawnText));
}

QRect DockHoverLabel::globalFrame() const
{
    return drawnFrame && dock ? drawnFrame->translated(dock->mapToGlobal(QPoint(0, 0))) : QRect();
}

} // namespace wharf
