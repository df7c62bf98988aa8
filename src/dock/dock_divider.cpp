#include "dock/dock_divider.h"

#include "dock/dock_divider_view.h"
#include "dock/dock_geometry.h"
#include "dock/dock_layout.h"

#include <algorithm>
#include <cmath>

namespace wharf {

std::optional<QRectF> DockDivider::frame(const std::vector<QRectF>& frames, std::optional<int> separator,
                                         double hiddenAmount, double offset)
{
    if (!separator || *separator <= 0 || size_t(*separator) >= frames.size() || hiddenAmount > 0.95)
        return std::nullopt;
    double left = frames.front().right();
    for (int i = 0; i < *separator; ++i)
        left = std::max(left, frames[size_t(i)].right());
    const double right = frames[size_t(*separator)].left();
    // The upper limit first, then the lower: a narrow gap still gets a 12-point handle.
    const double w = std::max(std::min(right - left + 4, 24.0), 12.0);
    const auto metrics = DockLayout::metrics(frames);
    return QRectF((left + right) / 2 - w / 2, metrics.shelfBottom - offset, w,
                  metrics.shelfTop - metrics.shelfBottom + 5);
}

std::optional<double> DockDivider::magnificationPosition() const
{
    return session ? session->magnificationPosition : std::nullopt;
}

void DockDivider::begin(const DividerResizeSession& started)
{
    session = started;
    axis.reset();
}

void DockDivider::end()
{
    session.reset();
    axis.reset();
}

std::optional<ResizeAxis> DockDivider::lockAxis(const QPointF& delta)
{
    if (!axis && std::max(std::abs(delta.x()), std::abs(delta.y())) >= axisThreshold)
        axis = std::abs(delta.y()) < std::abs(delta.x()) ? ResizeAxis::horizontal : ResizeAxis::vertical;
    return axis;
}

void DockDivider::setView(DockDividerView* view) { widget = view; }

void DockDivider::place(const std::vector<QRectF>& frames, std::optional<int> separator, double hiddenAmount,
                        double offset, double viewHeight)
{
    if (!widget)
        return;
    const auto placed = frame(frames, separator, hiddenAmount, offset);
    if (!placed) {
        widget->hide();
        return;
    }
    const QRect rect = toWidgetRect(*placed, viewHeight).toAlignedRect();
    if (widget->geometry() != rect)
        widget->setGeometry(rect);
    if (widget->isHidden())
        widget->show();
}

} // namespace wharf
