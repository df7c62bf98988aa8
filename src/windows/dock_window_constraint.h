#pragma once

#include "windows/dock_avoidance_region.h"

#include <QRectF>

#include <optional>
#include <vector>

namespace wharf {

// Where a window must go so that it stays out of the dock's resting band: pure geometry in global
// coordinates with a top-left origin.
namespace DockWindowConstraint {

// Finite, with positive width and height.
bool valid(const QRectF& rect);

// The corrected frame of a window at `frame`: moved up when it fits above the band, else kept
// at its top (or the usable top) and shortened. None when it needs no correction or none is
// possible.
std::optional<QRectF> adjustedFrame(const QRectF& frame, const std::vector<DockAvoidanceRegion>& regions);

// Whether the corners and sizes of `a` and `b` differ by at most `tolerance`.
bool approximatelyEqual(const QRectF& a, const QRectF& b, double tolerance);

} // namespace DockWindowConstraint

} // namespace wharf
