#include "dock/dock_view_accessible.h"

#include "dock/dock_geometry.h"
#include "dock/dock_tile.h"
#include "dock/dock_view.h"

#include <QAccessibleWidget>
#include <QPointer>

namespace wharf {

namespace {

class DockViewAccessible : public QAccessibleWidget {
public:
    explicit DockViewAccessible(DockView* view) : QAccessibleWidget(view, QAccessible::ToolBar, QStringLiteral("Wharf")) {}

    DockView* view() const { return static_cast<DockView*>(widget()); }

    int childCount() const override { return shown() ? int(view()->tiles().size()) : 0; }

    QAccessible::State state() const override
    {
        QAccessible::State s = QAccessibleWidget::state();
        s.invisible = !shown();
        // In keyboard mode the focus is on the selected tile, not on the row.
        if (selectedTile())
            s.focused = false;
        return s;
    }

    QAccessibleInterface* focusChild() const override
    {
        if (DockTile* tile = selectedTile())
            return QAccessible::queryAccessibleInterface(tile);
        return QAccessibleWidget::focusChild();
    }

    QRect rect() const override { return shown() ? QAccessibleWidget::rect() : QRect(); }

    QAccessibleInterface* child(int index) const override
    {
        const auto& tiles = view()->tiles();
        if (!shown() || index < 0 || index >= int(tiles.size()))
            return nullptr;
        return QAccessible::queryAccessibleInterface(tiles[size_t(index)]);
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        if (!child)
            return -1;
        const auto& tiles = view()->tiles();
        for (size_t i = 0; i < tiles.size(); ++i) {
            if (tiles[i] == child->object())
                return int(i);
        }
        return -1;
    }

    QAccessibleInterface* childAt(int x, int y) const override
    {
        if (!shown())
            return nullptr;
        const QPoint local = view()->mapFromGlobal(QPoint(x, y));
        const auto frames = view()->tileFrames();
        for (size_t i = 0; i < frames.size(); ++i) {
            if (frames[i].contains(local))
                return child(int(i));
        }
        return nullptr;
    }

    QString text(QAccessible::Text t) const override
    {
        if (t == QAccessible::Name)
            return QStringLiteral("Wharf");
        return QAccessibleWidget::text(t);
    }

private:
    bool shown() const { return view()->isVisible(); }

    DockTile* selectedTile() const
    {
        const auto index = view()->keyboardIndex();
        const auto& tiles = view()->tiles();
        return shown() && index && *index < int(tiles.size()) ? tiles[size_t(*index)] : nullptr;
    }
};

// The dock's top-level window: without its view's children while it is not mapped.
class DockPanelAccessible : public QAccessibleWidget {
public:
    explicit DockPanelAccessible(QWidget* panel) : QAccessibleWidget(panel, QAccessible::Window) {}

    int childCount() const override { return widget()->isVisible() ? QAccessibleWidget::childCount() : 0; }
    QAccessibleInterface* child(int index) const override
    {
        return widget()->isVisible() ? QAccessibleWidget::child(index) : nullptr;
    }
    QAccessible::State state() const override
    {
        QAccessible::State s = QAccessibleWidget::state();
        s.invisible = !widget()->isVisible();
        return s;
    }
};

// A tile: a button that presses (activates its entry) and shows its menu; its entry's running,
// active and minimized states are states, so screen readers say them without parsing text.
class DockTileAccessible : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    explicit DockTileAccessible(DockTile* tile) : tile(tile) {}

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }

    QStringList actionNames() const override { return {pressAction(), showMenuAction()}; }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }
    void doAction(const QString& name) override
    {
        DockView* v = view();
        if (!v)
            return;
        const QString id = tile->entry().identifier();
        if (name == pressAction()) {
            // Answer the assistive tool first; what the entry opens may take a while.
            const QPointer<DockView> target(v);
            QMetaObject::invokeMethod(v, [target, id] {
                if (target)
                    target->activateEntry(indexOf(*target, id), 0);
            }, Qt::QueuedConnection);
        } else if (name == showMenuAction()) {
            v->showEntryMenu(indexOf(*v, id), 0);
        }
    }

    bool isValid() const override { return tile && view(); }
    QObject* object() const override { return tile; }
    QWindow* window() const override
    {
        const auto* v = view();
        return v && v->window() ? v->window()->windowHandle() : nullptr;
    }
    QAccessibleInterface* focusChild() const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(view()); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }

    QString text(QAccessible::Text t) const override
    {
        if (!tile)
            return {};
        switch (t) {
        case QAccessible::Name:
            return tile->label();
        case QAccessible::Value:
            return tile->value().value_or(QString());
        case QAccessible::Description:
        case QAccessible::Help:
            return tile->help();
        default:
            return {};
        }
    }
    void setText(QAccessible::Text, const QString&) override {}

    QRect rect() const override
    {
        const DockView* v = view();
        if (!v)
            return {};
        const QRectF local = toWidgetRect(tile->frame, v->height());
        return QRect(v->mapToGlobal(local.topLeft().toPoint()), local.size().toSize());
    }

    QAccessible::Role role() const override { return QAccessible::Button; }

    QAccessible::State state() const override
    {
        QAccessible::State s;
        if (const DockView* v = view()) {
            s.invisible = !v->isVisible() || tile->alpha <= 0;
            const auto hovered = v->hoveredIndex();
            const auto& tiles = v->tiles();
            s.hotTracked = hovered && *hovered < int(tiles.size()) && tiles[size_t(*hovered)] == tile;
            s.focusable = true;
            const auto selected = v->keyboardIndex();
            s.focused = selected && *selected < int(tiles.size()) && tiles[size_t(*selected)] == tile;
            const DockEntryStates entry = entryStates(tile->entry());
            // A running application is a pressed-in toggle, as task bars show it.
            s.checkable = true;
            s.checked = entry.running;
            s.active = entry.active;
            s.collapsed = entry.minimized;
        }
        return s;
    }

