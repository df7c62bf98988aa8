#pragma once

#include "dock/dock_divider_view.h"

#include <QPointF>
#include <QPointer>
#include <QRectF>

#include <algorithm>
#include <optional>
#include <vector>

namespace wharf {



// A divider drag in progress; `pointer` in window coordinates, widths and sizes in points.
struct DividerResizeSession {
    QPointF pointer;
    double width = 0;               // resting shelf width at the start
    double iconSize = 0;            // resting icon size at the start
    double horizontalDirection = 1; // +1 when the divider is right of the view's centre
    std::optional<double> magnificationPosition; // fraction of the shelf; none when not magnified
};

enum class ResizeAxis { vertical, horizontal };

// The divider: the resize handle on the separator. Dragging it vertically scales the icons,
// horizontally changes the dock's width; the first 3 points of motion choose the axis for the
// rest of the drag. While a session runs the row snaps instead of easing and magnification
// stays where it was when the drag began.
class DockDivider {
public:
    static constexpr double axisThreshold = 3;

    // Where the divider sits, in layout coordinates (y up), moved down by `offset`; none when
    // there is no separator or the dock is almost hidden.
    static std::optional<QRectF> frame(const std::vector<QRectF>& frames, std::optional<int> separator,
                                       double hiddenAmount, double offset);

    bool resizing() const { return session.has_value(); }
    // Fraction of the resting shelf's width where magnification centres during a session.
    std::optional<double> magnificationPosition() const;
    std::optional<ResizeAxis> resizeAxis() const { return axis; }

    void begin(const DividerResizeSession& started);
    // The dock width the drag asks for (before the limits); none before the axis is chosen or
    // without a session. `preferredWidth` gives the dock width for an icon size.
    template <typename PreferredWidth>
    std::optional<double> requestedWidth(const QPointF& pointer, PreferredWidth preferredWidth);
    void end();

    // The widget that takes the drag; placed by place().
    void setView(DockDividerView* view);
    DockDividerView* view() const { return widget; }
    // Follows the separator; `viewHeight` turns layout coordinates into the widget's.
    void place(const std::vector<QRectF>& frames, std::optional<int> separator, double hiddenAmount,
               double offset, double viewHeight);

private:
    std::optional<ResizeAxis> lockAxis(const QPointF& delta);

    std::optional<DividerResizeSession> session;
    std::optional<ResizeAxis> axis;
    QPointer<DockDividerView> widget;
};

template <typename PreferredWidth>
std::optional<double> DockDivider::requestedWidth(const QPointF& pointer, PreferredWidth preferredWidth)
{
    if (!session)
        return std::nullopt;
    // Window coordinates grow downward; dragging up enlarges.
    const QPointF delta(pointer.x() - session->pointer.x(), session->pointer.y() - pointer.y());
    const auto locked = lockAxis(delta);
    if (!locked)
        return std::nullopt;
    if (*locked == ResizeAxis::vertical) {
        const double icon = std::clamp(session->iconSize + 0.6 * delta.y(), 16.0, 96.0);
        return preferredWidth(icon);
    }
    return session->width + session->horizontalDirection * 2 * delta.x();
}

} // namespace wharf
