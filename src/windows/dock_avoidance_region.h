#pragma once

#include <QRectF>

#include <cstdint>
#include <optional>
#include <vector>

namespace wharf {

// What window avoidance keeps clear, per display, in global coordinates with a top-left origin.
struct DockAvoidanceRegion {
    std::uint32_t displayID = 0;
    QRectF screenFrame;
    QRectF usableFrame;

    bool operator==(const DockAvoidanceRegion&) const = default;
};

// One display as the region computation sees it.
struct AvoidanceDisplay {
    std::optional<std::uint32_t> displayID; // none when the display has no usable identifier
    QRectF bounds;                          // the display's frame
    QRectF visibleFrame;                    // without panels and other reserved areas
};

// One dock window as the region computation sees it.
struct AvoidanceDock {
    std::uint32_t displayID = 0;
    bool inFullScreenSpace = false;
    double restingContentHeight = 0;
};

// The regions in display order; displays without one are left out. The first dock of a display
// decides its region; a display without a dock keeps its whole bounds usable.
std::vector<DockAvoidanceRegion> avoidanceRegions(const std::vector<AvoidanceDisplay>& displays,
                                                  const std::vector<AvoidanceDock>& docks);

} // namespace wharf
