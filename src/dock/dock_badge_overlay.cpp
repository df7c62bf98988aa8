#include "dock/dock_badge_overlay.h"

#include "dock/dock_geometry.h"
#include "dock/dock_layout.h"
#include "dock/dock_tile.h"
#include "model/dock_badge.h"

#include <QEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QTimer>

#include <chrono>
#include <cmath>
#include <numbers>

namespace wharf {

namespace {

constexpr double progressHeight = 4;
constexpr double pulseRadius = 14;

QRectF progressBar(const QRectF& icon)
{
    // Under the icon, over the shelf: a thin track as wide as most of the icon.
    return QRectF(icon.x() + icon.width() * 0.15, icon.bottom() + 2, icon.width() * 0.7, progressHeight);
}

// The running indicator's centre on the shelf's lip (layout y), as the dock draws it.
double indicatorLine(const DockLayout::Metrics& m)
{
    const double lip = std::min(std::max(0.075 * m.iconSize, 2.0), 4.0);
    return m.shelfBottom - lip / 2 - 1 + std::min(0.65 * lip, 2.5) / 2;
}

} // namespace

DockBadgeOverlay::DockBadgeOverlay(QWidget* dock, std::function<void(const QRegion&)> repaintArea,
                                   std::function<double()> clockSource)
    : QWidget(dock), repaintMarks(std::move(repaintArea)), clock(std::move(clockSource))
{
    setObjectName(QStringLiteral("wharf.badge-overlay"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::NoFocus);
    pulseTimer = new QTimer(this);
    pulseTimer->setInterval(1000 / 30);
    connect(pulseTimer, &QTimer::timeout, this, [this] {
        QRegion dirty;
        for (const Mark& mark : current) {
            if (mark.urgent)
                dirty += area(mark).toAlignedRect();
        }
        repaintMarks(dirty);
    });
    if (dock) {
        setGeometry(dock->rect());
        dock->installEventFilter(this);
    }
    show();
}

double DockBadgeOverlay::now() const
{
    if (clock)
        return clock();
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

bool DockBadgeOverlay::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == parent() && event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

void DockBadgeOverlay::redisplay(const std::vector<DockTile*>& tiles, const QString& draggedID, double offset)
{
    std::vector<Mark> next;
    const double h = height();
    std::optional<double> line; // measured from the row at rest, then moved down with it
    for (const DockTile* tile : tiles) {
        const DockItem* item = tile->entry().item();
        if (!item || tile->entry().identifier() == draggedID || tile->alpha <= 0)
            continue;
        if (!item->badge && !item->progress && !item->urgent)
            continue;
        if (!line)
            line = indicatorLine(DockLayout::metrics({tile->frame.translated(0, offset)})) - offset;
        next.push_back({tile->entry().identifier(), item->badge.value_or(QString()), toWidgetRect(tile->frame, h),
                        item->progress, item->urgent, toWidgetPoint(QPointF(tile->frame.center().x(), *line), h)});
    }
    if (next == current)
        return;
    QRegion dirty;
    for (const auto* marks : {&current, &next}) {
        for (const Mark& mark : *marks)
            dirty += area(mark).toAlignedRect();
    }
    current = std::move(next);
    updatePulse();
    repaintMarks(dirty);
}

bool DockBadgeOverlay::isPulsing() const { return pulseTimer->isActive(); }

void DockBadgeOverlay::updatePulse()
{
    const bool urgent = std::any_of(current.begin(), current.end(), [](const Mark& m) { return m.urgent; });
    if (urgent && !pulseTimer->isActive())
        pulseTimer->start();
    else if (!urgent)
        pulseTimer->stop();
}

QRectF DockBadgeOverlay::area(const Mark& mark)
{
    QRectF result;
    if (!mark.label.isEmpty())
        result = DockBadge::paintedFrame(mark.label, mark.icon);
    if (mark.progress)
        result = result.united(progressBar(mark.icon).adjusted(-1, -1, 1, 1));
    if (mark.urgent) {
        const QPointF c = mark.indicator;
        result = result.united(QRectF(c.x() - pulseRadius, c.y() - pulseRadius, 2 * pulseRadius, 2 * pulseRadius));
    }
    return result;
}

double DockBadgeOverlay::pulse(double time)
{
    // A smooth rise and fall, never a flash.
    const double phase = std::fmod(time, pulsePeriod) / pulsePeriod;
    return 0.5 - 0.5 * std::cos(2 * std::numbers::pi * phase);
}

void DockBadgeOverlay::paintEvent(QPaintEvent* event)
{
    if (current.empty())
        return;
    QPainter painter(this);
    paint(painter, event->rect());
}

void DockBadgeOverlay::paint(QPainter& painter, const QRect& exposed) const
{
    if (current.empty())
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double strength = isPulsing() ? pulse(now()) : 0;
    for (const Mark& mark : current) {
        if (!exposed.intersects(area(mark).toAlignedRect()))
            continue;
        if (mark.urgent) {
            const QPointF c = mark.indicator;
            QRadialGradient glow(c, pulseRadius);
            glow.setColorAt(0, QColor::fromRgbF(1.0f, 0.62f, 0.2f, float(0.95 * strength)));
            glow.setColorAt(1, QColor::fromRgbF(1.0f, 0.62f, 0.2f, 0));
            painter.setPen(Qt::NoPen);
            painter.setBrush(glow);
            painter.drawEllipse(c, pulseRadius, pulseRadius);
        }
        if (mark.progress) {
            const QRectF track = progressBar(mark.icon);
            QPainterPath trough;
            trough.addRoundedRect(track, progressHeight / 2, progressHeight / 2);
            painter.fillPath(trough, QColor(0, 0, 0, 110));
            QPainterPath done;
            done.addRoundedRect(QRectF(track.x(), track.y(), track.width() * *mark.progress, track.height()),
                                progressHeight / 2, progressHeight / 2);
            painter.fillPath(done, QColor(64, 156, 255));
        }
        if (!mark.label.isEmpty())
            DockBadge::draw(painter, mark.label, mark.icon);
    }
    painter.restore();
}

} // namespace wharf
