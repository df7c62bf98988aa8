#pragma once

#include <QImage>
#include <QPainter>
#include <QPointF>
#include <QRectF>

namespace wharf {

// Draws `image`, or its `source` part, unscaled with its top left at `at`, a point on the device
// pixel grid. Qt blits such an image itself at scales 1 and 2; at any other scale it steps through
// it as through a scaled one, several times slower, so there it is drawn in device pixels.
void blitUnscaled(QPainter& painter, const QPointF& at, const QImage& image, const QRectF& source = QRectF());

} // namespace wharf
