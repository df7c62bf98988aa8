#include "stacks/stack_panel.h"

#include <QBitmap>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QTimer>

#include <utility>

namespace wharf {

StackPanel::StackPanel() : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setWindowTitle(QStringLiteral("Wharf Stack"));
}

void StackPanel::present(QWidget* content, const QRect& frame)
{
    if (shown && shown != content) {
        shown->hide();
        shown->deleteLater();
    }
    shown = content;
    content->setParent(this);
    content->move(0, 0);
    content->resize(frame.size());
    content->show();
    setGeometry(frame);
    backdrop = below ? below(frame) : std::nullopt;
    reshape();
    if (!isVisible())
        show();
    raise();
    activateWindow();
    content->setFocus();
}

void StackPanel::reshapeLater()
{
    if (std::exchange(reshapeQueued, true))
        return;
    QTimer::singleShot(0, this, [this] {
        reshapeQueued = false;
        reshape();
    });
}

void StackPanel::reshape()
{
    if (!backdrop || !shown) {
        clearMask();
        return;
    }
    // What the content draws at least half opaque, in logical pixels.
    const QImage drawn = shown->grab().toImage();
    const QRegion pixels(QBitmap::fromImage(drawn.createAlphaMask(Qt::ThresholdAlphaDither)));
    const qreal scale = drawn.devicePixelRatio();
    QRegion outline;
    for (const QRect& r : pixels)
        outline += QRectF(r.x() / scale, r.y() / scale, r.width() / scale, r.height() / scale).toAlignedRect();
    setMask(outline.isEmpty() ? QRegion(0, 0, 1, 1) : outline);
    update();
}

void StackPanel::paintEvent(QPaintEvent*)
{
    if (!backdrop || backdrop->isNull())
        return;
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(rect(), *backdrop);
}

void StackPanel::keyPressEvent(QKeyEvent* event)
{
    if (onKey && onKey(event))
        return;
    // Escape is the controller's; never let the pop-up close itself behind its back.
    if (event->key() != Qt::Key_Escape)
        QWidget::keyPressEvent(event);
}

void StackPanel::closeEvent(QCloseEvent* event)
{
    QWidget::closeEvent(event);
    if (onDismiss)
        onDismiss();
}

} // namespace wharf
