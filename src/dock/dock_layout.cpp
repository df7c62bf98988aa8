#include "dock/dock_layout.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace wharf {

namespace {

constexpr double gapRatio = 0.09;
constexpr double separatorRatio = 0.36;
constexpr double minimumSeparatorGap = 8;
constexpr double insetRatio = 0.3;
constexpr double bothInsetsRatio = 0.6;
constexpr double baselineRatio = 0.42;
constexpr double baselineOffset = 4;
constexpr double shelfRatio = 0.48;
constexpr double shelfBottom = 5;
constexpr double margin = 16;

bool hasSeparator(int count, std::optional<int> separatorIndex)
{
    return separatorIndex && *separatorIndex >= 1 && *separatorIndex < count;
}

double baselineFor(double iconSize)
{
    return std::isfinite(iconSize) ? baselineRatio * std::max(iconSize, 0.0) + baselineOffset
                                   : DockLayout::fallbackBaseline;
}

bool allFinite(const std::vector<QRectF>& frames)
{
    return std::all_of(frames.begin(), frames.end(), [](const QRectF& r) {
        return std::isfinite(r.x()) && std::isfinite(r.y()) && std::isfinite(r.width())
            && std::isfinite(r.height());
    });
}

} // namespace

double DockLayout::preferredWidth(int count, double iconSize, std::optional<int> separatorIndex)
{
    if (count < 1)
        return 0;
    const double s = std::isfinite(iconSize) ? std::max(iconSize, 0.0) : fallbackIconSize;
    const double n = count;
    if (!hasSeparator(count, separatorIndex))
        return s * (n + gapRatio * (n - 1) + bothInsetsRatio);
    return s * (n + gapRatio * (n - 2) + bothInsetsRatio)
        + std::max(separatorRatio * s, minimumSeparatorGap);
}

double DockLayout::iconSize(int count, double dockWidth, std::optional<int> separatorIndex)
{
    if (count < 1 || !std::isfinite(dockWidth) || dockWidth <= 0)
        return 0;
    const bool separator = hasSeparator(count, separatorIndex);
    const double gaps = std::max(separator ? count - 2 : count - 1, 0);
    const double d = count + gapRatio * gaps + bothInsetsRatio;
    if (!separator)
        return dockWidth / d;
    const double s = dockWidth / (d + separatorRatio);
    if (separatorRatio * s >= minimumSeparatorGap)
        return s;
    return std::max((dockWidth - minimumSeparatorGap) / d, 0.0);
}

std::vector<QRectF> DockLayout::frames(int count, double availableWidth, double baseSize,
                                       double magnification, std::optional<double> pointerX,
                                       double influence, std::optional<double> dockWidth,
                                       std::optional<int> separatorIndex)
{
    if (count < 1 || !std::isfinite(availableWidth) || availableWidth <= margin)
        return {};
    const bool separator = hasSeparator(count, separatorIndex);
    if (!separator)
        separatorIndex.reset();

    const double minWidth = preferredWidth(count, minimumIconSize, separatorIndex);
    const double maxWidth = preferredWidth(count, maximumIconSize, separatorIndex);
    double target = 0;
    if (dockWidth && std::isfinite(*dockWidth)) {
        target = *dockWidth;
    } else {
        const double base = std::isfinite(baseSize) ? baseSize : fallbackIconSize;
        target = preferredWidth(count, std::clamp(base, minimumIconSize, maximumIconSize),
                                separatorIndex);
    }
    const double width = std::min(std::min(std::max(target, minWidth), maxWidth),
                                  availableWidth - margin);

    // A dock too narrow for the smallest icons keeps its proportions and scales down as a whole.
    double ratio = width / minWidth;
    double unscaledEdge = minimumIconSize;
    double s = 0;
    if (ratio >= 1) {
        s = iconSize(count, width, separatorIndex);
        unscaledEdge = s;
        ratio = 1;
    } else {
        s = minimumIconSize * ratio;
    }

    std::vector<double> gaps(static_cast<size_t>(count - 1));
    double gapSum = 0;
    for (int i = 0; i < count - 1; ++i) {
        const bool atSeparator = separator && i == *separatorIndex - 1;
        gaps[size_t(i)] = atSeparator
            ? ratio * std::max(separatorRatio * unscaledEdge, minimumSeparatorGap)
            : gapRatio * s;
        gapSum += gaps[size_t(i)];
    }

    std::vector<double> edges(static_cast<size_t>(count), s);
    if (pointerX && std::isfinite(*pointerX)) {
        const double extra = std::isfinite(magnification) ? std::max(magnification, 1.0) - 1 : 0;
        const double radius = std::isfinite(influence) ? std::max(influence, 1.0)
                                                       : DockLayout::influence;
        double x = (availableWidth - (count * s + gapSum)) / 2;
        for (int i = 0; i < count; ++i) {
            const double distance = std::abs(*pointerX - (x + s / 2));
            if (distance < radius)
                edges[size_t(i)] =
                    s * (1 + extra * (1 + std::cos(std::numbers::pi * distance / radius)) / 2);
            if (i < count - 1)
                x += s + gaps[size_t(i)];
        }
    }

    double edgeSum = 0;
    for (double edge : edges)
        edgeSum += edge;
    const double inset = insetRatio * s;
    const double fit = std::min((availableWidth - margin - 2 * inset) / (gapSum + edgeSum), 1.0);
    if (!std::isfinite(fit) || fit <= 0)
        return {};

    const double y = baselineFor(s);
    std::vector<QRectF> result;
    result.reserve(size_t(count));
    double x = (availableWidth - (fit * gapSum + fit * edgeSum)) / 2;
    for (int i = 0; i < count; ++i) {
        const double edge = fit * edges[size_t(i)];
        result.emplace_back(x, y, edge, edge);
        x += edge + (i < count - 1 ? fit * gaps[size_t(i)] : 0);
    }
    // Widths near the double range overflow; an empty layout is safer than NaN tiles.
    if (!allFinite(result))
        return {};
    return result;
}

