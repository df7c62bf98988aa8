#pragma once

#include <QHash>
#include <QImage>
#include <QRect>
#include <QRectF>
#include <QRegion>
#include <QString>

#include <functional>
#include <utility>
#include <optional>
#include <vector>

class QPainter;
class QWidget;

namespace wharf {

class DockTile;

// The name label above the hovered or keyboard-selected tile, outside the dock's input region, so
// it never takes a click. The dock draws it itself: it follows a moving tile every frame, and
// moving a window of its own that often costs several round trips to the X server each time.
class DockHoverLabel {
public:
    static constexpr double labelHeight = 26;

    // The label's frame in layout coordinates (y up) for text of `naturalWidth` over `tile`,
    // held inside `bounds` (the dock view).
    static QRectF place(double naturalWidth, const QRectF& tile, const QRectF& bounds);
    // The width of `text` on one line.
    static double naturalWidth(const QString& text);

    // `dock` hosts the label: its coordinates and its lifetime; `repaint` redraws an area of it
    // that the label left or entered.
    DockHoverLabel() = default;
    DockHoverLabel(QWidget* dock, std::function<void(const QRegion&)> repaint)
        : dock(dock), repaint(std::move(repaint))
    {
    }

    // Each tick: the title of the hovered tile above its current frame, or nothing when
    // `allowed` is false (a drag, an open stack, a hidden dock) or nothing is hovered.
    void show(std::optional<int> hovered, const std::vector<DockTile*>& tiles, bool allowed);
    void hide();
    // Draws the label, if shown; `painter` paints on the dock.
    void paint(QPainter& painter) const;

    bool isVisible() const { return drawnFrame.has_value(); }
    QString text() const { return drawnFrame ? drawnText : QString(); }
    QRect globalFrame() const; // in global screen coordinates
    // The label's rounded outline in dock coordinates, empty while hidden: without a compositing
    // manager the dock window is cut to what it draws, and the label must show as well.
    const QRegion& outline() const { return shownOutline; }

    // Called with outline() each time it changes.
    std::function<void(const QRegion&)> onOutlineChanged;

private:
    void setFrame(std::optional<QRect> frame, const QString& text);

    QWidget* dock = nullptr;
    std::function<void(const QRegion&)> repaint;
    std::optional<QRect> drawnFrame; // dock coordinates
    QString drawnText;
    QRegion shownOutline;
    QRegion originOutline; // of a label of `originSize` at the origin
    QSize originSize;
    // Each title's label as drawn, made once: a sweep along the row shows the same few labels again
    // and again, and filling the rounded backdrop is the costly part of drawing one.
    QHash<QString, QImage> images;
    // Each title's width: measuring shapes the text, and the label follows its tile every frame.
    QHash<QString, double> widths;
};

} // namespace wharf