private:
    static int indexOf(const DockView& view, const QString& id)
    {
        const auto& entries = view.entries();
        for (size_t i = 0; i < entries.size(); ++i) {
            if (entries[i].identifier() == id)
                return int(i);
        }
        return -1;
    }

    DockView* view() const { return tile ? qobject_cast<DockView*>(tile->parent()) : nullptr; }

    QPointer<DockTile> tile;
};

QAccessibleInterface* dockAccessibleFactory(const QString& className, QObject* object)
{
    if (className == QLatin1String("wharf::DockView")) {
        if (auto* view = qobject_cast<DockView*>(object))
            return new DockViewAccessible(view); // owned by Qt's accessibility cache
    }
    if (className == QLatin1String("wharf::DockPanel")) {
        if (auto* panel = qobject_cast<QWidget*>(object))
            return new DockPanelAccessible(panel);
    }
    if (className == QLatin1String("wharf::DockTile")) {
        if (auto* tile = qobject_cast<DockTile*>(object))
            return new DockTileAccessible(tile);
    }
    return nullptr;
}

} // namespace

DockEntryStates entryStates(const DockEntry& entry)
{
    if (entry.window())
        return {false, false, true};
    const DockItem* item = entry.item();
    const RunningApplication* app = item ? item->runningApplication.get() : nullptr;
    if (!app)
        return {};
    return {true, app->isActive, app->isHidden};
}

void DockAccessibilityAnnouncer::announce(QWidget& view, const std::vector<DockTile*>& tiles, const Sink& sink)
{
    const auto send = [&sink](QObject* object, QAccessible::Event type) {
        QAccessibleEvent event(object, type);
        if (sink)
            sink(&event);
        else
            QAccessible::updateAccessibility(&event);
    };
    const bool speak = view.isVisible();
    QHash<DockTile*, Texts> now;
    for (DockTile* tile : tiles) {
        Texts texts{tile->label(), tile->value(), tile->help(), entryStates(tile->entry())};
        const auto old = announced.constFind(tile);
        if (speak) {
            if (old == announced.constEnd()) {
                send(tile, QAccessible::ObjectCreated);
            } else {
                if (old->name != texts.name)
                    send(tile, QAccessible::NameChanged);
                if (old->value != texts.value)
                    send(tile, QAccessible::ValueChanged);
                if (old->help != texts.help)
                    send(tile, QAccessible::DescriptionChanged);
                if (old->states != texts.states) {
                    QAccessible::State changed;
                    changed.checked = old->states.running != texts.states.running;
                    changed.active = old->states.active != texts.states.active;
                    changed.collapsed = old->states.minimized != texts.states.minimized;
                    QAccessibleStateChangeEvent event(tile, changed);
                    if (sink)
                        sink(&event);
                    else
                        QAccessible::updateAccessibility(&event);
                }
            }
        }
        now.insert(tile, std::move(texts));
    }
    std::vector<DockTile*> kept;     // earlier tiles still there, in their old order
    std::vector<DockTile*> keptNow;  // the same tiles in their new order
    for (DockTile* tile : order) {
        if (now.contains(tile))
            kept.push_back(tile);
        else if (speak)
            send(tile, QAccessible::ObjectDestroyed); // the tile is deleted later, after this call
    }
    for (DockTile* tile : tiles) {
        if (announced.contains(tile))
            keptNow.push_back(tile);
    }
    if (speak && kept != keptNow)
        send(&view, QAccessible::ObjectReorder);
    order = tiles;
    announced = std::move(now);
}

void installDockAccessibility()
{
    static const bool installed = [] {
        QAccessible::installFactory(dockAccessibleFactory);
        return true;
    }();
    (void)installed;
}

} // namespace wharf
