#pragma once

#include <QImage>
#include <QWidget>

#include <functional>

namespace wharf {

// The borderless, translucent top-level window of one dock. It may take the focus only while
// keyboard navigation runs.
class DockPanel : public QWidget {
    Q_OBJECT

public:
    static constexpr int height = 340;

    explicit DockPanel(QWidget* parent = nullptr);

    bool keyboardMode() const { return keyboard; }
    void setKeyboardMode(bool on);
    bool canBecomeKey() const { return keyboard; }

    // What lies below the window, painted under the dock when no compositing manager blends it:
    // anti-aliased edges then mix with the desktop instead of black. Null: nothing (translucent).
    void setBackdrop(const QImage& image);
    bool hasBackdrop() const { return !backdrop.isNull(); }

    // Told when keyboard mode changes, so the window system can let the focus in or keep it out.
    std::function<void(bool)> onKeyboardModeChanged;

protected:
    void focusOutEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool keyboard = false;
    QImage backdrop;
};

} // namespace wharf
