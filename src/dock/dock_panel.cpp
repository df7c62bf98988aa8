#include "dock/dock_panel.h"

#include "dock/device_pixel_blit.h"

#include <QPaintEvent>
#include <QPainter>

namespace wharf {

DockPanel::DockPanel(QWidget* parent) : QWidget(parent)
{
    setWindowTitle(QStringLiteral("Wharf"));
    setFocusPolicy(Qt::NoFocus);
}

void DockPanel::setKeyboardMode(bool on, std::uint32_t eventTime)
{
    if (on == keyboard)
        return;
    keyboard = on;
    // The window system lets the focus in and activates the window, or hands the focus back.
    const bool focused = onKeyboardModeChanged ? onKeyboardModeChanged(on, eventTime) : isActiveWindow();
    activated = on && focused;
    if (on)
        raise();
    Q_EMIT keyboardModeChanged(on);
}

void DockPanel::windowFocusChanged(bool focused)
{
    if (!keyboard)
        return;
    // A loss from before the window got the focus for this keyboard mode is old news: the
    // activation is still on its way.
    if (focused)
        activated = true;
    else if (activated)
        setKeyboardMode(false);
}

void DockPanel::setBackdrop(const QImage& image)
{
    if (image.isNull() && backdrop.isNull())
        return;
    backdrop = image;
    update();
}

void DockPanel::paintEvent(QPaintEvent* event)
{
    if (backdrop.isNull())
        return;
    QPainter painter(this);
    paintBackdrop(painter, event->region());
}

void DockPanel::paintBackdrop(QPainter& painter, const QRegion& area) const
{
    if (backdrop.isNull())
        return;
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    // One rectangle at a time: under a clip of one QPainter blits the image, under a clip of
    // several it blends span by span and hands a tall area to worker threads, waking them.
    for (const QRect& rect : area) {
        painter.setClipRect(rect);
        blitUnscaled(painter, QPointF(0, 0), backdrop);
    }
    painter.restore();
}

} // namespace wharf
