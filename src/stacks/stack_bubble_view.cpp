#include "stacks/stack_bubble_view.h"

#include <QPainter>

#include <algorithm>

namespace wharf {

StackBubbleView::StackBubbleView(QSize size, QWidget* parent) : QWidget(parent)
{
    resize(size);
    setAttribute(Qt::WA_TranslucentBackground);
}

void StackBubbleView::setArrowX(double x)
{
    arrow = x;
    update();
}

double StackBubbleView::arrowTip(double width, double arrowX)
{
    return std::clamp(arrowX, 25.0, std::max(width - 25, 25.0));
}

QPainterPath StackBubbleView::bubblePath(QSizeF size, double arrowX)
{
    const QRectF inset = QRectF(QPointF(0, 0), size).adjusted(1, 1, -1, -1);
    QPainterPath body;
    body.addRoundedRect(QRectF(inset.left(), inset.top(), inset.width(), inset.height() - 12), 15, 15);
    const double tip = arrowTip(size.width(), arrowX);
    const double base = size.height() - 14;
    QPainterPath arrowPath;
    arrowPath.moveTo(tip - 13, base);
    arrowPath.lineTo(tip, size.height() - 1);
    arrowPath.lineTo(tip + 13, base);
    arrowPath.closeSubpath();
    return body.united(arrowPath);
}

void StackBubbleView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPainterPath path = bubblePath(size(), arrow);
    painter.fillPath(path, QColor(38, 38, 42, 238));
    painter.setPen(QPen(QColor(255, 255, 255, 87), 1));
    painter.drawPath(path);
    painter.setPen(QPen(QColor(255, 255, 255, 31), 1));
    painter.drawLine(QPointF(16, 43), QPointF(width() - 16, 43));
}

} // namespace wharf
