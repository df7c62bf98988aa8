#include "dock/dock_view_renderer.h"

#include "dock/device_pixel_blit.h"
#include "dock/dock_geometry.h"
#include "dock/gaussian_blur.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPixmapCache>

#include <algorithm>
#include <cmath>
#include <limits>

namespace wharf {

namespace {

constexpr double shelfShadowSigma = 9.0 / 2;   // a shadow's blur radius spans about two sigmas
constexpr double shelfShadowOffset = 3;
constexpr double tileShadowSigma = 3.0 / 2;
constexpr double tileShadowOffset = 2;
constexpr int reflectionSide = 128;
constexpr int reflectionRows = 29;                      // of 64: the reflection is gone 58 points from the base
constexpr double reflectionVisible = reflectionRows / 64.0;

QColor white(double level, double alpha) { return QColor::fromRgbF(float(level), float(level), float(level), float(alpha)); }
QColor rgba(double r, double g, double b, double a) { return QColor::fromRgbF(float(r), float(g), float(b), float(a)); }

double lipHeight(double iconSize) { return std::min(std::max(0.075 * iconSize, 2.0), 4.0); }

QImage transparentImage(int width, int height, double dpr)
{
    QImage image(std::max(width, 1), std::max(height, 1), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(dpr);
    return image;
}

// Snaps a logical coordinate to the device pixel grid.
double snap(double value, double dpr) { return std::round(value * dpr) / dpr; }

// Device pixels of shadow around an icon in its cached image.
int tilePad(double dpr) { return blurMargin(tileShadowSigma * dpr) + int(std::ceil(tileShadowOffset * dpr)); }

// The shelf's images: device pixels of margin around the outline, and of each end slice.
struct ShelfSlices {
    int pad = 0;
    int cap = 0;
};
ShelfSlices shelfSlices(const DockLayout::Metrics& m, double dpr)
{
    const int pad = int(std::ceil((blurMargin(shelfShadowSigma) + shelfShadowOffset) * dpr));
    return {pad, pad + int(std::ceil((1.2 * m.edgeInset + 2 * blurMargin(shelfShadowSigma) + 1) * dpr))};
}
constexpr int shelfMiddle = 256; // device pixels of the uniform middle slice

// The rows of the shelf's images: the layout y of their top edge, and how many device pixels.
struct ShelfRows {
    double top = 0;
    int height = 0;
};
ShelfRows shelfImageRows(const DockLayout::Metrics& m, double dpr)
{
    const double margin = blurMargin(shelfShadowSigma);
    const double top = m.shelfTop + margin;
    const double bottom = m.shelfBottom - lipHeight(m.iconSize) - 1 - shelfShadowOffset - margin;
    return {top, std::max(int(std::ceil((top - bottom) * dpr)), 1)};
}

// What the separator's two lines from (x - w, top) to (x + w, bottom), one pixel apart, may touch.
QRectF separatorBox(double x, double w, double top, double bottom)
{
    return QRectF(x - w - 2, top - 2, 2 * w + 5, bottom - top + 4);
}

// A running indicator: the dot's height and blur margin for an icon size.
struct IndicatorShape {
    double height = 0;
    int margin = 0;
};
IndicatorShape indicatorShape(double iconSize, bool dark)
{
    return {std::min(0.65 * lipHeight(iconSize), 2.5), blurMargin(dark ? 1.0 : 3.0)};
}

} // namespace

DockViewRenderer::DockViewRenderer()
{
    // Icon engines keep their own copy of every size they render in the process-wide
    // pixmap cache; the dock keeps what it needs itself, so that copy is mostly waste.
    QPixmapCache::setCacheLimit(std::min(QPixmapCache::cacheLimit(), 2048));
}

size_t qHash(const DockViewRenderer::TileKey& key, size_t seed)
{
    return qHashMulti(seed, key.icon, key.pixels, key.window);
}

size_t qHash(const DockViewRenderer::ReflectionKey& key, size_t seed)
{
    return qHashMulti(seed, key.icon, key.pixels, key.dark);
}

int DockViewRenderer::sizeStep(double devicePixels, bool exact, double dpr)
{
    if (!std::isfinite(devicePixels) || devicePixels < 1)
        return 1;
    // Far beyond any real icon; keeps an absurd stored magnification from allocating giant images.
    constexpr int largest = 1024;
    if (devicePixels > largest)
        return largest;
    if (exact)
        return int(std::lround(devicePixels));
    // Six points apart: a size between two steps is scaled down from the larger one by the same
    // share at any scale, and a screen of twice the density keeps twice, not four times, the bytes.
    const int step = std::max(1, int(std::lround(6 * dpr)));
    return int(std::ceil(devicePixels / step)) * step;
}

void DockViewRenderer::dropReflection(const QString& identifier)
{
    const auto found = reflections.constFind(identifier);
    if (found == reflections.constEnd())
        return;
    const qint64 icon = found->icon;
    reflections.erase(found);
    scaledReflections.removeIf([icon](const ReflectionKey& key) { return key.icon == icon; });
}

bool DockViewRenderer::hasReflection(const QString& identifier) const { return reflections.contains(identifier); }

void DockViewRenderer::clearCaches()
{
    tileCache.clear();
    betweenTiles.clear();
    iconArt.clear();
    scaledReflections.clear();
    reflections.clear();
    shelfCache = Shelf{};
    separatorCache = {};
    indicators.clear();
}

// --- Tiles ---

const QImage& DockViewRenderer::tileImage(const DockEntry& entry, int pixels, double dpr)
{
    const QIcon& icon = entry.icon();
    const bool window = entry.kind() == DockEntry::Kind::window;
    const TileKey key{icon.cacheKey(), pixels, window};
    if (const QImage* cached = tileCache.object(key))
        return *cached;

    ++stats.iconRenders;
    QImage image;
    if (window) {
        // A miniature window: a light card with a title bar and the program's icon.
        image = transparentImage(pixels, pixels, dpr);
        const double side = pixels / dpr;
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        const QRectF card(2, 0.12 * side, side - 4, side - 0.24 * side);
        QPainterPath path;
        path.addRoundedRect(card, 4, 4);
        p.fillPath(path, white(0.92, 1));
        p.setClipPath(path);
        p.fillRect(QRectF(card.x(), card.y(), card.width(), 9), white(0.63, 1));
        p.setClipping(false);
        const int iconPixels = std::max(1, int(std::lround(0.48 * pixels)));
        const QPixmap pm = icon.pixmap(QSize(iconPixels, iconPixels), 1.0);
        // The icon sits 0.2 of the height above the bottom edge.
        p.drawPixmap(QRectF(0.26 * side, side - 0.2 * side - 0.48 * side, 0.48 * side, 0.48 * side), pm,
                     QRectF(pm.rect()));
    } else {
        const int pad = tilePad(dpr);
        QImage art = transparentImage(pixels + 2 * pad, pixels + 2 * pad, 1);
        const QPixmap pm = icon.pixmap(QSize(pixels, pixels), 1.0);
        if (!pm.isNull()) {
            QPainter p(&art);
            p.setRenderHint(QPainter::SmoothPixmapTransform);
            // Themes without a large enough size give a smaller pixmap: centre it, scaled to fit.
            const QSizeF fitted = QSizeF(pm.size()).scaled(QSizeF(pixels, pixels), Qt::KeepAspectRatio);
            p.drawPixmap(QRectF(pad + (pixels - fitted.width()) / 2, pad + (pixels - fitted.height()) / 2,
                                fitted.width(), fitted.height()),
                         pm, QRectF(pm.rect()));
        }
        if (!pm.isNull()) {
            // Kept only until the icon's reflection is made from it.
            if (iconArt.size() > 64)
                iconArt.clear();
            if (!reflections.contains(entry.identifier()))
                iconArt.insert(key.icon, pm.toImage());
        }
        const QImage shadow = blurredShadow(art, tileShadowSigma * dpr, QColor(0, 0, 0, 97));
        image = transparentImage(art.width(), art.height(), 1);
        {
            QPainter p(&image);
            p.drawImage(QPointF(0, std::round(tileShadowOffset * dpr)), shadow);
            p.drawImage(QPointF(0, 0), art);
        }
        image.setDevicePixelRatio(dpr);
    }
    lastTile = image;
    tileCache.insert(key, new QImage(std::move(image)), std::max(1, int(lastTile.sizeInBytes() / 1024)));
    // An image larger than the whole cache is not kept; the copy serves this one draw.
    if (const QImage* cached = tileCache.object(key))
        return *cached;
    return lastTile;
}

const QImage& DockViewRenderer::betweenTileImage(const DockEntry& entry, int pixels, double dpr)
{
    const TileKey key{entry.icon().cacheKey(), pixels, entry.kind() == DockEntry::Kind::window};
    if (const QImage* cached = betweenTiles.find(key, paintTime))
        return *cached;
    ++stats.betweenRenders;
    const int step = sizeStep(pixels, false, dpr);
    const QImage& source = tileImage(entry, step, dpr);
    // The icon part of the step's image lands on the icon part of this one; its shadow margin
    // shrinks with it and stays inside.
    const int pad = key.window ? 0 : tilePad(dpr);
    const double k = double(pixels) / step;
    QImage image = transparentImage(pixels + 2 * pad, pixels + 2 * pad, 1);
    {
        QPainter p(&image);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        const double side = (step + 2 * pad) * k;
        p.drawImage(QRectF(pad * (1 - k), pad * (1 - k), side, side), source);
    }
    image.setDevicePixelRatio(dpr);
    if (const QImage* kept = betweenTiles.insert(key, image, paintTime))
        return *kept;
    lastTile = std::move(image);
    return lastTile;
}

int DockViewRenderer::tilePixels(double frameWidth, const Scene& scene, bool exact)
{
    const double pixels = frameWidth * scene.devicePixelRatio;
    // Most icons of a moving row keep their resting size: they share one exact image.
    const double resting = scene.restingIconSize * scene.devicePixelRatio;
    if (!exact && std::abs(pixels - resting) < 1)
        return sizeStep(resting, true, scene.devicePixelRatio);
    return sizeStep(pixels, true, scene.devicePixelRatio);
}

bool DockViewRenderer::rendersExactly(int pixels, const Scene& scene, bool exact)
{
    return exact || pixels == sizeStep(pixels, false, scene.devicePixelRatio)
        || pixels == sizeStep(scene.restingIconSize * scene.devicePixelRatio, true, scene.devicePixelRatio);
}

DockViewRenderer::Placement DockViewRenderer::tilePlacement(const Tile& tile, const Scene& scene, bool exact)
{
    const double dpr = scene.devicePixelRatio;
    const QRectF target = toWidgetRect(tile.frame, scene.viewSize.height());
    const int pixels = tilePixels(tile.frame.width(), scene, exact);
    const int padPixels = tile.entry->kind() == DockEntry::Kind::window ? 0 : tilePad(dpr);
    const double pad = padPixels / dpr;
    const double side = (pixels + 2 * padPixels) / dpr; // the cached image, shadow included
    if (std::abs(pixels - target.width() * dpr) < 1) {
        // Within a pixel of the cached size: an unscaled blit, centred on the frame.
        const QPointF centre = target.center();
        const double icon = pixels / dpr;
        return {pixels, true,
                QRectF(snap(centre.x() - icon / 2, dpr) - pad, snap(centre.y() - icon / 2, dpr) - pad, side, side)};
    }
    // Between size steps while moving: the next larger step, scaled down a little.
    const double k = target.width() * dpr / pixels;
    return {pixels, false, QRectF(target.x() - pad * k, target.y() - pad * k, side * k, side * k)};
}

DockViewRenderer::Placement DockViewRenderer::reflectionPlacement(const Tile& tile, const Scene& scene)
{
    const double dpr = scene.devicePixelRatio;
    const QRectF& frame = tile.reflectionFrame;
    const QRectF mirrored(frame.x(), frame.y() - 2 - frame.height(), frame.width(), frame.height());
    QRectF target = toWidgetRect(mirrored.translated(0, -scene.offset), scene.viewSize.height());
    target.setHeight(target.width() * reflectionVisible);
    const int pixels = tilePixels(frame.width(), scene, scene.settled);
    if (std::abs(pixels - target.width() * dpr) < 1) {
        const double side = pixels / dpr;
        return {pixels, true,
                QRectF(snap(target.center().x() - side / 2, dpr), snap(target.y(), dpr), side,
                       std::ceil(pixels * reflectionVisible) / dpr)};
    }
    return {pixels, false, target};
}

QPointF DockViewRenderer::indicatorPlacement(const Tile& tile, const Scene& scene, const DockLayout::Metrics& metrics)
{
    const double dpr = scene.devicePixelRatio;
    const auto shape = indicatorShape(metrics.iconSize, scene.dark);
    const double dotMargin = (std::ceil((6 + 2 * shape.margin) * dpr) / dpr - 6) / 2;
    const QRectF oval(tile.frame.center().x() - 3, metrics.shelfBottom - lipHeight(metrics.iconSize) / 2 - 1, 6,
                      shape.height);
    const QRectF target = toWidgetRect(oval.translated(0, -scene.offset), scene.viewSize.height());
    return {snap(target.x() - dotMargin, dpr), snap(target.y() - dotMargin, dpr)};
}

void DockViewRenderer::drawTile(QPainter& painter, const Tile& tile, const Scene& scene, bool exact,
                                const QRectF& area)
{
    if (tile.alpha <= 0 || tile.frame.width() <= 0 || !tile.entry)
        return;
    const double dpr = scene.devicePixelRatio;
    const Placement placed = tilePlacement(tile, scene, exact);
    const QRectF highlight = tile.dropTarget ? toWidgetRect(tile.frame, scene.viewSize.height()).adjusted(-3, -3, 3, 3)
                                             : QRectF();
    if (!area.isEmpty() && !area.intersects(placed.rect) && !area.intersects(highlight))
        return;
    const QImage& image = rendersExactly(placed.pixels, scene, exact) || !placed.exact
        ? tileImage(*tile.entry, placed.pixels, dpr)
        : betweenTileImage(*tile.entry, placed.pixels, dpr);

    if (tile.dropTarget) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 255, 255, 90));
        painter.drawRoundedRect(highlight, 8, 8);
        painter.setRenderHint(QPainter::Antialiasing, false);
    }
    if (tile.alpha < 1)
        painter.setOpacity(tile.alpha);
    if (placed.exact) {
        blitUnscaled(painter, placed.rect.topLeft(), image);
    } else {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(placed.rect, image);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
    }
    if (tile.alpha < 1)
        painter.setOpacity(1);
}

