#pragma once

#include <QPointF>
#include <QRectF>

#include <optional>
#include <vector>

namespace wharf {

class DockTile;

// Where the pointer counts as over the dock and which tile it is over. The hover zone reaches
// beside the shelf and above the icons, so the row magnifies before the pointer touches an icon.
// Layout coordinates throughout.
class DockHover {
public:
    // Taken from the current frames (the resting ones before there are any) at every step; the
    // zone also reaches as high as the frames the row is `heading` to.
    void setRow(const QRectF& shelf, const std::vector<QRectF>& frames, const std::vector<QRectF>& heading = {});

    // The whole zone: from the view's bottom edge up to a little above the tallest icon.
    QRectF zone() const;
    bool contains(const QPointF& pointer) const;
    // The strip along the screen edge that reveals a hidden dock: the zone's width, 4 high.
    bool atEdge(const QPointF& pointer) const;
    const QRectF& shelf() const { return hoverShelf; }

    // The part of the view that counts as `tile`.
    static QRectF clickFrame(const DockTile& tile);

    // Recomputes the hovered tile; true when it changed. A dock hidden by more than `hiddenLimit`
    // has nothing hovered.
    bool update(const std::optional<QPointF>& pointer, const std::vector<DockTile*>& tiles, double hiddenAmount);
    void clear() { hovered.reset(); }
    std::optional<int> index() const { return hovered; }

private:
    QRectF hoverShelf;
    double top = 0; // top edge of the zone
    std::optional<int> hovered;
};

} // namespace wharf
