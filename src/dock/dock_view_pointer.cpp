// What the mouse does on the dock: clicks, context menus, dragging tiles along the row or out of
// the dock, and drops from other programs (XDND through Qt).
#include "dock/dock_view.h"

#include "dock/dock_geometry.h"
#include "dock/dock_tile.h"
#include "model/dock_model.h"
#include "platform/drag_image.h"

#include <QCursor>
#include <QDrag>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLoggingCategory>
#include <QMimeData>
#include <QMouseEvent>
#include <QTimer>

#include <algorithm>

namespace wharf {

namespace {

Q_LOGGING_CATEGORY(lcDockDrag, "wharf.dock.drag", QtInfoMsg)

QList<QUrl> fileURLs(const QMimeData* data)
{
    QList<QUrl> urls;
    if (!data || !data->hasUrls())
        return urls;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile())
            urls.push_back(url);
    }
    return urls;
}

// Qt's drag eats the key press that gives it up, and forgets the button still held. A filter
// installed once the drag's own event loop runs is asked before the drag's, and notes the key.
class EscapeWatch : public QObject {
public:
    EscapeWatch()
    {
        QTimer::singleShot(0, this, [this] { qApp->installEventFilter(this); });
    }
    bool pressed = false;

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape)
            pressed = true;
        return false;
    }
};

bool isDesktopEntry(const QUrl& url)
{
    return QFileInfo(url.toLocalFile()).suffix().compare(QLatin1String("desktop"), Qt::CaseInsensitive) == 0;
}

// Ctrl-click opens a folder itself, so the secondary click held on the keyboard is Meta (Super)-click.
bool asksForMenu(const QMouseEvent& event)
{
    return event.button() == Qt::RightButton
        || (event.button() == Qt::LeftButton && event.modifiers().testFlag(Qt::MetaModifier));
}

} // namespace

std::optional<int> DockView::indexOf(const QString& entryID) const
{
    for (size_t i = 0; i < entryList.size(); ++i) {
        if (entryList[i].identifier() == entryID)
            return int(i);
    }
    return std::nullopt;
}

// --- Clicks ---

void DockView::mousePressEvent(QMouseEvent* event)
{
    const auto index = DockInteraction::hitTest(toLayoutPoint(event->position(), height()), tileList, hiddenAmount());
    if (!index) {
        QWidget::mousePressEvent(event);
        return;
    }
    event->accept();
    if (asksForMenu(*event)) {
        showEntryMenu(*index, std::uint32_t(event->timestamp()));
        return;
    }
    if (event->button() != Qt::LeftButton)
        return;
    DockTile* tile = tileList[size_t(*index)];
    tile->downPoint = event->position();
    tile->dragged = false;
    pressedTile = tile;
}

void DockView::mouseMoveEvent(QMouseEvent* event)
{
    lastEventPointer = event->position();
    ensureTicking();
    tickOnPointerMotion();
    // Hovering, the dock reads the pointer once a frame: a mouse reporting a thousand times a
    // second then wakes it no more than one reporting sixty.
    if (ticking && event->buttons() == Qt::NoButton && pauseMotionEvents) {
        motionPaused = pauseMotionEvents(true);
        confirmingPointer = false;
    }
    DockTile* tile = pressedTile;
    if (!tile || !tile->downPoint || tile->dragged
        || !DockInteraction::movedFarEnough(*tile->downPoint, event->position())) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    tile->dragged = true;
    const QPointF down = *tile->downPoint;
    const auto index = std::find(tileList.begin(), tileList.end(), tile) - tileList.begin();
    beginDrag(int(index), down);
    // The drag took the release; the press is over.
    if (pressedTile == tile) {
        tile->downPoint.reset();
        tile->dragged = false;
        pressedTile = nullptr;
    }
}

void DockView::mouseReleaseEvent(QMouseEvent* event)
{
    DockTile* tile = pressedTile;
    pressedTile = nullptr;
    if (!tile || event->button() != Qt::LeftButton) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    event->accept();
    const bool click = tile->downPoint && !tile->dragged
        && DockHover::clickFrame(*tile).contains(toLayoutPoint(event->position(), height()));
    tile->downPoint.reset();
    tile->dragged = false;
    if (!click)
        return;
    const auto index = std::find(tileList.begin(), tileList.end(), tile) - tileList.begin();
    activateTile(int(index), std::uint32_t(event->timestamp()), event->modifiers());
}