// --- Reflections ---

const QImage* DockViewRenderer::reflectionImage(const DockEntry& entry, int pixels, bool dark, int tilePixels)
{
    const QIcon& icon = entry.icon();
    const ReflectionKey key{icon.cacheKey(), pixels, dark};
    if (const QImage* cached = scaledReflections.find(key, paintTime))
        return cached;
    const QString id = entry.identifier();
    auto found = reflections.find(id);
    if (found == reflections.end()) {
        // The blurs run at half size, where the result looks the same at a fraction of the
        // cost; the icon drawn for the tile serves as the source, so no second icon render.
        constexpr int half = reflectionSide / 2;
        // Rendering the tile keeps its icon's art for this.
        if (tilePixels > 0)
            tileImage(entry, tilePixels, cacheScale > 0 ? cacheScale : 1);
        QImage source = iconArt.take(icon.cacheKey());
        if (source.isNull()) {
            const QPixmap pm = icon.pixmap(QSize(half, half), 1.0);
            if (pm.isNull())
                return nullptr; // nothing to reflect; tried again next time
            source = pm.toImage();
        }
        ++stats.reflectionRenders;
        QImage base = transparentImage(half, half, 1);
        {
            QPainter p(&base);
            p.setRenderHint(QPainter::SmoothPixmapTransform);
            const QSizeF fitted = QSizeF(source.size()).scaled(QSizeF(half, half), Qt::KeepAspectRatio);
            p.drawImage(QRectF((half - fitted.width()) / 2, half - fitted.height(), fitted.width(), fitted.height()),
                        source);
        }
        // Row 0 is the icon's base, where the reflection touches it.
        const QImage mirrored = base.mirrored(false, true);
        const QImage soft = gaussianBlur(mirrored, 5.0 / 2, 0);
        const QImage softer = gaussianBlur(mirrored, 12.0 / 2, 0);
        // Only the rows that do not fade out completely are kept.
        QImage result = transparentImage(half, reflectionRows, 1);
        for (int y = 0; y < reflectionRows; ++y) {
            // Sharper near the base and blurrier further away, fading out over 58 points of 128.
            const double blend = std::clamp(2 * y / 40.0, 0.0, 1.0);
            const double fade = std::clamp(1 - 2 * y / 58.0, 0.0, 1.0);
            const auto* a = reinterpret_cast<const QRgb*>(soft.constScanLine(y));
            const auto* b = reinterpret_cast<const QRgb*>(softer.constScanLine(y));
            auto* out = reinterpret_cast<QRgb*>(result.scanLine(y));
            for (int x = 0; x < half; ++x) {
                const auto mix = [&](int ca, int cb) {
                    return int(std::lround((ca * (1 - blend) + cb * blend) * fade));
                };
                out[x] = qRgba(mix(qRed(a[x]), qRed(b[x])), mix(qGreen(a[x]), qGreen(b[x])),
                               mix(qBlue(a[x]), qBlue(b[x])), mix(qAlpha(a[x]), qAlpha(b[x])));
            }
        }
        found = reflections.insert(id, Reflection{icon.cacheKey(), result});
    }

    const int rows = int(std::ceil(pixels * reflectionVisible));
    QImage scaled = transparentImage(pixels, rows, 1);
    {
        QPainter p(&scaled);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.setOpacity(dark ? 0.19 : 0.24);
        p.drawImage(QRectF(0, 0, pixels, pixels * reflectionVisible), found->image);
    }
    scaled.setDevicePixelRatio(cacheScale > 0 ? cacheScale : 1);
    if (const QImage* kept = scaledReflections.insert(key, scaled, paintTime))
        return kept;
    lastReflection = std::move(scaled);
    return &lastReflection;
}

