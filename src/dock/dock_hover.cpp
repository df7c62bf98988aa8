#include "dock/dock_hover.h"

#include "dock/dock_tile.h"

#include <algorithm>

namespace wharf {

namespace {

constexpr double besideShelf = 20;
constexpr double aboveIcons = 12;
constexpr double emptyZoneHeight = 102;
constexpr double hiddenLimit = 0.3;
constexpr double edgeStrip = 4;

} // namespace

void DockHover::setRow(const QRectF& shelf, const std::vector<QRectF>& frames, const std::vector<QRectF>& heading)
{
    hoverShelf = shelf;
    if (frames.empty()) {
        top = emptyZoneHeight;
        return;
    }
    double highest = frames.front().bottom(); // bottom() is the larger y: the top edge in layout terms
    for (const auto* row : {&frames, &heading}) {
        for (const auto& frame : *row)
            highest = std::max(highest, frame.bottom());
    }
    top = highest + aboveIcons;
}

QRectF DockHover::zone() const
{
    return QRectF(hoverShelf.left() - besideShelf, 0, hoverShelf.width() + 2 * besideShelf, top);
}

bool DockHover::contains(const QPointF& pointer) const
{
    return pointer.x() >= hoverShelf.left() - besideShelf && pointer.x() <= hoverShelf.right() + besideShelf &&
           pointer.y() >= 0 && pointer.y() < top;
}

bool DockHover::atEdge(const QPointF& pointer) const
{
    return pointer.x() >= hoverShelf.left() - besideShelf && pointer.x() <= hoverShelf.right() + besideShelf &&
           pointer.y() >= 0 && pointer.y() < edgeStrip;
}

QRectF DockHover::clickFrame(const DockTile& tile)
{
    // Below an application icon, down to the screen edge, still counts as the icon.
    if (tile.entry().isApplication())
        return QRectF(tile.frame.x(), 0, tile.frame.width(), std::max(tile.frame.bottom(), 0.0));
    return tile.frame;
}

bool DockHover::update(const std::optional<QPointF>& pointer, const std::vector<DockTile*>& tiles,
                       double hiddenAmount)
{
    std::optional<int> index;
    if (pointer && hiddenAmount < hiddenLimit && contains(*pointer)) {
        for (size_t i = 0; i < tiles.size(); ++i) {
            if (clickFrame(*tiles[i]).adjusted(-4, 0, 4, 0).contains(*pointer)) {
                index = int(i);
                break;
            }
        }
    }
    if (index == hovered)
        return false;
    hovered = index;
    return true;
}

} // namespace wharf
