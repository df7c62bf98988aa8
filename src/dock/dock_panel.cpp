#include "dock/dock_panel.h"

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
    if (onKeyboardModeChanged)
        onKeyboardModeChanged(on);
    if (on) {
        activateWindow();
        setFocus(Qt::OtherFocusReason);
    }
}

void DockPanel::focusOutEvent(QFocusEvent* event)
{
    // Losing the focus ends keyboard mode.
    QWidget::focusOutEvent(event);
    if (keyboard && !isActiveWindow())
        setKeyboardMode(false);
}

} // namespace wharf
