#pragma once

#include "dock/dock_hover_label_window.h"

#include <QHash>
#include <QImage>
#include <QPointer>
#include <QRect>
#include <QRectF>
#include <QString>

#include <optional>
#include <vector>

class QPainter;
class QWidget;

namespace wharf {

class DockTile;

// The name label above the hovered or keyboard-selected tile, outside the dock's input region, so
// it never takes a click. With a compositing manager the dock draws it itself: it follows a moving
// tile every frame, and moving a window of its own that often costs several round trips to the X
// server each time. Without one, the dock's window is cut to the shape of its row, so the label
// lives in a small window of its own.
class DockHoverLabel {
public:
    static constexpr double labelHeight = 26;

    // The label's frame in layout coordinates (y up) for text of `naturalWidth` over `tile`,
    // held inside `bounds` (the dock view).
    static QRectF place(double naturalWidth, const QRectF& tile, const QRectF& bounds);

    // `dock` hosts the label: its coordinates and its lifetime.
    explicit DockHoverLabel(QWidget* dock = nullptr) : dock(dock) {}

    // Each tick: the title of the hovered tile above its current frame, or nothing when
    // `allowed` is false (a drag, an open stack, a hidden dock) or nothing is hovered.
    void show(std::optional<int> hovered, const std::vector<DockTile*>& tiles, bool allowed);
    void hide();
    // In a window of its own (true) or drawn by the dock (false, the default).
    void setOwnWindow(bool own);
    // Draws the label when the dock shows it; `painter` paints on the dock.
    void paint(QPainter& painter) const;

    bool isVisible() const;
    QString text() const;
    QRect globalFrame() const; // in global screen coordinates

private:
    void showInDock(const QRect& frame, const QString& text);

    QWidget* dock = nullptr;
    QPointer<DockHoverLabelWindow> window;
    bool ownWindow = false;
    std::optional<QRect> drawnFrame; // dock coordinates, while the dock draws the label
    QString drawnText;
    // Each title's label as drawn, made once: a sweep along the row shows the same few labels again
    // and again, and filling the rounded backdrop is the costly part of drawing one.
    QHash<QString, QImage> images;
};

} // namespace wharf
