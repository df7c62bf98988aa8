#pragma once

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

    // Told when keyboard mode changes, so the window system can let the focus in or keep it out.
    std::function<void(bool)> onKeyboardModeChanged;

protected:
    void focusOutEvent(QFocusEvent* event) override;

private:
    bool keyboard = false;
};

} // namespace wharf