void DockView::activateTile(int index, std::uint32_t eventTime, Qt::KeyboardModifiers modifiers)
{
    if (index < 0 || size_t(index) >= entryList.size())
        return;
    const DockEntry& entry = entryList[size_t(index)];
    const DockItem* item = entry.item();
    const bool folder = item && item->kind == DockItem::Kind::folder;
    // Ctrl stands for Command: the folder itself opens, not its stack.
    if (folder && modifiers.testFlag(Qt::ControlModifier) && context.actions.openItem) {
        stacks.close();
        context.actions.openItem(entry.identifier(), eventTime);
        return;
    }
    activateEntry(index, eventTime);
}

// --- Dragging the dock's own tiles ---

void DockView::beginDrag(int index, const QPointF& pressPoint)
{
    DockTile* tile = tileList[size_t(index)];
    const DockItem* item = tile->entry().item();
    // The file manager keeps its place at the front, the Trash at the end; windows stay put.
    if (!item || item->kind == DockItem::Kind::trash || (context.model && context.model->isFileManager(*item)))
        return;
    const QString id = item->id;
    stacks.close();
    interaction.activeDragID = id;
    hover.clear();
    if (item->kind == DockItem::Kind::application) {
        interaction.reorderSlot = index;
        interaction.reorderSlots = layoutFrames(std::nullopt, 1.0);
    }
    layoutDirty = true;
    repaintScene();
    ensureTicking();

    auto* data = new QMimeData; // owned by the drag
    data->setData(internalType, id.toUtf8());
    data->setUrls({QUrl::fromLocalFile(item->url)});
    QDrag drag(this);
    drag.setMimeData(data);
    const QRectF frame = toWidgetRect(tile->frame, height());
    const double side = std::max(16.0, frame.width());
    drag.setPixmap(item->icon.pixmap(QSize(int(side), int(side)), devicePixelRatioF()));
    drag.setHotSpot((pressPoint - frame.topLeft()).toPoint());
    if (opaqueEdge) // no compositing manager
        cutDragImageWhenShown(drag);

    // The dock does not have the focus: without the keyboard, Escape could not give the drag up.
    grabKeyboard();
    EscapeWatch escape;
    // Other programs may link or copy the file, never move it: the pin is what leaves, not the file.
    const Qt::DropAction result = runDrag ? runDrag(drag) : drag.exec(Qt::CopyAction | Qt::LinkAction, Qt::LinkAction);
    releaseKeyboard();

    // Dragged out and let go above the row with nothing taking it: the pin goes. A drag given up
    // with Escape still has the button down, unless it has come up since.
    const auto reading = readPointer ? readPointer() : std::nullopt;
    const bool released =
        !escape.pressed && (reading ? !reading->buttonHeld : QGuiApplication::mouseButtons() == Qt::NoButton);
    const double endY = reading ? reading->position.y() : mapFromGlobal(QCursor::pos()).y();
    // Qt's drag had the pointer: the last motion the dock saw is where the drag began, and no
    // Leave may follow. Without this the row magnified there again after a drag given up.
    if (reading)
        lastEventPointer = reading->position;
    qCDebug(lcDockDrag, "Drag of %s ended: action %d, %s, pointer at y %.0f in the view", qUtf8Printable(id),
            int(result), released ? "let go" : "held or given up", endY);
    if (result == Qt::IgnoreAction && released && window() && context.actions.remove && context.model) {
        const auto& items = context.model->items();
        const bool pinned = std::any_of(items.begin(), items.end(),
                                        [&](const DockItem& i) { return i.id == id && i.isPinned; });
        if (pinned && DockInteraction::endsAboveRow(endY, height(), frames))
            context.actions.remove(id);
    }
    interaction.clearDrag();
    layoutDirty = true;
    repaintScene();
    ensureTicking();
}

// --- Drops ---

std::optional<int> DockView::dropTargetAt(const QPointF& layoutPoint) const
{
    for (size_t i = 0; i < entryList.size() && i < frames.size(); ++i) {
        if (entryList[i].item() && frames[i].contains(layoutPoint))
            return int(i);
    }
    return std::nullopt;
}

void DockView::dragEnterEvent(QDragEnterEvent* event) { dragUpdated(*event); }

void DockView::dragMoveEvent(QDragMoveEvent* event) { dragUpdated(*event); }

