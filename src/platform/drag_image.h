#pragma once

#include <QBitmap>
#include <QCoreApplication>
#include <QDrag>
#include <QEvent>
#include <QImage>
#include <QPixmap>
#include <QRegion>
#include <QTransform>
#include <QWindow>

namespace wharf {

// Without a compositing manager Qt cuts the window that carries a drag's image to the image's
// opaque pixels, but the cut is lost when that window is shown (Qt 6.4), and the image then comes
// out in a white square. Called right before QDrag::exec, this cuts that window again each time
// it is shown or moved, for as long as `drag` lives. Qt shows it at the first move of the drag,
// which may come any time after exec begins; a cut sent only when it was shown was sometimes lost.
inline void cutDragImageWhenShown(QDrag& drag)
{
    class Cutter : public QObject {
    public:
        Cutter(QRegion outline, QObject* parent) : QObject(parent), outline(std::move(outline)) {}
        bool eventFilter(QObject* watched, QEvent* event) override
        {
            const QEvent::Type type = event->type();
            if ((type == QEvent::Show || type == QEvent::Expose || type == QEvent::Move) && watched->isWindowType()
                && qstrcmp(watched->metaObject()->className(), "QShapedPixmapWindow") == 0)
                static_cast<QWindow*>(watched)->setMask(outline);
            return false;
        }

    private:
        const QRegion outline;
    };
    const QPixmap pixmap = drag.pixmap();
    const QRegion pixels(QBitmap::fromImage(pixmap.toImage().createAlphaMask(Qt::ThresholdAlphaDither)));
    const qreal scale = pixmap.devicePixelRatio();
    const QRegion outline = scale == 1 ? pixels : QTransform::fromScale(1 / scale, 1 / scale).map(pixels);
    // A child of the drag: it goes, and stops watching, with it.
    qApp->installEventFilter(new Cutter(outline, &drag));
}

} // namespace wharf
