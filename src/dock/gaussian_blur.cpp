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

// One pass along rows (`horizontal`) or columns, reading `in` and writing `out`;
// both hold 4 floats per pixel.
void blurPass(const std::vector<float>& in, std::vector<float>& out, int width, int height,
              const std::vector<float>& weights, bool horizontal)
{
    const int radius = int(weights.size() / 2);
    const int lines = horizontal ? height : width;
    const int length = horizontal ? width : height;
    const int step = horizontal ? 4 : 4 * width;
    for (int line = 0; line < lines; ++line) {
        const int base = horizontal ? line * width * 4 : line * 4;
        for (int i = 0; i < length; ++i) {
            float acc[4] = {0, 0, 0, 0};
            const int from = std::max(0, i - radius);
            const int to = std::min(length - 1, i + radius);
            for (int j = from; j <= to; ++j) {
                const float w = weights[j - i + radius];
                const float* p = &in[base + j * step];
                acc[0] += w * p[0];
                acc[1] += w * p[1];
                acc[2] += w * p[2];
                acc[3] += w * p[3];
            }
            float* q = &out[base + i * step];
            std::copy(acc, acc + 4, q);
        }
    }
}

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
    if (sigma > 0) {
        std::vector<float> b(a.size());
        const auto weights = kernel(sigma);
        blurPass(a, b, width, height, weights, true);
        blurPass(b, a, width, height, weights, false);
    }
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(result.scanLine(y));
        const float* in = &a[size_t(y) * width * 4];
        for (int x = 0; x < width; ++x) {
            const auto clamp = [](float v) { return std::clamp(int(std::lround(v)), 0, 255); };
            const int alpha = clamp(in[4 * x + 3]);
            // Premultiplied colour never exceeds alpha; rounding could push it over.
            row[x] = qRgba(std::min(clamp(in[4 * x]), alpha), std::min(clamp(in[4 * x + 1]), alpha),
                           std::min(clamp(in[4 * x + 2]), alpha), alpha);
        }
    }
    return result;
}

} // namespace wharf