// --- Shelf ---

const DockViewRenderer::Shelf& DockViewRenderer::shelf(const DockLayout::Metrics& m, double shelfWidth, double dpr,
                                                       bool dark)
{
    const auto [pad, cap] = shelfSlices(m, dpr);
    constexpr int middle = shelfMiddle;
    const int widthPixels = int(std::lround(shelfWidth * dpr));
    const bool sliced = widthPixels + 2 * pad >= 2 * cap + middle;
    const int exactWidth = sliced ? 0 : widthPixels;

    if (shelfCache.iconSize == m.iconSize && shelfCache.devicePixelRatio == dpr && shelfCache.dark == dark &&
        shelfCache.exactWidth == exactWidth && !shelfCache.under.isNull())
        return shelfCache;

    ++stats.shelfRenders;
    Shelf result;
    result.iconSize = m.iconSize;
    result.devicePixelRatio = dpr;
    result.dark = dark;
    result.exactWidth = exactWidth;
    result.pad = pad;
    result.cap = cap;

    const double lip = lipHeight(m.iconSize);
    const auto rows = shelfImageRows(m, dpr);
    result.top = rows.top;
    const int imageWidth = sliced ? 2 * cap + middle : widthPixels + 2 * pad;
    const int imageHeight = rows.height;
    const double width = sliced ? (imageWidth - 2 * pad) / dpr : shelfWidth;
    const double left = pad / dpr;
    const auto ly = [&](double layoutY) { return result.top - layoutY; };

    QPainterPath outline;
    outline.moveTo(left + 1.2 * m.edgeInset, ly(m.shelfTop));
    outline.lineTo(left + width - 1.2 * m.edgeInset, ly(m.shelfTop));
    outline.lineTo(left + width, ly(m.shelfBottom));
    outline.lineTo(left, ly(m.shelfBottom));
    outline.closeSubpath();

    // Under the reflections: the shadowed fill and the glass gradient.
    const QColor base = dark ? white(0.08, 0.66) : white(0.47, 0.58);
    QImage shadowShape = transparentImage(imageWidth, imageHeight, dpr);
    {
        QPainter p(&shadowShape);
        p.setRenderHint(QPainter::Antialiasing);
        p.fillPath(outline, QColor::fromRgbF(0, 0, 0, float(0.5 * base.alphaF())));
    }
    QImage shadow = blurredShadow(shadowShape, shelfShadowSigma * dpr, Qt::black);
    shadow.setDevicePixelRatio(dpr);
    result.under = transparentImage(imageWidth, imageHeight, dpr);
    {
        QPainter p(&result.under);
        p.setRenderHint(QPainter::Antialiasing);
        p.drawImage(QPointF(0, shelfShadowOffset), shadow);
        p.fillPath(outline, base);
        QLinearGradient glass(0, ly(m.shelfBottom), 0, ly(m.shelfTop));
        if (dark) {
            glass.setColorAt(0, rgba(0.23, 0.26, 0.30, 0.78));
            glass.setColorAt(0.45, rgba(0.12, 0.15, 0.18, 0.66));
            glass.setColorAt(1, rgba(0.22, 0.25, 0.28, 0.72));
        } else {
            glass.setColorAt(0, white(0.87, 0.76));
            glass.setColorAt(0.45, white(0.76, 0.64));
            glass.setColorAt(1, white(0.93, 0.68));
        }
        p.fillPath(outline, glass);
    }

    // Over the reflections: the frosting, the outline and the front lip.
    result.over = transparentImage(imageWidth, imageHeight, dpr);
    {
        QPainter p(&result.over);
        p.setRenderHint(QPainter::Antialiasing);
        p.setClipPath(outline);
        const double frostTop = std::max(m.baseline, m.shelfBottom + 1);
        QLinearGradient frost(0, ly(m.shelfBottom), 0, ly(frostTop));
        frost.setColorAt(0, dark ? white(0.4, 0.12) : white(0.8, 0.42));
        frost.setColorAt(1, Qt::transparent);
        p.fillRect(QRectF(left, ly(frostTop), width, frostTop - m.shelfBottom), frost);
        p.setClipping(false);
        p.setPen(QPen(dark ? white(1, 0.3) : white(1, 0.63), 0.65));
        p.drawPath(outline);

        QLinearGradient lipGradient(0, ly(m.shelfBottom - lip), 0, ly(m.shelfBottom));
        if (dark) {
            lipGradient.setColorAt(0, white(0.06, 0.85));
            lipGradient.setColorAt(0.5, white(0.24, 0.9));
            lipGradient.setColorAt(1, white(0.62, 0.95));
        } else {
            lipGradient.setColorAt(0, white(0.27, 0.85));
            lipGradient.setColorAt(0.5, white(0.78, 0.9));
            lipGradient.setColorAt(1, white(0.98, 0.95));
        }
        p.setRenderHint(QPainter::Antialiasing, false);
        p.fillRect(QRectF(left, ly(m.shelfBottom), width, lip), lipGradient);
        p.fillRect(QRectF(left, ly(m.shelfBottom - lip), width, 1), QColor::fromRgbF(0, 0, 0, 0.24f));
    }
    // Outside the band where reflections show, under and over are one layer.
    result.body = result.under;
    {
        QPainter p(&result.body);
        p.drawImage(QPointF(0, 0), result.over);
    }
    result.bandTop = std::clamp(int(std::floor((result.top - m.baseline) * dpr)), 0, imageHeight);
    result.bandBottom = std::clamp(int(std::ceil((result.top - m.shelfBottom) * dpr)), result.bandTop, imageHeight);
    shelfCache = std::move(result);
    return shelfCache;
}

