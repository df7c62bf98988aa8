#pragma once

#include <QPoint>
#include <QRectF>
#include <QRegion>

#include <optional>
#include <vector>

namespace wharf {

class DockHover;
class DockTile;

// Where the dock window takes the mouse, in widget coordinates. Everywhere else clicks reach
// the windows below. It covers the whole hover zone, drawn or not: a pointer entering the zone
// must reach the view, or the row would not magnify until the pointer touched the shelf.
class DockInputRegion {
public:
    struct Row {
        const std::vector<QRectF>* frames = nullptr; // current frames, layout coordinates
        const std::vector<DockTile*>* tiles = nullptr;
        const DockHover* hover = nullptr;
        double hiddenAmount = 0;
        double hideOffset = 0;
        double viewHeight = 0;
    };
    static QRegion compute(const Row& row);

    // Takes `region`; true when the window's shape must follow. While the row moves under the
    // pointer both regions agree about the pointer's spot, the only place a click can happen:
    // the shape is brought up to date when they disagree there, or once the row settles.
    bool update(const QRegion& region, bool animating, std::optional<QPoint> pointerSpot);
    const QRegion& current() const { return region; }

private:
    QRegion region;
};

} // namespace wharf
