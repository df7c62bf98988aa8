#include "dock/gaussian_blur.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace wharf {

namespace {

std::vector<float> kernel(double sigma)
{
    const int radius = std::max(1, int(std::ceil(3 * sigma)));
    std::vector<float> weights(2 * radius + 1);
    double sum = 0;
    for (int i = -radius; i <= radius; ++i) {
        const double w = std::exp(-(i * i) / (2 * sigma * sigma));
        weights[i + radius] = float(w);
        sum += w;
    }
    for (auto& w : weights)
        w = float(w / sum);
    return weights;
}

// Both passes run over whole rows of `channels` interleaved floats, each weight applied to a row
// at a time: contiguous loops the compiler turns into vector code.
template <int channels>
void blur(std::vector<float>& plane, int width, int height, double sigma)
{
    if (sigma <= 0)
        return;
    const auto weights = kernel(sigma);
    const int radius = int(weights.size() / 2);
    const int row = width * channels;

    // Along rows, through a copy of each row with clear pixels beyond both ends.
    std::vector<float> padded(size_t(row + 2 * radius * channels), 0.f);
    for (int y = 0; y < height; ++y) {
        float* line = &plane[size_t(y) * row];
        std::copy(line, line + row, padded.begin() + radius * channels);
        std::fill(line, line + row, 0.f);
        for (int k = 0; k < int(weights.size()); ++k) {
            const float w = weights[size_t(k)];
            const float* in = &padded[size_t(k) * channels];
            for (int i = 0; i < row; ++i)
                line[i] += w * in[i];
        }
    }

    // Along columns: each output row gathers the rows around it.
    std::vector<float> out(plane.size(), 0.f);
    for (int y = 0; y < height; ++y) {
        float* line = &out[size_t(y) * row];
        for (int y2 = std::max(0, y - radius); y2 <= std::min(height - 1, y + radius); ++y2) {
            const float w = weights[size_t(y2 - y + radius)];
            const float* in = &plane[size_t(y2) * row];
            for (int i = 0; i < row; ++i)
                line[i] += w * in[i];
        }
    }
    plane.swap(out);
}

int toByte(float v) { return std::clamp(int(v + 0.5f), 0, 255); }

} // namespace

int blurMargin(double sigma) { return std::max(1, int(std::ceil(3 * sigma))); }

QImage gaussianBlur(const QImage& source, double sigma, int margin)
{
    const QImage src = source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const int width = src.width() + 2 * margin;
    const int height = src.height() + 2 * margin;
    QImage result(width, height, QImage::Format_ARGB32_Premultiplied);
    result.setDevicePixelRatio(source.devicePixelRatio());
    if (width <= 0 || height <= 0)
        return result;

    std::vector<float> a(size_t(width) * height * 4, 0.f);
    for (int y = 0; y < src.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(src.constScanLine(y));
        float* out = &a[(size_t(y + margin) * width + margin) * 4];
        for (int x = 0; x < src.width(); ++x) {
            out[4 * x + 0] = float(qRed(row[x]));
            out[4 * x + 1] = float(qGreen(row[x]));
            out[4 * x + 2] = float(qBlue(row[x]));
            out[4 * x + 3] = float(qAlpha(row[x]));
        }
    }
    blur<4>(a, width, height, sigma);
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(result.scanLine(y));
        const float* in = &a[size_t(y) * width * 4];
        for (int x = 0; x < width; ++x) {
            const int alpha = toByte(in[4 * x + 3]);
            // Premultiplied colour never exceeds alpha; rounding could push it over.
            row[x] = qRgba(std::min(toByte(in[4 * x]), alpha), std::min(toByte(in[4 * x + 1]), alpha),
                           std::min(toByte(in[4 * x + 2]), alpha), alpha);
        }
    }
    return result;
}

QImage blurredShadow(const QImage& source, double sigma, const QColor& color)
{
    const QImage src = source.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const int width = src.width();
    const int height = src.height();
    QImage result(width, height, QImage::Format_ARGB32_Premultiplied);
    result.setDevicePixelRatio(source.devicePixelRatio());
    if (width <= 0 || height <= 0)
        return result;
    // A shadow has one colour: only the coverage is blurred, a quarter of the work.
    std::vector<float> alpha(size_t(width) * height);
    for (int y = 0; y < height; ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(src.constScanLine(y));
        for (int x = 0; x < width; ++x)
            alpha[size_t(y) * width + x] = float(qAlpha(row[x]));
    }
    blur<1>(alpha, width, height, sigma);
    const QRgb tint = qPremultiply(color.rgba());
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(result.scanLine(y));
        const float* in = &alpha[size_t(y) * width];
        for (int x = 0; x < width; ++x) {
            const int a = toByte(in[x]);
            const auto scaled = [a](int channel) { return (channel * a + 127) / 255; };
            row[x] = qRgba(scaled(qRed(tint)), scaled(qGreen(tint)), scaled(qBlue(tint)), scaled(qAlpha(tint)));
        }
    }
    return result;
}

} // namespace wharf