void DockView::dragUpdated(QDropEvent& event)
{
    ensureTicking();
    const QPointF point = toLayoutPoint(event.position(), height());
    const QMimeData* data = event.mimeData();
    const std::optional<int> oldTarget = interaction.dropTarget;
    interaction.dropTarget.reset();

    if (data->hasFormat(internalType)) {
        const QString id = QString::fromUtf8(data->data(internalType));
        if (id == interaction.activeDragID && interaction.reorderSlot) {
            const int last = (separator ? *separator : int(entryList.size())) - 1;
            const int slot = DockInteraction::followPointer(*interaction.reorderSlot, point.x(),
                                                            interaction.reorderSlots, last);
            if (slot != interaction.reorderSlot)
                layoutDirty = true;
            interaction.reorderSlot = slot;
        } else {
            interaction.dropIndex = entryList.empty() ? 0 : DockInteraction::insertionIndex(point.x(), frames);
            repaintScene();
        }
        event.setDropAction(event.possibleActions().testFlag(Qt::MoveAction) ? Qt::MoveAction : event.proposedAction());
        event.accept();
        return;
    }

    const QList<QUrl> urls = fileURLs(data);
    interaction.draggedURLs = urls;
    if (urls.isEmpty()) {
        event.ignore();
        return;
    }
    interaction.dropTarget = dropTargetAt(point);
    interaction.dropPoint = point;
    const DockItem* target = interaction.dropTarget ? entryList[size_t(*interaction.dropTarget)].item() : nullptr;
    const bool mayMove = event.possibleActions().testFlag(Qt::MoveAction);
    const bool copy = event.modifiers().testFlag(Qt::AltModifier) || !mayMove;
    interaction.dropCopies = copy;
    event.setDropAction(target && target->kind == DockItem::Kind::folder && !copy ? Qt::MoveAction : Qt::CopyAction);
    event.accept();
    if (interaction.dropTarget != oldTarget)
        repaintScene();
}

void DockView::dragLeaveEvent(QDragLeaveEvent* event)
{
    interaction.clearDrop();
    repaintScene();
    ensureTicking();
    QWidget::dragLeaveEvent(event);
}

void DockView::dropEvent(QDropEvent* event)
{
    performDrop(*event);
    interaction.clearDrop();
    layoutDirty = true;
    repaintScene();
    ensureTicking();
}

void DockView::performDrop(QDropEvent& event)
{
    const QPointF point = toLayoutPoint(event.position(), height());
    const QMimeData* data = event.mimeData();
    const DockViewActions& actions = context.actions;

    if (data->hasFormat(internalType) && context.model) {
        const QString id = QString::fromUtf8(data->data(internalType));
        const auto& items = context.model->items();
        if (std::any_of(items.begin(), items.end(), [&](const DockItem& i) { return i.id == id; })) {
            event.setDropAction(event.possibleActions().testFlag(Qt::MoveAction) ? Qt::MoveAction
                                                                                 : event.proposedAction());
            event.accept();
            const auto dragged = indexOf(id);
            if (interaction.reorderSlot && id == interaction.activeDragID && dragged) {
                const int slot = *std::exchange(interaction.reorderSlot, std::nullopt);
                if (actions.move)
                    actions.move(id, *dragged < slot ? slot + 1 : slot);
                return;
            }
            int index = std::max(0, int(items.size()) - 1);
            for (size_t i = 0; i < frames.size(); ++i) {
                if (frames[i].center().x() > point.x()) {
                    index = int(i);
                    break;
                }
            }
            if (actions.move)
                actions.move(id, index);
            return;
        }
    }

    QList<QUrl> urls = fileURLs(data);
    // Over XDND the data asked for at the drop itself can come back empty (the source answers for
    // the drop's time); what it answered while the drag hovered is the same drag's.
    if (urls.isEmpty())
        urls = interaction.draggedURLs;
    if (urls.isEmpty()) {
        event.ignore();
        return;
    }
    const auto targetIndex = dropTargetAt(point);
    const DockItem* target = targetIndex ? entryList[size_t(*targetIndex)].item() : nullptr;
    const bool copy = interaction.dropCopies.value_or(event.modifiers().testFlag(Qt::AltModifier))
        || !event.possibleActions().testFlag(Qt::MoveAction);
    event.setDropAction(target && target->kind == DockItem::Kind::folder && !copy ? Qt::MoveAction : Qt::CopyAction);
    event.accept();

    // Pins land where they were let go, in the order they were dragged.
    const auto pinEach = [&] {
        if (!actions.pin)
            return;
        int index = entryList.empty() ? 0 : DockInteraction::insertionIndex(point.x(), frames);
        for (const QUrl& url : urls)
            actions.pin(url.toLocalFile(), index++);
    };
    if (target && target->kind == DockItem::Kind::trash) {
        if (actions.open)
            actions.open(urls, target->id, false);
    } else if (std::all_of(urls.begin(), urls.end(), isDesktopEntry)) {
        pinEach();
    } else if (target) {
        if (actions.open)
            actions.open(urls, target->id, copy);
    } else {
        pinEach();
    }
}

} // namespace wharf
