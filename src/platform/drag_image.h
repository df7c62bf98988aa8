#pragma once

#include <QBitmap>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QRegion>
#include <QTimer>
#include <QTransform>
#include <QWindow>

namespace wharf {

// Without a compositing manager Qt cuts the window that carries a drag's image to the image's
// opaque pixels, but the cut is lost when that window is shown (Qt 6.4), and the image then comes
// out in a white square. Called with the drag's pixmap right before QDrag::exec, this cuts the
// window again once the drag has shown it.
inline void cutDragImageOnceShown(const QPixmap& pixmap)
{
    const QRegion pixels(QBitmap::fromImage(pixmap.toImage().createAlphaMask(Qt::ThresholdAlphaDither)));
    const qreal scale = pixmap.devicePixelRatio();
    const QRegion outline = scale == 1 ? pixels : QTransform::fromScale(1 / scale, 1 / scale).map(pixels);
    QTimer::singleShot(0, qApp, [outline] {
        for (QWindow* window : QGuiApplication::allWindows()) {
            if (window->isVisible() && qstrcmp(window->metaObject()->className(), "QShapedPixmapWindow") == 0)
                window->setMask(outline);
        }
    });
}

} // namespace wharf
