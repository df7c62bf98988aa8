#pragma once

#include <QImage>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wharf {

// The images of a _NET_WM_ICON property (width, height, then width*height ARGB words,
// repeated), as another client wrote it: zero sizes, images larger than `maximumSide`
// and a truncated last image are skipped, and nothing past `words` is read.
std::vector<QImage> parseNetWmIcon(const uint32_t* data, size_t words, int maximumSide = 1024);

// The image best drawn at `side` pixels: the smallest at least that large, else the largest.
QImage bestImage(const std::vector<QImage>& images, int side);

// How the server lays out GetImage data (from the connection setup).
struct ImageLayout {
    int scanlinePad = 32;       // bits each row is padded to
    bool lsbFirstBits = true;   // bitmap bit order
    bool lsbFirstBytes = true;  // image byte order
    int bitsPerPixel = 32;      // for the pixmap's depth, when deeper than 1
};

// An ICCCM icon from GetImage data: a depth-1 bitmap draws black on white, a deeper
// pixmap is read as 0xRRGGBB. `mask` (a depth-1 bitmap, may be empty) makes pixels
// transparent. Null when the data is shorter than the size says.
QImage imageFromPixmapData(const std::vector<uint8_t>& pixels, int depth, const std::vector<uint8_t>& mask,
                           int width, int height, const ImageLayout& layout);

} // namespace wharf
