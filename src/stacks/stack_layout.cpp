#include "stacks/stack_layout.h"

#include <algorithm>
#include <cmath>

namespace wharf::StackLayout {

double availableHeight(const QRectF& anchor, const QRectF& visible)
{
    return std::max(anchor.top() - visible.top() - 16, 170.0);
}

QRectF visibleFrame(const QRectF& anchor, const std::vector<QRectF>& screenFrames,
                    const std::vector<QRectF>& visibleFrames)
{
    for (std::size_t i = 0; i < screenFrames.size() && i < visibleFrames.size(); ++i) {
        if (screenFrames[i].intersects(anchor))
            return visibleFrames[i];
    }
    return visibleFrames.empty() ? QRectF(0, 0, 1440, 900) : visibleFrames.front();
}

int gridColumns(int count, const QRectF& visible)
{
    const int widthColumns = std::max(int((visible.width() - 64) / cellWidth), 2);
    const int squareColumns = int(std::ceil(std::sqrt(double(std::clamp(count, 0, 48)))));
    if (squareColumns < 3)
        return std::min(widthColumns, 3);
    return std::min({widthColumns, 8, squareColumns});
}

QSizeF gridSize(int count, int columns, double availableHeight)
{
    const int rows = (std::max(count, 0) + columns - 1) / std::max(columns, 1);
    return {columns * cellWidth + 38, std::min(rows * cellHeight + 102, availableHeight)};
}

int fanCardCount(int count, double availableHeight)
{
    const int room = std::max(int((availableHeight - 69) / fanCardPitch), 1);
    return std::min({room, count, maximumFanCards});
}

QRectF panelFrame(const QRectF& anchor, const QRectF& visible, QSizeF size, double iconOffset)
{
    const double offset = iconOffset < 0 ? size.width() / 2 : iconOffset;
    double x = anchor.center().x() - offset;
    x = std::min(std::max(x, visible.left() + 8), visible.right() - size.width() - 8);
    double y = std::max(visible.top() + 6, anchor.top() - 5 - size.height());
    y = std::min(y, visible.bottom() - size.height());
    return {QPointF(x, y), size};
}

std::pair<int, int> realizedRange(double visibleTop, double visibleBottom, int columns, int count)
{
    const double top = visibleTop - cellHeight;
    const double bottom = visibleBottom + cellHeight;
    const int first = std::max(int(std::floor(top / cellHeight)) * columns, 0);
    const int end = std::min((int(std::ceil(bottom / cellHeight)) + 1) * columns, count);
    return {std::min(first, std::max(end, 0)), std::max(end, 0)};
}

} // namespace wharf::StackLayout
