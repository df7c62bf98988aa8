#include "dock/dock_input_region.h"

#include "dock/dock_geometry.h"
#include "dock/dock_hover.h"
#include "dock/dock_layout.h"
#include "dock/dock_tile.h"

namespace wharf {

QRegion DockInputRegion::compute(const Row& row)
{
    QRegion result;
    if (!row.frames || row.frames->empty())
        return result;
    const double h = row.viewHeight;
    QRect zone;
    if (row.hiddenAmount < 0.3 && row.hover)
        result += zone = toWidgetRect(row.hover->zone(), h).toAlignedRect();
    if (row.hiddenAmount < 0.95)
        result += toWidgetRect(DockLayout::shelfFrame(*row.frames).translated(0, -row.hideOffset), h).toAlignedRect();
    if (row.tiles) {
        for (const auto* tile : *row.tiles) {
            const QRectF frame = row.hiddenAmount < 0.3 ? DockHover::clickFrame(*tile) : tile->frame;
            const QRect area = toWidgetRect(frame.adjusted(-3, -2, 3, 2), h).toAlignedRect();
            // The zone holds the row's tiles unless one is dragged out; below it is off the window.
            if (!zone.adjusted(0, 0, 0, 4).contains(area))
                result += area;
        }
    }
    if (row.hiddenAmount > 0 && row.hover) {
        // A hidden dock still feels the pointer at the screen edge.
        const QRectF& shelf = row.hover->shelf();
        result += toWidgetRect(QRectF(shelf.left() - 20, 0, shelf.width() + 40, 4), h).toAlignedRect();
    }
    return result;
}

bool DockInputRegion::update(const QRegion& next, bool animating, std::optional<QPoint> pointerSpot)
{
    if (next == region)
        return false;
    if (animating && pointerSpot && next.contains(*pointerSpot) && region.contains(*pointerSpot))
        return false;
    region = next;
    return true;
}

} // namespace wharf
