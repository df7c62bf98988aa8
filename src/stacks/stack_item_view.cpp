#include "stacks/stack_item_view.h"

#include "platform/drag_image.h"
#include "stacks/stack_panel.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QDrag>
#include <QEnterEvent>
#include <QLoggingCategory>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPalette>

#include <cmath>
#include <numbers>
#include <optional>
#include <utility>

Q_LOGGING_CATEGORY(lcStackDrag, "wharf.StackDrag", QtInfoMsg)

namespace wharf {

StackItemView::StackItemView(StackEntry entry, QIcon icon, bool fan, bool labelOnLeft, QWidget* parent)
    : QWidget(parent), item(std::move(entry)), icon(std::move(icon)), fan(fan), labelOnLeft(labelOnLeft)
{
    setToolTip(item.title);
    setAccessibleName(item.title);
    setAccessibleDescription(item.isDirectory && !item.isPackage ? QStringLiteral("Open folder in stack")
                                                                 : QStringLiteral("Open file"));
    setMouseTracking(true);
    setAttribute(Qt::WA_TranslucentBackground);
}

void StackItemView::setSelected(bool selected)
{
    if (selected == isSelected)
        return;
    isSelected = selected;
    update();
}

void StackItemView::setPreview(const QImage& image, const QString& from)
{
    preview = image;
    source = from;
    update();
}

bool StackItemView::beyondDragThreshold(QPointF press, QPointF now)
{
    return std::hypot(now.x() - press.x(), now.y() - press.y()) >= dragThreshold;
}

void StackItemView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    if (rotation != 0) {
        painter.translate(width() / 2.0, height() / 2.0);
        painter.rotate(-rotation * 180 / std::numbers::pi);
        painter.translate(-width() / 2.0, -height() / 2.0);
    }
    QFont font = painter.font();
    font.setPixelSize(12);
    painter.setFont(font);

    QRectF iconRect;
    QRectF textRect;
    int flags = Qt::AlignCenter;
    QString text = item.title;
    if (fan) {
        const double iconX = labelOnLeft ? width() - 72 : 4;
        const double pillX = labelOnLeft ? 4 : 83;
        const QRectF pill(pillX, 22, width() - 88, 25);
        painter.setPen(Qt::NoPen);
        painter.setBrush(isSelected ? palette().color(QPalette::Highlight) : QColor(26, 26, 26, 212));
        painter.drawRoundedRect(pill, 12, 12);
        iconRect = QRectF(iconX, 1, 68, 68);
        textRect = pill.adjusted(10, 4, -10, -4);
        text = painter.fontMetrics().elidedText(item.title, Qt::ElideMiddle, int(textRect.width()));
    } else {
        if (isSelected) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(QColor(255, 255, 255, 46));
            painter.drawRoundedRect(QRectF(rect()).adjusted(3, 2, -3, -2), 7, 7);
        }
        iconRect = QRectF((width() - 72) / 2.0, 6, 72, 72);
        textRect = QRectF(4, 83, width() - 8, 33);
        flags = Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap;
    }

    const QPixmap pixmap = preview.isNull() ? icon.pixmap(iconRect.size().toSize(), devicePixelRatioF())
                                            : QPixmap::fromImage(preview);
    if (!pixmap.isNull()) {
        const QSizeF image = pixmap.deviceIndependentSize();
        const double scale = std::min(iconRect.width() / std::max(image.width(), 1.0),
                                      iconRect.height() / std::max(image.height(), 1.0));
        const QSizeF drawn = image * scale;
        painter.drawPixmap(QRectF(iconRect.center() - QPointF(drawn.width() / 2, drawn.height() / 2), drawn),
                           pixmap, pixmap.rect());
    }
    painter.setPen(QColor(0, 0, 0, 160));
    painter.drawText(textRect.translated(0, 1), flags, text);
    painter.setPen(Qt::white);
    painter.drawText(textRect, flags, text);
}

void StackItemView::enterEvent(QEnterEvent* event)
{
    auto* panel = dynamic_cast<StackPanel*>(window());
    if (panel && std::exchange(panel->pointerSeen, event->globalPosition()) == event->globalPosition())
        return;
    if (onSelect)
        onSelect();
}

void StackItemView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    qCDebug(lcStackDrag, "File mouse down");
    dragging = false;
    mouseDownPoint = event->position();
    if (onSelect)
        onSelect();
}

void StackItemView::mouseMoveEvent(QMouseEvent* event)
{
    if (auto* panel = dynamic_cast<StackPanel*>(window()))
        panel->pointerSeen = event->globalPosition();
    if (dragging || !mouseDownPoint || !(event->buttons() & Qt::LeftButton))
        return;
    if (beyondDragThreshold(*mouseDownPoint, event->position())) {
        mouseDownPoint.reset();
        startDrag();
    }
}

void StackItemView::mouseReleaseEvent(QMouseEvent* event)
{
    const bool click = !dragging && mouseDownPoint && rect().contains(event->position().toPoint());
    mouseDownPoint.reset();
    if (!click)
        return;
    if (event->modifiers() & Qt::ControlModifier) {
        if (onReveal)
            onReveal();
    } else if (onOpen) {
        onOpen();
    }
}

void StackItemView::startDrag()
{
    qCDebug(lcStackDrag, "Beginning file drag");
    dragging = true;
    auto* data = new QMimeData;
    data->setUrls({item.url});
    QDrag drag(this);
    drag.setMimeData(data);
    drag.setPixmap(preview.isNull() ? icon.pixmap(QSize(72, 72))
                                    : QPixmap::fromImage(preview.scaled(72, 72, Qt::KeepAspectRatio)));
    drag.setHotSpot(QPoint(36, 36));
    if (const auto* panel = dynamic_cast<const StackPanel*>(window()); panel && panel->cutToContent())
        cutDragImageWhenShown(drag);
    if (onDragStarted)
        onDragStarted();
    const Qt::DropAction action = drag.exec(Qt::CopyAction | Qt::LinkAction | Qt::MoveAction);
    qCInfo(lcStackDrag, "File drag ended with operation %u", unsigned(action));
    dragging = false;
    if (onDragEnded)
        onDragEnded(action);
}

void StackItemView::contextMenuEvent(QContextMenuEvent* event)
{
    if (onSelect)
        onSelect();
    QMenu menu(this);
    const auto run = [](const std::function<void()>& callback) {
        return [callback] {
            if (callback)
                callback();
        };
    };
    menu.addAction(QStringLiteral("Open"), this, run(onOpen));
    menu.addAction(QStringLiteral("Quick Look"), this, run(onPreview));
    menu.addAction(QStringLiteral("Show in Files"), this, run(onReveal));
    const QUrl url = item.url;
    menu.addAction(QStringLiteral("Copy"), this, [url] {
        auto* data = new QMimeData;
        data->setUrls({url});
        QApplication::clipboard()->setMimeData(data);
    });
    menu.exec(event->globalPos());
}

} // namespace wharf
