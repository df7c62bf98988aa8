#include "dock/device_pixel_blit.h"

#include <QTransform>

#include <cmath>

namespace wharf {

void blitUnscaled(QPainter& painter, const QPointF& at, const QImage& image, const QRectF& source)
{
    const QRectF part = source.isNull() ? QRectF(image.rect()) : source;
    const double dpr = painter.device()->devicePixelRatio();
    const QTransform world = painter.worldTransform();
    if (dpr == 1 || dpr == 2 || world.type() > QTransform::TxTranslate) {
        if (source.isNull())
            painter.drawImage(at, image); // the raster engine's shortest way to a blit
        else
            painter.drawImage(at, image, source);
        return;
    }
    const QPointF device = world.map(at) * dpr;
    painter.setWorldTransform(QTransform::fromScale(1 / dpr, 1 / dpr));
    painter.drawImage(QRectF(QPointF(std::round(device.x()), std::round(device.y())), part.size()), image, part);
    painter.setWorldTransform(world);
}

} // namespace wharf
