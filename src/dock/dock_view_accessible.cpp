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
        return s;
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

class DockTileAccessible : public QAccessibleInterface {
public:
    explicit DockTileAccessible(DockTile* tile) : tile(tile) {}

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
        }
        return s;
    }

private:
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
        Texts texts{tile->label(), tile->value(), tile->help()};
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