void DockViewRenderer::drawShelfLayer(QPainter& painter, const Shelf& s, const QImage& layer, int firstRow,
                                      int endRow, const QRectF& shelfRect, double viewHeight, double dpr,
                                      const QRectF& area) const
{
    if (endRow <= firstRow)
        return;
    // Device-pixel placement keeps every slice an unscaled blit.
    const double x = std::round(shelfRect.x() * dpr) - s.pad;
    const double y = std::round((viewHeight - s.top) * dpr) + firstRow;
    const double width = std::round(shelfRect.width() * dpr) + 2 * s.pad;
    const int h = endRow - firstRow;
    // One slice at device x `left`, `w` device pixels of the layer from column `from`.
    const auto slice = [&](double left, double from, double w) {
        const QPointF at(left / dpr, y / dpr);
        if (area.isEmpty() || area.intersects(QRectF(at, QSizeF(w / dpr, h / dpr))))
            blitUnscaled(painter, at, layer, QRectF(from, firstRow, w, h));
    };
    if (s.exactWidth) {
        slice(x, 0, layer.width());
        return;
    }
    slice(x, 0, s.cap);
    slice(x + width - s.cap, layer.width() - s.cap, s.cap);
    const double middleWidth = width - 2 * s.cap;
    const int strip = layer.width() - 2 * s.cap;
    for (double done = 0; done < middleWidth; done += strip)
        slice(x + s.cap + done, s.cap, std::min<double>(strip, middleWidth - done));
}

