#include "stacks/stack_panel.h"

#include <QCloseEvent>
#include <QKeyEvent>

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
    if (!isVisible())
        show();
    raise();
    activateWindow();
    content->setFocus();
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
