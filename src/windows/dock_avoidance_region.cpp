#include "windows/dock_avoidance_region.h"

#include <algorithm>
#include <cmath>

namespace wharf {

namespace {

double finiteOrZero(double value) { return std::isfinite(value) ? value : 0.0; }

} // namespace

std::vector<DockAvoidanceRegion> avoidanceRegions(const std::vector<AvoidanceDisplay>& displays,
                                                  const std::vector<AvoidanceDock>& docks)
{
    std::vector<DockAvoidanceRegion> regions;
    for (const AvoidanceDisplay& display : displays) {
        if (!display.displayID)
            continue;
        const QRectF bounds = display.bounds;
        if (!(bounds.width() > 0) || !(bounds.height() > 0))
            continue;
        const auto dock = std::find_if(docks.begin(), docks.end(), [&](const AvoidanceDock& d) {
            return d.displayID == *display.displayID;
        });
        if (dock == docks.end()) {
            regions.push_back({*display.displayID, bounds, bounds});
            continue;
        }
        if (dock->inFullScreenSpace)
            continue;
        const double reserve = std::clamp(finiteOrZero(dock->restingContentHeight), 0.0, bounds.height());
        const QRectF visible = display.visibleFrame;
        const double belowVisible = finiteOrZero(bounds.bottom() - visible.bottom());
        const double bottom = belowVisible < 0 ? reserve : std::max(belowVisible, reserve);
        const double top = std::max(0.0, finiteOrZero(visible.top() - bounds.top()));
        const double height = std::max(0.0, bounds.height() - top - bottom);
        regions.push_back({*display.displayID, bounds, QRectF(bounds.left(), bounds.top() + top, bounds.width(), height)});
    }
    return regions;
}

} // namespace wharf
