#pragma once

#include <QImage>
#include <QWidget>

#include <cstdint>
#include <functional>

namespace wharf {

// The borderless, translucent top-level window of one dock. It may take the focus only while
// keyboard navigation runs; losing the focus ends keyboard navigation.
class DockPanel : public QWidget {
    Q_OBJECT

public:
    static constexpr int height = 340;

    explicit DockPanel(QWidget* parent = nullptr);

    bool keyboardMode() const { return keyboard; }
    // `eventTime` is the X server time of the key press behind the change, 0 when none.
    void setKeyboardMode(bool on, std::uint32_t eventTime = 0);

    // What lies below the window, painted under the dock when no compositing manager blends it:
    // anti-aliased edges then mix with the desktop instead of black. Null: nothing (translucent).
    void setBackdrop(const QImage& image);
    bool hasBackdrop() const { return !backdrop.isNull(); }
    // Paints the backdrop into `area` (window coordinates), as a paint event does.
    void paintBackdrop(QPainter& painter, const QRegion& area) const;
    // The window pixels the backdrop sets outright; empty without one.
    QRect backdropArea() const
    {
        return backdrop.isNull() ? QRect() : QRect(QPoint(0, 0), backdrop.deviceIndependentSize().toSize());
    }

    // Told when keyboard mode changes, so the window system can let the focus in (and activate
    // the window) or give it back; answers whether the window holds the focus already.
    std::function<bool(bool on, std::uint32_t eventTime)> onKeyboardModeChanged;

    // The window system gave the window the keyboard focus or took it away. Losing it, for
    // whatever reason, ends keyboard mode.
    void windowFocusChanged(bool focused);

Q_SIGNALS:
    void keyboardModeChanged(bool on);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool keyboard = false;
    bool activated = false; // the window has had the focus since keyboard mode began
    QImage backdrop;
};

} // namespace wharf
