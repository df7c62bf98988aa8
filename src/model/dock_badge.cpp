#include "model/dock_badge.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
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
    const double textWidth = QFontMetricsF(badgeFont(h)).horizontalAdvance(display(label));
    const double w = std::max(h, h * 0.48 + textWidth);
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
    const double radius = h * 0.5;
    painter.save();
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
    painter.setPen(Qt::white);
    painter.setFont(badgeFont(h));
    painter.drawText(badge, Qt::AlignCenter, display(label));
    painter.restore();
}

} // namespace wharf
