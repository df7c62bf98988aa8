#pragma once

#include <QWidget>

#include <functional>

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

    std::function<bool(QKeyEvent*)> onKey;
    // The pop-up was closed by the window system's rules (a click outside, Escape).
    std::function<void()> onDismiss;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* shown = nullptr;
};

} // namespace wharf
