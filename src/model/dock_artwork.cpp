#include "model/dock_artwork.h"

#include <QCoreApplication>
#include <QHash>
#include <QIconEngine>
#include <QPainter>
#include <QPixmap>

#include <algorithm>
#include <cmath>

namespace wharf::DockArtwork {

namespace {

// A source rendered larger than this is scaled up instead: only icons whose content is a speck
// of their canvas get there, and they have no finer detail to show.
constexpr int largestRender = 2048;
// Keys of minimized windows come and go; past this many entries the cache starts afresh.
constexpr qsizetype cacheLimit = 1024;

// `source` fitted into a transparent `side` × `side` square, centred: how the canvas sees it.
// Measuring is done unsmoothed: the blur of enlarging a small bitmap is not content.
QImage squareCanvas(const QIcon& source, int side, QIcon::Mode mode, QIcon::State state, bool smooth = true)
{
    const QPixmap pm = source.pixmap(QSize(side, side), 1.0, mode, state);
    if (pm.isNull())
        return {};
    QImage image = pm.toImage();
    if (image.size() == QSize(side, side))
        return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    // A smaller or oblong pixmap: scaled to fit, centred on whole pixels.
    QImage square(side, side, QImage::Format_ARGB32_Premultiplied);
    square.fill(Qt::transparent);
    const QSizeF fitted = QSizeF(image.size()).scaled(QSizeF(side, side), Qt::KeepAspectRatio);
    QPainter p(&square);
    p.setRenderHint(QPainter::SmoothPixmapTransform, smooth);
    p.drawImage(QRectF(std::round((side - fitted.width()) / 2), std::round((side - fitted.height()) / 2),
                       fitted.width(), fitted.height()),
                image);
    return square;
}

std::optional<QRect> opaqueBounds(const QImage& image)
{
    int left = image.width(), right = -1, top = image.height(), bottom = -1;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        int first = -1, last = -1;
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(row[x]) > emptyAlpha) {
                if (first < 0)
                    first = x;
                last = x;
            }
        }
        if (first < 0)
            continue;
        left = std::min(left, first);
        right = std::max(right, last);
        top = std::min(top, y);
        bottom = y;
    }
    if (right < 0)
        return std::nullopt;
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

QImage render(const QIcon& source, const QRect& box, int side, QIcon::Mode mode, QIcon::State state)
{
    QImage out(side, side, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    // Output pixels per canvas pixel, rounded so the whole canvas spans whole pixels.
    const int full = std::max(1, int(std::lround(canvas * contentFraction * side / std::max(box.width(), box.height()))));
    const double scale = double(full) / canvas;
    const double w = box.width() * scale;
    const double h = box.height() * scale;
    // The canvas's origin on whole pixels: an unscaled copy of the source stays sharp.
    const double originX = std::round((side - w) / 2 - box.x() * scale);
    const double originY = std::round(side * (1 - baselineFraction) - h - box.y() * scale);
    const QRectF target(originX + box.x() * scale, originY + box.y() * scale, w, h);

    const int rendered = std::min(full, largestRender);
    const QImage canvasImage = squareCanvas(source, rendered, mode, state);
    if (canvasImage.isNull())
        return {};
    QPainter p(&out);
    if (rendered == full) {
        p.setClipRect(target);
        p.drawImage(QPointF(originX, originY), canvasImage);
    } else {
        const double k = double(rendered) / canvas;
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.drawImage(target, canvasImage, QRectF(box.x() * k, box.y() * k, box.width() * k, box.height() * k));
    }
    return out;
}

// Renders its source normalized at whatever size is asked for.
class NormalizedIconEngine : public QIconEngine {
public:
    NormalizedIconEngine(QIcon source, QRect box) : source(std::move(source)), box(box) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override
    {
        const double dpr = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        const int side = std::max(1, int(std::lround(std::min(rect.width(), rect.height()) * dpr)));
        const QImage image = render(source, box, side, mode, state);
        const double logical = side / dpr;
        painter->drawImage(QRectF(rect.x() + (rect.width() - logical) / 2, rect.y() + (rect.height() - logical) / 2,
                                  logical, logical),
                           image);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        const int side = std::min(size.width(), size.height());
        if (side <= 0)
            return {};
        return QPixmap::fromImage(render(source, box, side, mode, state));
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal) override
    {
        return pixmap(size, mode, state);
    }

    QSize actualSize(const QSize& size, QIcon::Mode, QIcon::State) override
    {
        const int side = std::min(size.width(), size.height());
        return {side, side};
    }

    QIconEngine* clone() const override { return new NormalizedIconEngine(source, box); }
    QString key() const override { return QStringLiteral("wharf-normalized"); }
    QString iconName() override { return source.name(); }
    bool isNull() override { return false; }

private:
    QIcon source;
    QRect box;
};

struct Entry {
    qint64 source = 0;
    QIcon normalized;
};

QHash<QString, Entry>& cache()
{
    static QHash<QString, Entry> entries;
    static const bool cleanup = [] {
        // Icons must not outlive the application that renders them.
        if (QCoreApplication::instance())
            qAddPostRoutine([] { cache().clear(); });
        return true;
    }();
    Q_UNUSED(cleanup);
    return entries;
}

} // namespace

std::optional<QRect> contentBox(const QIcon& image)
{
    if (image.isNull())
        return std::nullopt;
    const QImage canvasImage = squareCanvas(image, canvas, QIcon::Normal, QIcon::Off, false);
    if (canvasImage.isNull())
        return std::nullopt;
    const auto bounds = opaqueBounds(canvasImage);
    if (!bounds)
        return std::nullopt;
    return bounds->adjusted(-margin, -margin, margin, margin) & QRect(0, 0, canvas, canvas);
}

QImage normalized(const QIcon& image, int side)
{
    const auto box = contentBox(image);
    if (!box || side <= 0)
        return {};
    return render(image, *box, side, QIcon::Normal, QIcon::Off);
}

QIcon image(const QIcon& image, const QString& key)
{
    auto& entries = cache();
    if (const auto found = entries.constFind(key); found != entries.constEnd() && found->source == image.cacheKey())
        return found->normalized;
    // Items showing the same icon object (every plain folder) share its normalized icon too: the
    // dock then draws and keeps each size of it once, not once per item.
    QIcon result;
    for (const Entry& other : std::as_const(entries)) {
        if (other.source == image.cacheKey()) {
            result = other.normalized;
            break;
        }
    }
    if (result.isNull()) {
        const auto box = contentBox(image);
        result = box ? QIcon(new NormalizedIconEngine(image, *box)) : image;
    }
    if (entries.size() >= cacheLimit && !entries.contains(key))
        entries.clear();
    entries.insert(key, Entry{image.cacheKey(), result});
    return result;
}

} // namespace wharf::DockArtwork
