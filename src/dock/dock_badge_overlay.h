#pragma once

#include <QRegion>
#include <QString>
#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

class QTimer;

namespace wharf {

class DockTile;

// The layer above the tiles where the items' badges are drawn: the count at the icon's top-right
// corner, progress as a thin bar under the icon, and a soft pulse over the running indicator of
// an application that asks for attention. It takes no pointer events. Only the pulse runs a
// timer, and only while some application is urgent.
class DockBadgeOverlay : public QWidget {
    Q_OBJECT

public:
    struct Mark {
        QString id;                     // the entry's identifier
        QString label;                  // empty: no count badge
        QRectF icon;                    // the tile's frame, widget coordinates
        std::optional<double> progress;
        bool urgent = false;
        QPointF indicator;              // centre of the running indicator, widget coordinates
        bool operator==(const Mark&) const = default;
    };

    static constexpr double pulsePeriod = 1.2; // seconds per pulse

    // `repaintMarks` redraws an area whose marks changed (the dock's coordinates, which are the
    // overlay's); `clock` gives monotonic seconds (empty: the real clock).
    DockBadgeOverlay(QWidget* dock, std::function<void(const QRegion&)> repaintMarks,
                     std::function<double()> clock = {});

    // Takes the tiles as placed now; repaints only the areas whose marks changed. The entry
    // being dragged inside the dock (`draggedID`) shows no badge; `offset` is how far auto-hide
    // has moved the row down.
    void redisplay(const std::vector<DockTile*>& tiles, const QString& draggedID = {}, double offset = 0);

    const std::vector<Mark>& marks() const { return current; }
    bool isPulsing() const;
    // The area of one mark, shadows and pulse included (widget coordinates).
    static QRectF area(const Mark& mark);
    // The pulse's strength at `time`: 0…1.
    static double pulse(double time);
    // Paints the marks that reach `exposed` (widget coordinates), as a paint event does.
    void paint(QPainter& painter, const QRect& exposed) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    double now() const;
    void updatePulse();

    std::function<void(const QRegion&)> repaintMarks;
    std::function<double()> clock;
    std::vector<Mark> current;
    QTimer* pulseTimer = nullptr;
};

} // namespace wharf
