#pragma once

#include "platform/callback_list.h"

#include <QImage>
#include <QPointF>
#include <QRect>
#include <QRegion>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class QPainter;
class QWidget;

namespace wharf {

// The pointer as the window system sees it right now.
struct PointerReading {
    QPointF position; // in the window's (or view's) own coordinates
    bool buttonHeld = false;
};

// The window-system side of one dock window: what Qt's own window flags cannot say.
class DockWindowPlatform {
public:
    virtual ~DockWindowPlatform() = default;

    // Where the window takes the mouse, in window coordinates; clicks anywhere else reach the
    // window below. Applied whenever it changes and again each time the window is mapped.
    virtual void setInputRegion(const QRegion& region) = 0;
    // The pixels drawn opaque enough to show without a compositing manager, in window
    // coordinates. The window is clipped to them and the input region then (X delivers input only
    // inside what is shown); the dock paints the desktop background under both.
    virtual void setVisibleRegion(const QRegion& region) = 0;
    // Shown as well without a compositing manager, and never taking input: what the dock draws
    // outside the visible region and moves every frame (the hover label), in window coordinates.
    virtual void setLabelRegion(const QRegion& region) = 0;
    // Keyboard mode is the only time a dock window may take the focus; accepting also asks for
    // the window to be activated, quoting `eventTime` (the X server time of the key press that
    // asked for it, 0 for none). Refusing while the window still holds the focus gives it back
    // to the window that was active before. Answers whether the window holds the focus already
    // (so no activation will follow).
    virtual bool setAcceptsFocus(bool accepts, std::uint32_t eventTime) = 0;
    // The window got (true) or lost (false) the keyboard focus, in the window system's order.
    // Keyboard grabs (pop-up menus, shortcuts) do not count.
    CallbackList<bool> focusChanged;
    // Reserves `height` pixels along the bottom of the window's screen for maximized and newly
    // placed windows; 0 reserves nothing.
    virtual void setBottomReservation(int height) = 0;
    // Where the pointer is relative to this window, and whether a mouse button is down (a drag
    // given up with Escape still has it down). Asked of the server, not worked out from where Qt
    // believes the window sits: a window manager that frames the dock can leave that stale.
    virtual std::optional<PointerReading> readPointer() const = 0;
    // Stops (true) or restarts the window's motion events, for while the dock follows the pointer
    // with `followPointer` once a frame: a fast mouse then wakes nothing between frames, and neither
    // do the exposes a growing shape makes without a compositing manager. False where motion events
    // cannot be stopped; they keep coming then.
    virtual bool pauseMotionEvents(bool paused) = 0;
    // While motion events are paused, and once more after they resume: where the pointer has
    // moved in the window since the last call, empty if it has not.
    virtual std::optional<QPointF> followPointer() = 0;
    // Paints an area of a window (window coordinates) with a painter whose clip is not set.
    using DirectPainter = std::function<void(QPainter&, const QRegion&)>;
    // Draws `region` of the window (window coordinates) and puts it on screen at once, bypassing
    // Qt's backing store, which waits for the server after every frame. False when the window
    // cannot be drawn to so; the caller then repaints through Qt. `copied`: where the widget sets
    // every pixel outright whatever lay there, which is not cleared first. `draw` paints the
    // cleared area; empty: Qt renders the window's widgets.
    virtual bool paintDirectly(const QRegion& region, const QRect& copied, const DirectPainter& draw) = 0;
};

// The normal dock lives with the other windows; the overlay dock must show above a full-screen
// window, which window managers stack above their docks.
enum class DockWindowRole { normal, fullScreenOverlay };

// The process-wide side: turns top-level widgets into dock windows and follows compositing.
class DockWindowSystem {
public:
    virtual ~DockWindowSystem() = default;

    // Marks `window` (a top-level widget that has not been shown yet) as a dock window: dock type,
    // above other windows, on every desktop, out of task bars and pagers, no focus. The overlay
    // dock is kept out of the window manager's stacking, so it can go above full-screen windows.
    virtual std::unique_ptr<DockWindowPlatform> attach(QWidget& window, DockWindowRole role) = 0;

    // Without a compositing manager translucent pixels come out black, so docks draw only the
    // shelf and clip the window to it.
    virtual bool isCompositing() const = 0;
    CallbackList<bool> compositingChanged;

    // What lies below the docks without a compositing manager, for them to blend their edges
    // against as panels do: the desktop background under `area` (global coordinates). A null image
    // when there is none to read.
    virtual QImage desktopBackground(const QRect& area) const = 0;
    CallbackList<> desktopBackgroundChanged;

    // What other programs leave of `display` (global coordinates): the display less the edges
    // their panels and task bars reserve. The docks' own reservations never count.
    virtual QRect availableArea(const QRect& display) const = 0;
    CallbackList<> availableAreaChanged;
};

} // namespace wharf
