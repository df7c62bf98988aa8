#pragma once

#include <QRect>
#include <QRectF>

#include <vector>

namespace wharf {

// Geometry of an open stack in global screen coordinates (top-left origin). `anchor` is the
// dock icon's frame and `visible` the usable frame of its display.
namespace StackLayout {

inline constexpr double cellWidth = 112;
inline constexpr double cellHeight = 124;
inline constexpr double fanCardPitch = 67;
inline constexpr int maximumFanCards = 9;

// The free height above the dock icon, never less than 170.
double availableHeight(const QRectF& anchor, const QRectF& visible);

// The display that holds the anchor: the first whose frame meets it, else the primary, else
// 1440 x 900 at the origin.
QRectF visibleFrame(const QRectF& anchor, const std::vector<QRectF>& screenFrames,
                    const std::vector<QRectF>& visibleFrames);

int gridColumns(int count, const QRectF& visible);
QSizeF gridSize(int count, int columns, double availableHeight);
int fanCardCount(int count, double availableHeight);

// Where the panel of `size` goes: over the icon, kept 8 points inside the display's sides.
// `iconOffset` is the distance from the panel's left edge to the icon's centre (default: half).
QRectF panelFrame(const QRectF& anchor, const QRectF& visible, QSizeF size, double iconOffset = -1);

// Grid cells worth creating for a visible band (y from the grid's top): its rows and one more
// above and below. Returns [first, end).
std::pair<int, int> realizedRange(double visibleTop, double visibleBottom, int columns, int count);

} // namespace StackLayout

} // namespace wharf