DockLayout::Metrics DockLayout::metrics(const std::vector<QRectF>& frames)
{
    if (frames.empty() || !std::isfinite(frames.front().top()))
        return {};
    // QRectF::top() is the minimum y, which is the baseline in y-up coordinates.
    const double b = frames.front().top();
    const double s = std::max((b - baselineOffset) / baselineRatio, 0.0);
    return {s,
            b,
            shelfBottom,
            b + shelfRatio * s,
            insetRatio * s,
            gapRatio * s,
            std::max(separatorRatio * s, minimumSeparatorGap)};
}

double DockLayout::restingContentHeight(const std::vector<QRectF>& frames, double backingScale)
{
    if (frames.empty() || !std::isfinite(frames.front().top()))
        return 0;
    const Metrics m = metrics(frames);
    const double h = std::max(m.baseline + m.iconSize, m.shelfTop);
    const double scale =
        std::isfinite(backingScale) && backingScale > 0 ? backingScale : 1.0;
    if (!std::isfinite(h) || h <= 0 || !std::isfinite(h * scale))
        return 0;
    return std::ceil(h * scale) / scale;
}

QRectF DockLayout::shelfFrame(const std::vector<QRectF>& frames)
{
    if (frames.empty() || !allFinite({frames.front(), frames.back()}))
        return {};
    const Metrics m = metrics(frames);
    const double left = frames.front().left();
    return {left - m.edgeInset, m.shelfBottom,
            (frames.back().right() - left) + 2 * m.edgeInset,
            std::max(m.shelfTop - m.shelfBottom, 0.0)};
}

std::optional<int> DockLayout::separatorIndex(const std::vector<bool>& isApplication)
{
    for (size_t i = 1; i < isApplication.size(); ++i) {
        if (isApplication[i - 1] && !isApplication[i])
            return int(i);
    }
    return std::nullopt;
}

DockLayout::DockWidth DockLayout::preferredDockWidth(int count, double boundsWidth,
                                                     double restingIconSize,
                                                     double dockWidthFraction,
                                                     std::optional<int> separatorIndex)
{
    DockWidth result;
    double size = std::isfinite(restingIconSize) ? restingIconSize : 0;
    if (size <= 0 && count > 0) {
        const double derived = iconSize(count, boundsWidth * dockWidthFraction, separatorIndex);
        size = std::clamp(std::isfinite(derived) ? derived : 0.0, minimumIconSize,
                          maximumIconSize);
        result.derivedRestingIconSize = size;
    }
    result.width = preferredWidth(count, size, separatorIndex);
    return result;
}

double DockLayout::actualWidthFraction(int count, double boundsWidth, double preferredDockWidth,
                                       std::optional<int> separatorIndex)
{
    const double bounds = std::isfinite(boundsWidth) ? boundsWidth : 0;
    const double w = std::max(bounds, 1.0);
    const double lower =
        std::min(preferredWidth(count, minimumIconSize, separatorIndex) / w, maximumWidthFraction);
    const double upper = std::max(
        lower,
        std::min(preferredWidth(count, maximumIconSize, separatorIndex) / w, maximumWidthFraction));
    double value = bounds < 1 ? preferredDockWidth : preferredDockWidth / bounds;
    if (!std::isfinite(value))
        value = lower;
    return std::clamp(value, lower, upper);
}

double DockLayout::widthFractionForDockWidth(int count, double boundsWidth, double requestedWidth,
                                             std::optional<int> separatorIndex)
{
    const double bounds = std::isfinite(boundsWidth) ? boundsWidth : 0;
    const double lower = std::min(preferredWidth(count, minimumIconSize, separatorIndex),
                                  maximumWidthFraction * bounds);
    const double upper = std::min(preferredWidth(count, maximumIconSize, separatorIndex),
                                  maximumWidthFraction * bounds);
    const double requested = std::isfinite(requestedWidth) ? requestedWidth : lower;
    const double clamped = std::min(std::max(requested, lower), upper);
    return clamped / std::max(bounds, 1.0);
}

std::vector<QRectF> DockLayout::restingFrames(int count, double boundsWidth, double baseSize,
                                              double preferredDockWidth,
                                              std::optional<int> separatorIndex)
{
    return frames(count, boundsWidth, baseSize, 1.0, std::nullopt, influence, preferredDockWidth,
                  separatorIndex);
}

double DockLayout::hideDistance(const std::vector<QRectF>& frames, double magnification)
{
    const Metrics m = metrics(frames);
    const bool finite = std::isfinite(m.iconSize) && (frames.empty() || std::isfinite(frames.front().top()));
    const double s = finite ? m.iconSize : fallbackIconSize;
    const double baseline = finite ? m.baseline : fallbackBaseline;
    const double factor = std::isfinite(magnification) ? magnification : 1.0;
    return baseline + s * factor + 20;
}

} // namespace wharf