QRectF DockViewRenderer::shelfRows(const Shelf& s, int firstRow, int endRow, const QRectF& shelfRect,
                                   double viewHeight, double dpr) const
{
    const double y = std::round((viewHeight - s.top) * dpr);
    return QRectF(shelfRect.x(), (y + firstRow) / dpr, shelfRect.width(), (endRow - firstRow) / dpr);
}

const QImage& DockViewRenderer::separatorImage(double w, double height, double dpr, bool dark)
{
    if (separatorCache.w == w && separatorCache.height == height && separatorCache.dark == dark &&
        separatorCache.image.devicePixelRatio() == dpr && !separatorCache.image.isNull())
        return separatorCache.image;
    // Stroked once: at scale 2 each stroke of these lines took the raster engine's worker threads.
    const QRectF box = separatorBox(0, w, 0, height);
    QImage image = transparentImage(int(std::ceil(box.width() * dpr)), int(std::ceil(box.height() * dpr)), dpr);
    {
        QPainter p(&image);
        p.translate(-box.topLeft());
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(dark ? white(0.02, 0.65) : white(0.25, 0.4), 1));
        p.drawLine(QPointF(-w, 0), QPointF(w, height));
        p.setPen(QPen(dark ? white(1, 0.26) : white(1, 0.65), 1));
        p.drawLine(QPointF(-w + 1, 0), QPointF(w + 1, height));
    }
    separatorCache = {w, height, dark, std::move(image)};
    return separatorCache.image;
}

