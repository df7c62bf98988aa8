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

    int childCount() const override { return int(view()->tiles().size()); }

    QAccessibleInterface* child(int index) const override
    {
        const auto& tiles = view()->tiles();
        if (index < 0 || index >= int(tiles.size()))
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
    if (className == QLatin1String("wharf::DockTile")) {
        if (auto* tile = qobject_cast<DockTile*>(object))
            return new DockTileAccessible(tile);
    }
    return nullptr;
}

} // namespace

void installDockAccessibility()
{
    static const bool installed = [] {
        QAccessible::installFactory(dockAccessibleFactory);
        return true;
    }();
    (void)installed;
}

} // namespace wharf
