#include "dock/dock_hover_label.h"

#include "dock/dock_geometry.h"
#include "dock/dock_hover_label_window.h"
#include "dock/dock_tile.h"

#include <QWidget>

#include <algorithm>
#include <cmath>

namespace wharf {

QRectF DockHoverLabel::place(double naturalWidth, const QRectF& tile, const QRectF& bounds)
{
    const double w = std::min(std::max(bounds.width() - 20, 0.0), std::ceil(naturalWidth) + 24);
    // The lower bound first, then the upper: in a view too narrow for both the right edge wins.
    const double x = std::min(std::max(tile.center().x() - w / 2, bounds.left() + 10), bounds.right() - w - 10);
    // bottom() is the larger y: the top edge in layout terms.
    const double y = std::min(tile.bottom() + 10, bounds.bottom() - labelHeight - 4);
    return QRectF(x, y, w, labelHeight);
}

void DockHoverLabel::show(std::optional<int> hovered, const std::vector<DockTile*>& tiles, bool allowed)
{
    if (!dock || !allowed || !hovered || *hovered < 0 || size_t(*hovered) >= tiles.size()) {
        hide();
        return;
    }
    const DockTile& tile = *tiles[size_t(*hovered)];
    if (!window)
        window = new DockHoverLabelWindow(dock);
    window->setText(tile.entry().title());
    const QRectF bounds(0, 0, dock->width(), dock->height());
    const QRectF frame = place(window->naturalWidth(), tile.frame, bounds);
    const QRect global(dock->mapToGlobal(toWidgetRect(frame, dock->height()).topLeft().toPoint()),
                       QSize(int(std::lround(frame.width())), int(labelHeight)));
    if (window->geometry() != global)
        window->setGeometry(global);
    if (window->isHidden())
        window->show();
}

void DockHoverLabel::hide()
{
    if (window && !window->isHidden())
        window->hide();
}

bool DockHoverLabel::isVisible() const { return window && window->isVisible(); }

QString DockHoverLabel::text() const { return window ? window->text() : QString(); }

QRect DockHoverLabel::globalFrame() const { return window ? window->geometry() : QRect(); }

} // namespace wharf