const QImage& DockViewRenderer::indicator(double height, double dpr, bool dark)
{
    const int key = int(std::lround(height * 100)) * 2 + (dark ? 1 : 0);
    auto found = indicators.find(key);
    if (found != indicators.end() && found->devicePixelRatio() == dpr)
        return *found;
    const double sigma = dark ? 1.0 : 3.0;
    const int margin = blurMargin(sigma);
    QImage dot = transparentImage(int(std::ceil((6 + 2 * margin) * dpr)), int(std::ceil((height + 2 * margin) * dpr)), dpr);
    {
        QPainter p(&dot);
        p.setRenderHint(QPainter::Antialiasing);
        p.setBrush(Qt::white);
        p.setPen(Qt::NoPen);
        p.drawEllipse(QRectF(margin, margin, 6, height));
    }
    const QColor glowColor = dark ? rgba(0.7, 0.86, 1.0, 0.18) : rgba(0.7, 0.86, 1.0, 0.95);
    QImage glow = blurredShadow(dot, sigma * dpr, glowColor);
    QImage result = transparentImage(dot.width(), dot.height(), dpr);
    {
        QPainter p(&result);
        p.drawImage(QPointF(0, 0), glow);
        p.drawImage(QPointF(0, 0), blurredShadow(dot, 0, dark ? rgba(0.55, 0.62, 0.68, 0.85) : rgba(0.9, 0.96, 1.0, 1.0)));
    }
    return *indicators.insert(key, result);
}

// --- The whole scene ---

std::optional<double> DockViewRenderer::separatorX(const Scene& scene)
{
    if (!scene.separatorIndex || *scene.separatorIndex <= 0 || *scene.separatorIndex >= int(scene.frames.size()))
        return std::nullopt;
    const size_t k = size_t(*scene.separatorIndex);
    double before = scene.frames[0].right();
    for (size_t i = 0; i < k; ++i)
        before = std::max(before, scene.frames[i].right());
    // On the pixel grid: the row's sub-pixel drift while icons magnify elsewhere leaves it be.
    return snap((before + scene.frames[k].left()) / 2, scene.devicePixelRatio);
}

QRegion DockViewRenderer::bounds(const Scene& scene) const
{
    if (scene.frames.empty())
        return {};
    const double h = scene.viewSize.height();
    const auto area = [h](const QRectF& layoutRect) {
        return toWidgetRect(layoutRect, h).toAlignedRect().adjusted(-1, -1, 1, 1);
    };
    // Two rectangles: the shelf with its shadow and lip up to the top of resting icons,
    // and whatever rises above that (magnified icons). Few rectangles keep the clip and
    // the flush to the window cheap; little transparent space is repainted.
    const auto metrics = DockLayout::metrics(scene.frames);
    const QRectF shelfRect = DockLayout::shelfFrame(scene.frames).translated(0, -scene.offset);
    const double margin = blurMargin(shelfShadowSigma) + shelfShadowOffset + 1;
    const double shadow = blurMargin(tileShadowSigma) + tileShadowOffset + 1;
    const double bottom = metrics.shelfBottom - lipHeight(metrics.iconSize) - 1 - margin - scene.offset;
    const double restingTop = std::max(metrics.shelfTop + margin, metrics.baseline + metrics.iconSize + shadow) -
                              scene.offset;
    double left = shelfRect.x() - margin;
    double right = shelfRect.right() + margin;
    std::optional<QRectF> above;
    for (const auto* tiles : {&scene.tiles, &scene.retiring}) {
        for (const auto& tile : *tiles) {
            if (tile.frame.width() <= 0)
                continue;
            const QRectF r = tile.frame.adjusted(-shadow, -shadow, shadow, shadow);
            left = std::min(left, r.left());
            right = std::max(right, r.right());
            if (r.bottom() > restingTop) // bottom() is the larger y: the top in layout terms
                above = above ? above->united(r) : r;
        }
    }
    QRegion region(area(QRectF(left, bottom, right - left, restingTop - bottom)));
    if (above)
        region += area(QRectF(above->left(), restingTop, above->width(), above->bottom() - restingTop));
    if (scene.dropIndex)
        region += area(QRectF(shelfRect.x() - 8, 20 - scene.offset, shelfRect.width() + 16, 48));
    return region;
}

QRect DockViewRenderer::copiedArea(const Scene& scene) const
{
    if (!scene.clearedBackground || scene.frames.empty())
        return {};
    // Where paint() puts the shelf's layers, in device pixels.
    const double dpr = scene.devicePixelRatio;
    const auto metrics = DockLayout::metrics(scene.frames);
    const QRectF shelfRect = DockLayout::shelfFrame(scene.frames).translated(0, -scene.offset);
    const int pad = shelfSlices(metrics, dpr).pad;
    const auto rows = shelfImageRows(metrics, dpr);
    const double left = std::round(shelfRect.x() * dpr) - pad;
    const double right = left + std::round(shelfRect.width() * dpr) + 2 * pad;
    const double top = std::round((scene.viewSize.height() + scene.offset - rows.top) * dpr);
    const double bottom = top + rows.height;
    // The whole widget pixels within them.
    const QPoint from(int(std::ceil(left / dpr)), int(std::ceil(top / dpr)));
    const QPoint to(int(std::floor(right / dpr)), int(std::floor(bottom / dpr)));
    return to.x() > from.x() && to.y() > from.y() ? QRect(from, QSize(to.x() - from.x(), to.y() - from.y())) : QRect();
}

