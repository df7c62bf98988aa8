#pragma once

#include <QImage>
#include <QWidget>

#include <functional>
#include <optional>

class QKeyEvent;

namespace wharf {

// The window of an open stack: a pop-up above the dock that takes the pointer and keyboard
// while it is up, so a click anywhere else closes it.
class StackPanel : public QWidget {
public:
    StackPanel();

    // Shows `content` at `frame` (global coordinates), replacing what was shown.
    void present(QWidget* content, const QRect& frame);
    QWidget* content() const { return shown; }

    // Without a compositing manager translucent pixels come out black. Set then, it answers what
    // lies below an area of the screen (global coordinates; a null image when that cannot be read):
    // the panel paints it under its content and clips itself to what the content draws. Unset, or
    // answering nothing, while a compositing manager blends the panel.
    std::function<std::optional<QImage>(const QRect& area)> below;
    // The content's outline may have changed (a picture arrived): clips the panel to it again, once
    // for any number of calls before the next turn of the event loop.
    void reshapeLater();
    // The panel is cut to its content (no compositing manager runs).
    bool cutToContent() const { return backdrop.has_value(); }

    // Where the pointer was last seen over an entry: entries that scroll or appear under a resting
    // pointer are entered too, and must not take the selection from the keyboard.
    std::optional<QPointF> pointerSeen;

    std::function<bool(QKeyEvent*)> onKey;
    // The pop-up was closed by the window system's rules (a click outside, Escape).
    std::function<void()> onDismiss;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void reshape();

    QWidget* shown = nullptr;
    std::optional<QImage> backdrop; // set while no compositing manager runs
    bool reshapeQueued = false;
};

} // namespace wharf
