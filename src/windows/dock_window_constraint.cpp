#include "windows/dock_window_constraint.h"

#include <algorithm>
#include <cmath>

namespace wharf::DockWindowConstraint {

namespace {

// Half a pixel of slack absorbs rounding between the window system and the dock's layout.
constexpr double tolerance = 0.5;

// QRectF::intersected treats zero-sized results loosely; this one is exact.
QRectF intersection(const QRectF& a, const QRectF& b)
{
    const double left = std::max(a.left(), b.left());
    const double top = std::max(a.top(), b.top());
    const double right = std::min(a.right(), b.right());
    const double bottom = std::min(a.bottom(), b.bottom());
    return right > left && bottom > top ? QRectF(left, top, right - left, bottom - top) : QRectF();
}

} // namespace

bool valid(const QRectF& rect)
{
    return std::isfinite(rect.x()) && std::isfinite(rect.y()) && std::isfinite(rect.width())
        && std::isfinite(rect.height()) && rect.width() > 0 && rect.height() > 0 && std::isfinite(rect.right())
        && std::isfinite(rect.bottom());
}

bool approximatelyEqual(const QRectF& a, const QRectF& b, double limit)
{
    return std::abs(a.x() - b.x()) <= limit && std::abs(a.y() - b.y()) <= limit
        && std::abs(a.width() - b.width()) <= limit && std::abs(a.height() - b.height()) <= limit;
}

std::optional<QRectF> adjustedFrame(const QRectF& frame, const std::vector<DockAvoidanceRegion>& regions)
{
    if (!valid(frame) || regions.empty())
        return std::nullopt;
    const DockAvoidanceRegion* chosen = nullptr;
    double best = 0;
    for (const DockAvoidanceRegion& region : regions) {
        if (!valid(region.screenFrame))
            continue;
        const QRectF overlap = intersection(frame, region.screenFrame);
        const double area = overlap.width() * overlap.height();
        if (area > best) {
            best = area;
            chosen = &region;
        }
    }
    if (!chosen)
        return std::nullopt;

    const QRectF& s = chosen->screenFrame;
    const QRectF& u = chosen->usableFrame;
    if (!valid(u) || u.left() < s.left() - tolerance || u.right() > s.right() + tolerance
        || u.top() < s.top() - tolerance || u.bottom() > s.bottom() + tolerance)
        return std::nullopt;
    const QRectF band(s.left(), u.bottom(), s.width(), s.bottom() - u.bottom());
    if (band.height() <= tolerance || frame.bottom() <= u.bottom() + tolerance)
        return std::nullopt;
    const QRectF inBand = intersection(frame, band);
    if (inBand.width() <= tolerance || inBand.height() <= tolerance)
        return std::nullopt;

    double top = 0;
    double height = frame.height();
    if (frame.height() <= u.height()) {
        top = std::max(u.top(), u.bottom() - frame.height());
    } else {
        top = u.top() <= frame.top() && frame.top() < u.bottom() - tolerance ? frame.top() : u.top();
        height = u.bottom() - top;
    }
    const QRectF result(frame.x(), top, frame.width(), height);
    if (!valid(result) || result.top() < u.top() || result.bottom() > u.bottom() + tolerance)
        return std::nullopt;
    if (std::abs(result.top() - frame.top()) <= tolerance && std::abs(result.height() - frame.height()) <= tolerance)
        return std::nullopt;
    return result;
}

} // namespace wharf::DockWindowConstraint