DockViewRenderer::Footprint DockViewRenderer::footprint(const Scene& scene) const
{
    Footprint print;
    print.bounds = bounds(scene);
    if (scene.frames.empty())
        return print;
    const double dpr = scene.devicePixelRatio;
    const double h = scene.viewSize.height();
    const auto metrics = DockLayout::metrics(scene.frames);
    print.whole = {scene.viewSize, dpr, scene.dark, scene.offset, scene.separatorIndex, scene.dropIndex,
                   scene.reordering, scene.settled, scene.clearedBackground, !scene.retiring.empty(),
                   scene.restingIconSize, metrics.iconSize, scene.accent.rgba(), scene.tiles.size()};

    const auto shape = indicatorShape(metrics.iconSize, scene.dark);
    const QSizeF dotSize(6 + 2 * shape.margin + 1, shape.height + 2 * shape.margin + 1);
    print.looks.reserve(scene.tiles.size());
    print.areas.reserve(scene.tiles.size());
    for (const auto& tile : scene.tiles) {
        Footprint::Look look;
        QRectF area;
        if (tile.entry) {
            look.icon = tile.entry->icon().cacheKey();
            look.window = tile.entry->kind() == DockEntry::Kind::window;
            look.alpha = tile.alpha;
            look.dropTarget = tile.dropTarget;
            if (!tile.dragged && tile.alpha > 0 && tile.frame.width() > 0) {
                look.image = tilePlacement(tile, scene, scene.settled);
                area = look.image->rect;
                if (tile.dropTarget)
                    area |= toWidgetRect(tile.frame, h).adjusted(-4, -4, 4, 4);
            }
            if (!tile.dragged && tile.reflectionFrame.width() >= 1) {
                look.reflection = reflectionPlacement(tile, scene);
                area |= look.reflection->rect;
            }
            if (tile.running && !tile.dragged) {
                look.indicator = indicatorPlacement(tile, scene, metrics);
                area |= QRectF(*look.indicator, dotSize);
            }
        }
        print.looks.push_back(look);
        print.areas.push_back(area.toAlignedRect().adjusted(-1, -1, 1, 1));
    }

    if (const auto x = separatorX(scene)) {
        const double w = 0.06 * metrics.iconSize;
        const double top = h - (metrics.shelfTop - 3 - scene.offset);
        const double bottom = h - (metrics.shelfBottom + 1 - scene.offset);
        print.separatorX = x;
        print.separatorArea = separatorBox(*x, w, top, bottom).toAlignedRect();
    }

    const QRectF shelfRect = DockLayout::shelfFrame(scene.frames).translated(0, -scene.offset);
    const auto [pad, cap] = shelfSlices(metrics, dpr);
    print.shelfLeft = int(std::lround(shelfRect.x() * dpr));
    print.shelfWidth = int(std::lround(shelfRect.width() * dpr));
    print.shelfSliced = print.shelfWidth + 2 * pad >= 2 * cap + shelfMiddle;
    // The rows of the shelf's images, with their shadow.
    const double margin = blurMargin(shelfShadowSigma) + shelfShadowOffset + 1;
    const double lower = metrics.shelfBottom - lipHeight(metrics.iconSize) - 1 - margin - scene.offset;
    const QRect rows = toWidgetRect(QRectF(0, lower, 1, metrics.shelfTop + margin - scene.offset - lower), h)
                           .toAlignedRect();
    const auto column = [&](int left, int right) {
        return QRect(int(std::floor(left / dpr)) - 1, rows.top(), int(std::ceil((right - left) / dpr)) + 3,
                     rows.height());
    };
    print.leftCap = column(print.shelfLeft - pad, print.shelfLeft - pad + cap);
    print.rightCap = column(print.shelfLeft + print.shelfWidth + pad - cap, print.shelfLeft + print.shelfWidth + pad);
    return print;
}

QRegion DockViewRenderer::changes(const Footprint& before, const Footprint& after)
{
    if (before.whole != after.whole || before.looks.size() != after.looks.size()
        || before.shelfSliced != after.shelfSliced || !after.shelfSliced || after.whole.dropIndex)
        return before.bounds.united(after.bounds);
    // Only the columns matter: one band as tall as the tallest change spans them all, so a run of
    // neighbouring changes is one rectangle, and few rectangles keep both the drawing under each
    // one's clip and the flush cheap. Gathered as spans rather than by uniting regions, which
    // costs more than the rest of the frame's bookkeeping.
    std::vector<std::pair<int, int>> spans; // [left, right) columns
    int top = std::numeric_limits<int>::max();
    int bottom = std::numeric_limits<int>::min();
    const auto add = [&](const QRect& r) {
        if (r.isEmpty())
            return;
        spans.emplace_back(r.left(), r.left() + r.width());
        top = std::min(top, r.top());
        bottom = std::max(bottom, r.top() + r.height());
    };
    for (size_t i = 0; i < after.looks.size(); ++i) {
        if (before.looks[i] != after.looks[i]) {
            add(before.areas[i]);
            add(after.areas[i]);
        }
    }
    if (before.separatorX != after.separatorX) {
        add(before.separatorArea);
        add(after.separatorArea);
    } else if (std::any_of(spans.begin(), spans.end(), [&](const auto& span) {
                   return span.first < after.separatorArea.right() + 1 && after.separatorArea.left() < span.second;
               })) {
        // Its slanted lines come out a little different when a clip cuts through them: all or none.
        add(after.separatorArea);
    }
    if (before.shelfLeft != after.shelfLeft || before.shelfWidth != after.shelfWidth) {
        add(before.leftCap);
        add(after.leftCap);
        add(before.rightCap);
        add(after.rightCap);
    }
    if (spans.empty())
        return {};
    std::sort(spans.begin(), spans.end());
    std::vector<QRect> rects;
    for (const auto& [left, right] : spans) {
        if (!rects.empty() && left <= rects.back().left() + rects.back().width())
            rects.back().setRight(std::max(rects.back().right(), right - 1));
        else
            rects.emplace_back(left, top, right - left, bottom - top);
    }
    QRegion band;
    band.setRects(rects.data(), int(rects.size()));
    return band;
}

