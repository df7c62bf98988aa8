#include "dock/dock_panel.h"

#include <QPaintEvent>
#include <QPainter>

namespace wharf {

DockPanel::DockPanel(QWidget* parent) : QWidget(parent)
{
    setWindowTitle(QStringLiteral("Wharf"));
    setFocusPolicy(Qt::NoFocus);
}

void DockPanel::setKeyboardMode(bool on)
{
    if (on == keyboard)
        return;
    keyboard = on;
    setFocusPolicy(on ? Qt::StrongFocus : Qt::NoFocus);
    // The window system lets the focus in (or keeps it out) and activates the window.
    if (onKeyboardModeChanged)
        onKeyboardModeChanged(on);
    if (on)
        setFocus(Qt::OtherFocusReason);
}

void DockPanel::focusOutEvent(QFocusEvent* event)
{
    // Losing the focus ends keyboard mode.
    QWidget::focusOutEvent(event);
    if (keyboard && !isActiveWindow())
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
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setClipRegion(event->region());
    painter.drawImage(QPoint(0, 0), backdrop);
}

} // namespace wharf
