#include "dock/dock_hover_label_window.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>

namespace wharf {

namespace {

constexpr double cornerRadius = 13;
constexpr double textInset = 12;

QFont labelFont()
{
    QFont font;
    font.setPixelSize(14);
    return font;
}

} // namespace

DockHoverLabelWindow::DockHoverLabelWindow(QWidget* dock)
    : QWidget(dock, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowTransparentForInput
                        | Qt::WindowDoesNotAcceptFocus | Qt::BypassWindowManagerHint)
{
    setObjectName(QStringLiteral("wharf.hover-label"));
    setWindowTitle(QStringLiteral("Wharf"));
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFont(labelFont());
}

void DockHoverLabelWindow::setText(const QString& text)
{
    if (text == label)
        return;
    label = text;
    update();
}

double DockHoverLabelWindow::naturalWidth(const QString& text)
{
    return QFontMetricsF(labelFont()).horizontalAdvance(text);
}

void DockHoverLabelWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    // Without a compositing manager the corners would show black: the window is cut to shape.
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
}

void DockHoverLabelWindow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    paint(painter, QRectF(rect()), label);
}

void DockHoverLabelWindow::paint(QPainter& painter, const QRectF& area, const QString& text)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath backdrop;
    backdrop.addRoundedRect(area, cornerRadius, cornerRadius);
    painter.fillPath(backdrop, QColor(246, 246, 246, 240));
    const QFont font = labelFont();
    painter.setFont(font);
    painter.setPen(QColor(28, 28, 30));
    const QRectF container = area.adjusted(textInset, 0, -textInset, 0);
    const QString shown = QFontMetricsF(font).elidedText(text, Qt::ElideRight, container.width());
    painter.drawText(container, Qt::AlignCenter, shown);
    painter.restore();
}

} // namespace wharf
