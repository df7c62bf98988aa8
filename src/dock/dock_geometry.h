#pragma once

#include <QPointF>
#include <QRectF>

namespace wharf {

// The layout works y-up from the view's bottom edge; Qt widgets are y-down. These
// functions are the only place where one becomes the other.
inline QRectF toWidgetRect(const QRectF& layoutRect, double viewHeight)
{
    return QRectF(layoutRect.x(), viewHeight - layoutRect.y() - layoutRect.height(), layoutRect.width(),
                  layoutRect.height());
}

inline QPointF toLayoutPoint(const QPointF& widgetPoint, double viewHeight)
{
    return QPointF(widgetPoint.x(), viewHeight - widgetPoint.y());
}

inline QPointF toWidgetPoint(const QPointF& layoutPoint, double viewHeight)
{
    return QPointF(layoutPoint.x(), viewHeight - layoutPoint.y());
}

} // namespace wharf
