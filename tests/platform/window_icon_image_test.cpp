#include "platform/x11/window_icon_image.h"

#include <gtest/gtest.h>

namespace wharf {
namespace {

// A _NET_WM_ICON image: width, height, then every pixel the same colour.
std::vector<uint32_t> icon(uint32_t width, uint32_t height, uint32_t argb)
{
    std::vector<uint32_t> words{width, height};
    words.insert(words.end(), size_t(width) * height, argb);
    return words;
}

std::vector<uint32_t> operator+(std::vector<uint32_t> a, const std::vector<uint32_t>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(NetWmIcon, KeepsWholeImagesWithTheirAlphaAndNeverReadsPastTheEnd)
{
    const struct {
        const char* name;
        std::vector<uint32_t> words;
        std::vector<QSize> expected;
    } rows[] = {
        {"empty", {}, {}},
        {"header only", {16}, {}},
        {"several", icon(2, 2, 1) + icon(4, 3, 2), {QSize(2, 2), QSize(4, 3)}},
        {"truncated last image", icon(2, 2, 1) + std::vector<uint32_t>{8, 8, 5, 5}, {QSize(2, 2)}},
        {"zero size skipped", std::vector<uint32_t>{0, 0} + icon(3, 3, 1), {QSize(3, 3)}},
        {"zero width with a height skipped", std::vector<uint32_t>{0, 500} + icon(1, 1, 1), {QSize(1, 1)}},
        {"oversized skipped, next kept", icon(65, 1, 1) + icon(2, 2, 1), {QSize(2, 2)}},
        {"size larger than the property", std::vector<uint32_t>{0xffffffffu, 0xffffffffu, 1, 2}, {}},
    };
    for (const auto& row : rows) {
        // Copied into a buffer of exactly the given size, so a read past it is a read past the heap block.
        const auto buffer = std::make_unique<uint32_t[]>(std::max<size_t>(row.words.size(), 1));
        std::copy(row.words.begin(), row.words.end(), buffer.get());
        std::vector<QSize> sizes;
        for (const QImage& image : parseNetWmIcon(row.words.empty() ? nullptr : buffer.get(), row.words.size(), 64))
            sizes.push_back(image.size());
        EXPECT_EQ(sizes, row.expected) << row.name;
    }

    const auto words = icon(1, 1, 0x80ff0000u);
    const auto images = parseNetWmIcon(words.data(), words.size());
    ASSERT_EQ(images.size(), 1u);
    EXPECT_EQ(images[0].pixel(0, 0), 0x80ff0000u);
}

TEST(NetWmIcon, BestImageIsTheSmallestLargeEnoughElseTheLargest)
{
    const std::vector<QImage> images{QImage(16, 16, QImage::Format_ARGB32), QImage(128, 128, QImage::Format_ARGB32),
                                     QImage(48, 48, QImage::Format_ARGB32)};
    EXPECT_EQ(bestImage(images, 32).width(), 48);
    EXPECT_EQ(bestImage(images, 48).width(), 48);
    EXPECT_EQ(bestImage(images, 256).width(), 128);
    EXPECT_TRUE(bestImage({}, 32).isNull());
}

// A bitmap with its mask, as old clients set them, is drawn by the workspace end-to-end test.
TEST(PixmapIcon, OtherBitOrdersDeepPixmapsAndShortData)
{
    // 3x2 bitmap, rows padded to 32 bits: row 0 = 1 0 1, row 1 = 0 1 0.
    const std::vector<uint8_t> bits{0b101, 0, 0, 0, 0b010, 0, 0, 0};
    const ImageLayout layout;
    ImageLayout msb = layout;
    msb.lsbFirstBits = false;
    EXPECT_EQ(imageFromPixmapData({0b10000000, 0, 0, 0}, 1, {}, 1, 1, msb).pixel(0, 0), 0xff000000u);

    // A 24-bit pixmap in 32-bit pixels, blue green red padding.
    EXPECT_EQ(imageFromPixmapData({0x30, 0x20, 0x10, 0x00}, 24, {}, 1, 1, layout).pixel(0, 0), 0xff102030u);

    EXPECT_TRUE(imageFromPixmapData({0b101, 0, 0}, 1, {}, 3, 2, layout).isNull()) << "short pixel data";
    EXPECT_TRUE(imageFromPixmapData(bits, 1, {0, 0}, 3, 2, layout).isNull()) << "short mask";
}

} // namespace
} // namespace wharf
