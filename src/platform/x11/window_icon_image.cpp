#include "platform/x11/window_icon_image.h"

#include <algorithm>

namespace wharf {

std::vector<QImage> parseNetWmIcon(const uint32_t* data, size_t words, int maximumSide)
{
    std::vector<QImage> images;
    size_t at = 0;
    while (data && words - at >= 2) {
        const uint32_t width = data[at];
        const uint32_t height = data[at + 1];
        at += 2;
        const size_t pixels = size_t(width) * height;
        if (words - at < pixels)
            break; // truncated: the rest is not there
        if (width > 0 && height > 0 && width <= uint32_t(maximumSide) && height <= uint32_t(maximumSide)) {
            QImage image(int(width), int(height), QImage::Format_ARGB32);
            for (uint32_t y = 0; y < height; ++y)
                std::copy_n(data + at + size_t(y) * width, width, reinterpret_cast<uint32_t*>(image.scanLine(int(y))));
            images.push_back(std::move(image));
        }
        at += pixels;
    }
    return images;
}

QImage bestImage(const std::vector<QImage>& images, int side)
{
    const QImage* best = nullptr;
    auto extent = [](const QImage& image) { return std::max(image.width(), image.height()); };
    for (const QImage& image : images) {
        if (!best) {
            best = &image;
            continue;
        }
        const bool bigEnough = extent(image) >= side;
        const bool bestBigEnough = extent(*best) >= side;
        if (bigEnough != bestBigEnough ? bigEnough
                                       : (bigEnough ? extent(image) < extent(*best) : extent(image) > extent(*best)))
            best = &image;
    }
    return best ? *best : QImage();
}

namespace {

size_t rowBytes(int width, int bitsPerPixel, int pad)
{
    const size_t padBits = size_t(std::max(pad, 8));
    return (size_t(width) * size_t(bitsPerPixel) + padBits - 1) / padBits * padBits / 8;
}

bool bit(const std::vector<uint8_t>& data, size_t row, int x, bool lsbFirst)
{
    const uint8_t byte = data[row + size_t(x) / 8];
    const int shift = lsbFirst ? x % 8 : 7 - x % 8;
    return (byte >> shift) & 1;
}

} // namespace

QImage imageFromPixmapData(const std::vector<uint8_t>& pixels, int depth, const std::vector<uint8_t>& mask,
                           int width, int height, const ImageLayout& layout)
{
    if (width <= 0 || height <= 0)
        return {};
    const int bpp = depth == 1 ? 1 : layout.bitsPerPixel;
    if (depth != 1 && bpp != 32)
        return {}; // 16-bit and odder visuals are too rare to be worth it
    const size_t stride = rowBytes(width, bpp, layout.scanlinePad);
    const size_t maskStride = rowBytes(width, 1, layout.scanlinePad);
    if (pixels.size() < stride * size_t(height))
        return {};
    const bool masked = !mask.empty();
    if (masked && mask.size() < maskStride * size_t(height))
        return {};
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<uint32_t*>(image.scanLine(y));
        const size_t row = stride * size_t(y);
        for (int x = 0; x < width; ++x) {
            uint32_t rgb = 0;
            if (depth == 1) {
                rgb = bit(pixels, row, x, layout.lsbFirstBits) ? 0x000000u : 0xffffffu;
            } else {
                const uint8_t* p = pixels.data() + row + size_t(x) * 4;
                rgb = layout.lsbFirstBytes ? uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16
                                           : uint32_t(p[3]) | uint32_t(p[2]) << 8 | uint32_t(p[1]) << 16;
            }
            const bool opaque = !masked || bit(mask, maskStride * size_t(y), x, layout.lsbFirstBits);
            line[x] = opaque ? 0xff000000u | rgb : 0u;
        }
    }
    return image;
}

} // namespace wharf
