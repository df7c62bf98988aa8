#include "dock/dock_divider_view.h"

#include "dock/dock_geometry.h"
#include "dock/dock_layout.h"
#include "dock/dock_view.h"
#include "settings/dock_preferences.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>

#include <cmath>

namespace wharf {

DockDividerView::DockDividerView(DockView& dock) : QWidget(&dock), view(dock)
{
    installDividerAccessibility();
    setObjectName(QStringLiteral("wharf.resize-divider"));
    setToolTip(toolTipText);
    setAccessibleName(QStringLiteral("Resize Dock"));
    setAccessibleDescription(QStringLiteral("Drag vertically or horizontally to resize the Dock and all its icons."));
    setCursor(Qt::SizeVerCursor);
    setAttribute(Qt::WA_NoSystemBackground);
    setContextMenuPolicy(Qt::DefaultContextMenu);
    hide();
}

QPointF DockDividerView::inDock(const QPointF& local) const { return mapTo(&view, local); }

void DockDividerView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    dragging = true;
    view.beginDividerResize(inDock(event->position()));
    event->accept();
}

void DockDividerView::mouseMoveEvent(QMouseEvent* event)
{
    if (dragging)
        view.updateDividerResize(inDock(event->position()));
    event->accept();
}

void DockDividerView::mouseReleaseEvent(QMouseEvent* event)
{
    if (!dragging || event->button() != Qt::LeftButton)
        return;
    dragging = false;
    view.endDividerResize(inDock(event->position()));
    event->accept();
}

void DockDividerView::contextMenuEvent(QContextMenuEvent* event)
{
    view.showApplicationMenu(event->globalPos());
    event->accept();
}

// --- The dock's side of a divider drag ---

void DockView::beginDividerResize(const QPointF& point)
{
    if (frames.empty())
        return;
    stacks.close();
    interaction.keyboardIndex.reset();
    const int count = int(entryList.size());
    const auto resting = layoutFrames(std::nullopt, 1.0);
    const QRectF shelf = DockLayout::shelfFrame(resting);
    DividerResizeSession session;
    session.pointer = point;
    session.width = shelf.width();
    session.iconSize = DockLayout::iconSize(count, session.width, separator);
    bool magnified = false;
    for (size_t i = 0; i < frames.size() && i < resting.size(); ++i)
        magnified = magnified || frames[i].width() > resting[i].width() + 0.5;
    if (magnified) {
        const double x = lastPointer ? lastPointer->x() : point.x();
        session.magnificationPosition = (x - shelf.left()) / std::max(session.width, 1.0);
    }
    const QRect handle = divider.view() ? divider.view()->geometry() : QRect();
    session.horizontalDirection = handle.center().x() >= rect().center().x() ? 1 : -1;
    divider.begin(session);
    hover.clear();
    markLayoutDirty();
    tick();
}

void DockView::updateDividerResize(const QPointF& point)
{
    const int count = int(entryList.size());
    const auto separatorIndex = separator;
    const auto requested = divider.requestedWidth(
        point, [count, separatorIndex](double icon) { return DockLayout::preferredWidth(count, icon, separatorIndex); });
    if (!requested || !context.preferences)
        return;
    // The limits hold however far the pointer goes; a fraction write re-lays out every dock.
    context.preferences->setDockWidthFraction(
        DockLayout::widthFractionForDockWidth(count, width(), *requested, separator));
    markLayoutDirty();
}

void DockView::endDividerResize(const QPointF& point)
{
    updateDividerResize(point);
    divider.end();
    markLayoutDirty();
    tick();
}

void DockView::stepDividerSize(int direction)
{
    if (!context.preferences || frames.empty())
        return;
    const int count = int(entryList.size());
    const double icon = std::clamp(DockLayout::metrics(frames).iconSize + 2.0 * direction, 16.0, 96.0);
    context.preferences->setDockWidthFraction(DockLayout::widthFractionForDockWidth(
        count, width(), DockLayout::preferredWidth(count, icon, separator), separator));
    markLayoutDirty();
}

double DockView::actualWidthFraction() const
{
    return DockLayout::actualWidthFraction(int(entryList.size()), width(), preferredDockWidth(), separator);
}

std::optional<ResizeAxis> DockView::resizeAxis() const { return divider.resizeAxis(); }

std::optional<QRect> DockView::dividerFrame() const
{
    const DockDividerView* handle = divider.view();
    if (!handle || handle->isHidden())
        return std::nullopt;
    return handle->geometry();
}

void DockView::showApplicationMenu(const QPoint& globalPosition)
{
    if (!context.applicationMenu)
        return;
    QMenu* menu = context.applicationMenu(this);
    if (!menu)
        return;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    trackMenu(*menu);
    menu->popup(globalPosition);
}

// --- Accessibility ---

namespace {

// QAccessibleWidget already answers as an action interface; the splitter adds its two steps.
class DividerAccessible : public QAccessibleWidget {
public:
    explicit DividerAccessible(DockDividerView* view) : QAccessibleWidget(view, QAccessible::Splitter) {}

    QString text(QAccessible::Text t) const override
    {
        const auto* divider = static_cast<DockDividerView*>(widget());
        switch (t) {
        case QAccessible::Name: return divider->accessibleName();
        case QAccessible::Help:
        case QAccessible::Description: return divider->accessibleDescription();
        case QAccessible::Value:
            return QString::number(std::lround(divider->dock().actualWidthFraction() * 100));
        default: return QAccessibleWidget::text(t);
        }
    }

    QStringList actionNames() const override
    {
        return {increaseAction(), decreaseAction()};
    }
    void doAction(const QString& name) override
    {
        auto* divider = static_cast<DockDividerView*>(widget());
        if (name == increaseAction())
            divider->dock().stepDividerSize(+1);
        else if (name == decreaseAction())
            divider->dock().stepDividerSize(-1);
    }
};

QAccessibleInterface* dividerFactory(const QString& className, QObject* object)
{
    if (className == QLatin1String("wharf::DockDividerView") && object && object->isWidgetType())
        return new DividerAccessible(static_cast<DockDividerView*>(object));
    return nullptr;
}

} // namespace

void installDividerAccessibility()
{
    static const bool installed = [] {
        QAccessible::installFactory(dividerFactory);
        return true;
    }();
    (void)installed;
}

} // namespace wharf
