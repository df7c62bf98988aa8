#pragma once

#include <QIcon>
#include <QImage>
#include <QRect>
#include <QString>

#include <optional>

namespace wharf {

// Every image the dock draws stands on one common canvas: its transparent margins trimmed, its
// content's longer side 96 % of the canvas, centred, 2 % above the bottom edge. So a theme icon
// with wide padding and a tight window icon fill the same box and share a baseline.
//
// The trim is measured once per source on a 512-pixel canvas; the normalized icon then renders
// its source afresh at each size it is asked for, in device pixels, so HiDPI stays sharp.
namespace DockArtwork {

inline constexpr int canvas = 512;
inline constexpr int emptyAlpha = 20;      // alpha at or below this counts as transparent
inline constexpr int margin = 4;           // kept around the content, in canvas pixels
inline constexpr double contentFraction = 0.96;
inline constexpr double baselineFraction = 0.02;

// The normalized icon for `image`, cached under `key` (an item id, "window-…", or a stack
// document's key). The same icon object comes back while `image` is the same object; an icon
// that cannot be normalized (null, or transparent everywhere) comes back unchanged.
QIcon image(const QIcon& image, const QString& key);

// Where `image`'s content sits on the canvas, margin included; none when nothing is opaque enough.
std::optional<QRect> contentBox(const QIcon& image);

// The normalized rendering of `image` at `side` × `side` pixels; null when it cannot be normalized.
QImage normalized(const QIcon& image, int side);

} // namespace DockArtwork

} // namespace wharf
