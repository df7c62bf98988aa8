#include "model/dock_badge.h"

#include <QFont>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <cmath>

namespace wharf {

namespace {

constexpr qsizetype maximumLength = 64;

QFont badgeFont(double badgeHeight)
{
    QFont font;
    font.setPixelSize(std::max(1, int(std::lround(badgeHeight * 0.64))));
    font.setWeight(QFont::Normal);
    return font;
}

// Measuring shapes the text: once per label and size, not each of the several times a frame
// asks for a badge's frame.
double textWidth(const QString& text, double badgeHeight)
{
    static std::map<int, QFontMetricsF> metrics;
    static std::map<std::pair<QString, int>, double> widths;
    const QFont font = badgeFont(badgeHeight);
    const auto key = std::pair(text, font.pixelSize());
    if (const auto known = widths.find(key); known != widths.end())
        return known->second;
    auto found = metrics.find(font.pixelSize());
    if (found == metrics.end()) {
        if (metrics.size() > 8)
            metrics.clear();
        found = metrics.emplace(font.pixelSize(), QFontMetricsF(font)).first;
    }
    if (widths.size() >= 64)
        widths.clear();
    return widths.emplace(key, found->second.horizontalAdvance(text)).first->second;
}

// The shadow and the red body of a badge filling `badge`.
void drawBody(QPainter& painter, const QRectF& badge)
{
    const double h = badge.height();
    const double radius = h * 0.5;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    // A soft shadow: a few widening, fading copies below the badge stand in for a blur.
    const double blur = h * 0.14;
    for (int i = 3; i >= 1; --i) {
        const double grow = blur * i / 3;
        QPainterPath ring;
        ring.addRoundedRect(badge.translated(0, h * 0.04).adjusted(-grow, -grow, grow, grow), radius + grow,
                            radius + grow);
        painter.setBrush(QColor(0, 0, 0, int(255 * 0.18 / 3)));
        painter.drawPath(ring);
    }
    QPainterPath body;
    body.addRoundedRect(badge, radius, radius);
    painter.setBrush(QColor(255, 59, 48)); // the system red
    painter.drawPath(body);
}

// Badge bodies already drawn, by size and by where they fall inside a device pixel: filling
// antialiased paths costs far more than copying pixels, and a badge whose count changes every
// frame keeps its size.
const QImage& bodyImage(const QRectF& badge, const QRectF& painted, QPointF fraction, double dpr)
{
    using Key = std::array<qint64, 5>;
    static std::map<Key, QImage> cache;
    const auto q = [](double v) { return qint64(std::lround(v * 64)); };
    const Key key{q(badge.width()), q(badge.height()), q(fraction.x()), q(fraction.y()), q(dpr)};
    if (const auto found = cache.find(key); found != cache.end())
        return found->second;
    if (cache.size() >= 32)
        cache.clear();
    const QSizeF size = (painted.size() + QSizeF(1, 1)) * dpr;
    QImage image(QSize(int(std::ceil(size.width())), int(std::ceil(size.height()))),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(dpr);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.translate(fraction / dpr - painted.topLeft());
    drawBody(painter, badge);
    painter.end();
    return cache.emplace(key, std::move(image)).first->second;
}

} // namespace

std::optional<QString> DockBadge::label(const std::optional<QString>& raw)
{
    if (!raw)
        return std::nullopt;
    QString text = raw->trimmed();
    if (text.isEmpty() || text == QLatin1String("0"))
        return std::nullopt;
    if (text.size() > maximumLength) {
        // Never split a surrogate pair.
        text.truncate(text.at(maximumLength - 1).isHighSurrogate() ? maximumLength - 1 : maximumLength);
    }
    return text;
}

QString DockBadge::display(const QString& label)
{
    qsizetype digits = 0;
    if (label.startsWith(QLatin1Char('+')) || label.startsWith(QLatin1Char('-')))
        digits = 1;
    const bool numeric = label.size() > digits
        && std::all_of(label.begin() + digits, label.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
    if (numeric && !label.startsWith(QLatin1Char('-'))) {
        // More than three significant digits is above 999, however many digits there are.
        qsizetype first = digits;
        while (first < label.size() && label.at(first) == u'0')
            ++first;
        if (label.size() - first > 3)
            return QStringLiteral("999+");
    }
    if (label.size() < 5)
        return label;
    return label.left(3) + QStringLiteral("…");
}

std::optional<QString> DockBadge::rawLabel(const std::optional<LauncherEntry>& entry)
{
    if (!entry || !entry->countVisible)
        return std::nullopt;
    return QString::number(entry->count);
}

DockBadge::Status DockBadge::status(const std::optional<LauncherEntry>& entry)
{
    Status result;
    if (!entry)
        return result;
    if (entry->progressVisible)
        result.progress = std::clamp(entry->progress, 0.0, 1.0);
    result.urgent = entry->urgent;
    return result;
}

double DockBadge::height(const QRectF& iconRect) { return std::max(12.0, iconRect.width() * 0.38); }

QRectF DockBadge::frame(const QString& label, const QRectF& iconRect)
{
    const double h = height(iconRect);
    const double w = std::max(h, h * 0.48 + textWidth(display(label), h));
    // Overhangs the icon's top-right corner: 0.2 h to the right, 0.26 h above.
    return QRectF(iconRect.right() - w + h * 0.2, iconRect.top() - h * 0.26, w, h);
}

QRectF DockBadge::paintedFrame(const QString& label, const QRectF& iconRect)
{
    const double h = height(iconRect);
    const double shadow = h * 0.14 + h * 0.04 + 1;
    return frame(label, iconRect).adjusted(-shadow, -shadow, shadow, shadow);
}

void DockBadge::draw(QPainter& painter, const QString& label, const QRectF& iconRect)
{
    const QRectF badge = frame(label, iconRect);
    const double h = badge.height();
    painter.save();
    const QTransform transform = painter.worldTransform();
    if (transform.type() <= QTransform::TxTranslate) {
        // Copied whole device pixels: the same pixels as drawing the paths here.
        const double dpr = painter.device()->devicePixelRatioF();
        const QRectF painted = paintedFrame(label, iconRect);
        const QPointF device = (painted.topLeft() + QPointF(transform.dx(), transform.dy())) * dpr;
        const QPointF whole(std::floor(device.x()), std::floor(device.y()));
        const QImage& body = bodyImage(badge, painted, device - whole, dpr);
        painter.drawImage(whole / dpr - QPointF(transform.dx(), transform.dy()), body);
    } else {
        drawBody(painter, badge);
    }
    painter.setPen(Qt::white);
    painter.setFont(badgeFont(h));
    painter.drawText(badge, Qt::AlignCenter, display(label));
    painter.restore();
}

} // namespace wharf