void DockViewRenderer::paint(QPainter& painter, const Scene& scene, const QRect& clip)
{
    if (scene.frames.empty())
        return;
    const double dpr = scene.devicePixelRatio;
    if (dpr != cacheScale) {
        clearCaches(); // every cached image is sized for one device pixel ratio
        cacheScale = dpr;
        // As many icons' sizes at any scale: twice the density, twice the bytes for each size step.
        const double budgetScale = std::max(1.0, dpr);
        tileCache.setMaxCost(int(tileBudgetKiB * budgetScale));
        betweenTiles.setBudget(qsizetype(betweenBudget * budgetScale));
        scaledReflections.setBudget(qsizetype(reflectionBudget * budgetScale));
    }
    paintTime = DockImageCache<TileKey>::Clock::now();
    const double viewHeight = scene.viewSize.height();
    const auto metrics = DockLayout::metrics(scene.frames);
    const QRectF shelfRect = DockLayout::shelfFrame(scene.frames).translated(0, -scene.offset);
    const auto toWidget = [&](const QRectF& layoutRect) {
        return toWidgetRect(layoutRect.translated(0, -scene.offset), viewHeight);
    };

    // The shelf images are cut at a fixed layout height; moving the dock down moves them too.
    const Shelf& s = shelf(metrics, shelfRect.width(), dpr, scene.dark);
    const double shelfViewHeight = viewHeight + scene.offset;
    const int rows = s.body.height();
    // These three are the first layer on their pixels: over a cleared window they are
    // copied rather than blended, which is several times cheaper.
    const QRectF area(clip);
    const auto shows = [&area](const QRectF& r) { return area.isEmpty() || area.intersects(r); };
    if (scene.clearedBackground)
        painter.setCompositionMode(QPainter::CompositionMode_Source);
    drawShelfLayer(painter, s, s.body, 0, s.bandTop, shelfRect, shelfViewHeight, dpr, area);
    drawShelfLayer(painter, s, s.body, s.bandBottom, rows, shelfRect, shelfViewHeight, dpr, area);
    drawShelfLayer(painter, s, s.under, s.bandTop, s.bandBottom, shelfRect, shelfViewHeight, dpr, area);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);

    // Reflections, clipped to the band under the icons (inside the outline's slanted ends) within
    // the caller's clip: replacing that would blend them a second time over what another
    // rectangle of the repaint has drawn.
    painter.save();
    painter.setClipRect(shelfRows(s, s.bandTop, s.bandBottom, shelfRect, shelfViewHeight, dpr), Qt::IntersectClip);
    for (const auto& tile : scene.tiles) {
        if (tile.dragged || !tile.entry || tile.reflectionFrame.width() < 1)
            continue;
        const Placement placed = reflectionPlacement(tile, scene);
        if (!shows(placed.rect))
            continue;
        int tileSize = tile.frame.width() > 0 ? tilePixels(tile.frame.width(), scene, scene.settled) : 0;
        if (tileSize > 0 && !rendersExactly(tileSize, scene, scene.settled))
            tileSize = sizeStep(tileSize, false, dpr); // the rendering a size between steps is scaled from
        const QImage* image = reflectionImage(*tile.entry, placed.pixels, scene.dark, tileSize);
        if (!image)
            continue;
        if (placed.exact)
            blitUnscaled(painter, placed.rect.topLeft(), *image);
        else
            painter.drawImage(placed.rect, *image);
    }
    painter.restore();

    drawShelfLayer(painter, s, s.over, s.bandTop, s.bandBottom, shelfRect, shelfViewHeight, dpr, area);

    // Separator between the applications and everything else.
    const auto separator = separatorX(scene);
    const double w = 0.06 * metrics.iconSize;
    const double y0 = viewHeight - (metrics.shelfTop - 3 - scene.offset);
    const double y1 = viewHeight - (metrics.shelfBottom + 1 - scene.offset);
    if (separator) {
        const QRectF box = separatorBox(*separator, w, y0, y1);
        if (shows(box)) {
            // On the device pixel grid, as the icons are: the image is drawn unscaled.
            const QPointF at(snap(box.x(), dpr), snap(box.y(), dpr));
            blitUnscaled(painter, at, separatorImage(w, y1 - y0, dpr, scene.dark));
        }
    }

    // Running indicators on the lip.
    const QImage& dot = indicator(indicatorShape(metrics.iconSize, scene.dark).height, dpr, scene.dark);
    for (const auto& tile : scene.tiles) {
        if (!tile.running || tile.dragged)
            continue;
        const QPointF at = indicatorPlacement(tile, scene, metrics);
        if (shows(QRectF(at, dot.deviceIndependentSize())))
            blitUnscaled(painter, at, dot);
    }

    // Drop marker.
    if (scene.dropIndex && !scene.reordering) {
        const size_t index = size_t(std::max(0, *scene.dropIndex));
        const double x = index < scene.frames.size() ? scene.frames[index].left() - 5 : scene.frames.back().right() + 5;
        painter.fillRect(toWidget(QRectF(x, 20, 3, 48)), scene.accent);
    }

    // Tiles, then icons leaving the dock.
    for (const auto& tile : scene.tiles) {
        if (!tile.dragged)
            drawTile(painter, tile, scene, scene.settled, area);
    }
    for (const auto& tile : scene.retiring)
        drawTile(painter, tile, scene, false, area);
}

} // namespace wharf
