#pragma once

#include "dock/dock_hover_label_window.h"

#include <QPointer>
#include <QRect>
#include <QRectF>
#include <QString>

#include <optional>
#include <vector>

class QWidget;

namespace wharf {


class DockTile;

// The name label above the hovered or keyboard-selected tile. It lives in a small window of its
// own, above the dock and outside its input region, so it never takes a click.
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

    bool isVisible() const;
    QString text() const;
    QRect globalFrame() const; // the window, in global screen coordinates

private:
    QWidget* dock = nullptr;
    QPointer<DockHoverLabelWindow> window;
};

} // namespace wharf
