#include "platform/x11/x11_dock_window.h"

#include "platform/x11/x11_frame_presenter.h"

#include <QEvent>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include <xcb/shape.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

Q_LOGGING_CATEGORY(lcDockWindow, "wharf.dockwindow", QtInfoMsg)

namespace wharf {

namespace {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeDeleter>;

xcb_atom_t intern(xcb_connection_t* connection, const char* name)
{
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::vector<xcb_rectangle_t> rectangles(const QRegion& region, qreal scale)
{
    std::vector<xcb_rectangle_t> out;
    for (const QRect& r : region) {
        const QRect d(QPoint(qFloor(r.left() * scale), qFloor(r.top() * scale)),
                      QPoint(qCeil((r.right() + 1) * scale) - 1, qCeil((r.bottom() + 1) * scale) - 1));
        out.push_back({static_cast<int16_t>(d.x()), static_cast<int16_t>(d.y()),
                       static_cast<uint16_t>(d.width()), static_cast<uint16_t>(d.height())});
    }
    return out;
}

// Pixels of a drawable of depth 24 or 32 as an opaque image; null for any other layout.
QImage grabImage(xcb_connection_t* connection, xcb_drawable_t drawable, const QRect& rect)
{
    if (rect.isEmpty() || xcb_get_setup(connection)->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST)
        return {};
    const Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        connection,
        xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, static_cast<int16_t>(rect.x()),
                      static_cast<int16_t>(rect.y()), static_cast<uint16_t>(rect.width()),
                      static_cast<uint16_t>(rect.height()), ~0u),
        nullptr));
    if (!reply || (reply->depth != 24 && reply->depth != 32))
        return {};
    const int length = xcb_get_image_data_length(reply.get());
    const int stride = length / rect.height();
    if (stride < rect.width() * 4) // not 32 bits per pixel
        return {};
    QImage image(rect.size(), QImage::Format_RGB32);
    const uint8_t* data = xcb_get_image_data(reply.get());
    for (int y = 0; y < rect.height(); ++y)
        std::memcpy(image.scanLine(y), data + std::ptrdiff_t(y) * stride, std::size_t(rect.width()) * 4);
    return image;
}

// Qt keeps each display's top-left corner where it is in device pixels and scales only what lies
// within the display: on any display but the one at the origin, a logical place is not its device
// place over the scale. `origin` is the display's top-left corner (the same in both).
QRect toDevicePixels(const QRect& logical, QPoint origin, qreal scale)
{
    const QPointF topLeft = QPointF(origin) + QPointF(logical.topLeft() - origin) * scale;
    return QRect(QPoint(qRound(topLeft.x()), qRound(topLeft.y())),
                 QSize(qRound(logical.width() * scale), qRound(logical.height() * scale)));
}

QPoint toLogicalPoint(QPoint pixels, QPoint origin, qreal scale)
{
    const QPointF logical = QPointF(origin) + QPointF(pixels - origin) / scale;
    return QPoint(qRound(logical.x()), qRound(logical.y()));
}

// The top-left corner of the display showing `logical` (global coordinates).
QPoint displayOrigin(const QRect& logical)
{
    const QScreen* screen = QGuiApplication::screenAt(logical.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    return screen ? screen->geometry().topLeft() : QPoint();
}

} // namespace

struct X11DockWindow::Atoms {
    xcb_atom_t windowType, windowTypeDock, state, stateAbove, stateSticky, stateSkipTaskbar,
        stateSkipPager, stateHidden, desktop, strutPartial, strut, activeWindow, wmProtocols, wmTakeFocus, clientList, workArea,
        rootPixmap, esetrootPixmap, xsetrootId;
};

namespace {

// Qt lists WM_TAKE_FOCUS for every window; a window that takes no input must not, or window
// managers mark it focused (xfwm4) or demanding attention (mutter).
void advertiseTakeFocus(xcb_connection_t* connection, xcb_window_t window, const X11DockWindow::Atoms& atoms,
                        bool takes)
{
    const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, atoms.wmProtocols, XCB_ATOM_ATOM, 0, 32), nullptr));
    std::vector<xcb_atom_t> protocols;
    if (reply && reply->format == 32) {
        const auto* values = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
        const int count = xcb_get_property_value_length(reply.get()) / 4;
        for (int i = 0; i < count; ++i) {
            if (values[i] != atoms.wmTakeFocus)
                protocols.push_back(values[i]);
        }
    }
    if (takes)
        protocols.push_back(atoms.wmTakeFocus);
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atoms.wmProtocols, XCB_ATOM_ATOM, 32,
                        static_cast<uint32_t>(protocols.size()), protocols.data());
}

// On every desktop, above, out of task bars and pagers. Window managers erase these when a window
// is withdrawn (the normal dock is, while its display shows a full-screen window), and Qt writes
// only its own states back: so before every map, not only the first. (openbox does not make docks
// sticky by itself, and kwin keeps a dock without them on the desktop where it was mapped.)
void describeDockWindow(xcb_connection_t* connection, xcb_window_t window, const X11DockWindow::Atoms& atoms)
{
    const uint32_t allDesktops = 0xFFFFFFFF;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atoms.desktop, XCB_ATOM_CARDINAL, 32, 1,
                        &allDesktops);
    const xcb_atom_t states[] = {atoms.stateAbove, atoms.stateSticky, atoms.stateSkipTaskbar, atoms.stateSkipPager};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atoms.state, XCB_ATOM_ATOM, 32, 4, states);
}

} // namespace

namespace {

// One dock window. Applies its shapes only while mapped: openbox reparents dock windows and
// drops a shape set earlier, so every map gets the current shapes again.
class X11DockWindowPlatform final : public QObject, public DockWindowPlatform, private QAbstractNativeEventFilter {
public:
    X11DockWindowPlatform(QWidget& widget, xcb_connection_t* connection, xcb_window_t root,
                          const X11DockWindow::Atoms& atoms, CallbackList<bool>& compositingChanged,
                          bool compositing, std::weak_ptr<std::set<xcb_window_t>> ownWindows)
        : widget(&widget), connection(connection), root(root), atoms(atoms), compositing(compositing),
          id(static_cast<xcb_window_t>(widget.winId())), ownWindows(std::move(ownWindows))
    {
        compositingSubscription = compositingChanged.add([this](bool on) {
            this->compositing = on;
            applyShapes();
        });
        widget.windowHandle()->installEventFilter(this);
        qApp->installNativeEventFilter(this);
        placeCheck.setSingleShot(true);
        placeCheck.setInterval(100);
        connect(&placeCheck, &QTimer::timeout, this, [this] { checkPlace(); });
        exposeDraw.setSingleShot(true);
        exposeDraw.setInterval(20);
        connect(&exposeDraw, &QTimer::timeout, this, [this] {
            const QRegion area = std::exchange(exposed, QRegion());
            if (this->widget && !area.isEmpty() && !paintDirectly(area, {}, {}))
                this->widget->update(area);
        });
    }

    ~X11DockWindowPlatform() override
    {
        if (qApp)
            qApp->removeNativeEventFilter(this);
        if (const auto own = ownWindows.lock())
            own->erase(id);
    }

    void setInputRegion(const QRegion& region) override
    {
        if (region == inputRegion && shaped)
            return;
        inputRegion = region;
        applyShapes();
    }

    void setVisibleRegion(const QRegion& region) override
    {
        if (region == visibleRegion)
            return;
        visibleRegion = region;
        if (!compositing)
            applyShapes();
    }

    void setLabelRegion(const QRegion& region) override
    {
        if (region == labelRegion)
            return;
        labelRegion = region;
        // The input shape stays: one request, no reply awaited. On the frames' connection it goes
        // out with the frame that draws the label's move, which always follows.
        if (widget && !compositing && shaped) {
            applyBoundingShape();
            if (presenting())
                shapeUnsent = true;
            else
                xcb_flush(connection);
        }
    }

    std::optional<PointerReading> readPointer() const override
    {
        if (!widget)
            return std::nullopt;
        // Asked on the frames' connection when there is one: only this thread reads it, so the
        // answer wakes nothing else, while Qt's event thread reads Qt's.
        xcb_connection_t* link = presenting() ? presenter->link() : connection;
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_query_pointer_reply_t> reply(
            xcb_query_pointer_reply(link, xcb_query_pointer(link, window()), &error));
        std::free(error);
        if (!reply || !reply->same_screen)
            return std::nullopt;
        return PointerReading{QPointF(reply->win_x, reply->win_y) / widget->devicePixelRatioF(),
                              (reply->mask & (XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3)) != 0};
    }

    bool paintDirectly(const QRegion& asked, const QRect& copied, const DirectPainter& draw) override
    {
        const bool shapeWaits = std::exchange(shapeUnsent, false);
        QPainter* frame = nullptr;
        const qreal scale = widget ? widget->devicePixelRatioF() : 1;
        if (widget && widget->windowHandle() && widget->windowHandle()->isExposed() && presenting())
            frame = presenter->frame(window(), (QSizeF(widget->size()) * scale).toSize(), scale);
        if (!frame) {
            if (shapeWaits && presenter)
                xcb_flush(presenter->link()); // no frame to carry the shape, even one the server refused
            return false;
        }
        const QRegion region = asked.united(std::exchange(exposed, QRegion()));
        exposeDraw.stop();
        const auto rects = rectangles(region, scale);
        QPainter& painter = *frame;
        painter.save();
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        // The device pixels wholly inside `copied`.
        const QPoint from(qCeil(copied.left() * scale), qCeil(copied.top() * scale));
        const QPoint to(qFloor((copied.left() + copied.width()) * scale),
                        qFloor((copied.top() + copied.height()) * scale));
        const QRegion kept = copied.isEmpty() ? QRegion() : QRegion(QRect(from, to - QPoint(1, 1)));
        QRegion covered; // every pixel put, in window coordinates, even where the scale splits one
        for (const auto& r : rects) {
            const QRect device(r.x, r.y, r.width, r.height);
            for (const QRect& part : QRegion(device).subtracted(kept)) { // exactly the device rectangles
                const QRectF logical(part.x() / scale, part.y() / scale, part.width() / scale, part.height() / scale);
                painter.fillRect(logical, Qt::transparent);
            }
            covered += QRectF(r.x / scale, r.y / scale, r.width / scale, r.height / scale).toAlignedRect();
        }
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        if (draw)
            draw(painter, covered);
        else
            widget->render(&painter, covered.boundingRect().topLeft(), covered, QWidget::DrawChildren);
        painter.restore();
        presenter->present(rects);
        // Qt's own image of the window no longer matches the screen there: it is repainted before
        // Qt shows it again.
        staleInQt += covered;
        if (staleInQt.rectCount() > 8)
            staleInQt = staleInQt.boundingRect();
        return true;
    }

    bool pauseMotionEvents(bool paused) override
    {
        if (!widget || !xinput)
            return false;
        if (!paused) {
            if (const auto selection = std::exchange(pausedSelection, std::nullopt)) {
                select(*selection, false);
                followMotion(false);
                // Qt saw no expose while the frames' connection took them: a map among them is
                // how Qt learns that the window can be drawn again.
                if (std::exchange(exposedUnseen, false)) {
                    xcb_clear_area(connection, 1, window(), 0, 0, 0, 0);
                    xcb_flush(connection);
                }
            }
            return true;
        }
        if (pausedSelection)
            return true;
        // Qt selects the pointer both in XInput 2, which has no motion hints, and in the core
        // mask, which takes over where XInput 2 stops: both are put back as they were.
        const auto inputCookie = xcb_input_xi_get_selected_events(connection, window());
        const auto coreCookie = xcb_get_window_attributes(connection, window());
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_input_xi_get_selected_events_reply_t> input(
            xcb_input_xi_get_selected_events_reply(connection, inputCookie, &error));
        std::free(std::exchange(error, nullptr));
        const Reply<xcb_get_window_attributes_reply_t> core(
            xcb_get_window_attributes_reply(connection, coreCookie, &error));
        std::free(error);
        if (!input || !core)
            return false;
        Selection selection{{}, core->your_event_mask};
        bool motion = false;
        for (auto it = xcb_input_xi_get_selected_events_masks_iterator(input.get()); it.rem;
             xcb_input_event_mask_next(&it)) {
            const int words = xcb_input_event_mask_mask_length(it.data);
            selection.masks.push_back(maskHeader(*it.data));
            const uint32_t* bits = xcb_input_event_mask_mask(it.data);
            selection.masks.insert(selection.masks.end(), bits, bits + words);
            motion = motion || (words > 0 && (bits[0] & XCB_INPUT_XI_EVENT_MASK_MOTION));
        }
        if (!motion)
            return false; // Qt takes no XInput 2 events here: leave its selection alone
        // First the frames' connection takes the motion, then Qt's lets it go: no move is lost.
        // Without a compositing manager the shape grows under the pointer every frame, and X
        // sends an expose for what it uncovers: those go there too, read with the next frame.
        exposuresOnLink = followMotion(true) && !compositing;
        select(selection, true);
        pausedSelection = std::move(selection);
        return true;
    }

    std::optional<QPointF> followPointer() override
    {
        if (!followsOnLink()) {
            const auto reading = readPointer();
            return reading ? std::optional(reading->position) : std::nullopt;
        }
        presenter->readEvents();
        return std::exchange(followed, std::nullopt);
    }

    bool setAcceptsFocus(bool accepts, std::uint32_t eventTime) override
    {
        if (!widget)
            return false;
        // Change only the input field of WM_HINTS; Qt keeps the window group and state there.
        uint32_t hints[9] = {};
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, window(), XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 0, 9),
            nullptr));
        if (reply && reply->format == 32) {
            const int count = std::min(xcb_get_property_value_length(reply.get()) / 4, 9);
            std::memcpy(hints, xcb_get_property_value(reply.get()), std::size_t(count) * 4);
        }
        hints[0] |= 1u; // InputHint
        hints[1] = accepts ? 1u : 0u;
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window(), XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS,
                            32, 9, hints);
        advertiseTakeFocus(connection, window(), atoms, accepts);
        const bool focused = holdsFocus();
        if (accepts) {
            // Remembered so that leaving keyboard mode can hand the keyboard back.
            previous = activeWindow();
            if (const auto own = ownWindows.lock(); own && own->count(previous))
                previous = XCB_WINDOW_NONE;
            if (widget->windowFlags().testFlag(Qt::X11BypassWindowManagerHint)) {
                // No window manager hands the focus to an override-redirect window: take it.
                xcb_set_input_focus(connection, XCB_INPUT_FOCUS_PARENT, window(),
                                    eventTime ? eventTime : XCB_CURRENT_TIME);
            } else {
                // Qt will not activate a window flagged as taking no focus; ask the window manager
                // directly, as a pager would, so that keys reach the dock.
                activate(window(), eventTime);
            }
        } else if (focused) {
            // Only while the dock still has the keyboard: a window the user chose keeps it. With no
            // window to give it back to (none had it, or it has closed or been minimized since: the
            // window manager would restore it), the dock lets it go, or it would keep the keyboard
            // out of keyboard mode.
            if (previous != XCB_WINDOW_NONE && isShown(previous))
                activate(previous, eventTime);
            else
                xcb_set_input_focus(connection, XCB_INPUT_FOCUS_POINTER_ROOT, XCB_INPUT_FOCUS_POINTER_ROOT,
                                    eventTime ? eventTime : XCB_CURRENT_TIME);
            previous = XCB_WINDOW_NONE;
        } else {
            previous = XCB_WINDOW_NONE;
        }
        xcb_flush(connection);
        return focused;
    }

    void setBottomReservation(int height) override
    {
        if (!widget)
            return;
        if (height <= 0) {
            xcb_delete_property(connection, window(), atoms.strutPartial);
            xcb_delete_property(connection, window(), atoms.strut);
        } else {
            const qreal scale = widget->devicePixelRatioF();
            const QRect frame = toDevicePixels(widget->geometry(), displayOrigin(widget->geometry()), scale);
            const Reply<xcb_get_geometry_reply_t> rootGeometry(
                xcb_get_geometry_reply(connection, xcb_get_geometry(connection, root), nullptr));
            const int rootHeight = rootGeometry ? rootGeometry->height : 0;
            // Struts count from the root window's edge, so a display above another's bottom
            // edge reserves the gap as well.
            const auto bottom =
                static_cast<uint32_t>(qMax(0, rootHeight - (frame.bottom() + 1) + qRound(height * scale)));
            const auto startX = static_cast<uint32_t>(frame.left());
            const auto endX = static_cast<uint32_t>(frame.right());
            const uint32_t partial[12] = {0, 0, 0, bottom, 0, 0, 0, 0, 0, 0, startX, endX};
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window(), atoms.strutPartial,
                                XCB_ATOM_CARDINAL, 32, 12, partial);
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window(), atoms.strut,
                                XCB_ATOM_CARDINAL, 32, 4, partial);
        }
        xcb_flush(connection);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Expose) {
            // On an expose with nothing to repaint, Qt shows the image it has: bring it up to date.
            if (widget && !staleInQt.isEmpty()) {
                widget->update(staleInQt);
                staleInQt = QRegion();
            }
            if (widget && widget->windowHandle() == watched && widget->windowHandle()->isExposed() && !shaped)
                applyShapes();
        } else if (event->type() == QEvent::Show) {
            // Qt sends it before it maps the window.
            if (widget && !widget->windowFlags().testFlag(Qt::X11BypassWindowManagerHint))
                describeDockWindow(connection, window(), atoms);
        } else if (event->type() == QEvent::Hide) {
            shaped = false;
            pauseMotionEvents(false);
        } else if (event->type() == QEvent::MouseButtonPress) {
            // A press anywhere in the window (the divider's handle too) may start a drag, which
            // follows motion events.
            pauseMotionEvents(false);
        }
        return false;
    }

private:
    xcb_window_t window() const { return static_cast<xcb_window_t>(widget->winId()); }

    bool shapeUnsent = false; // a label shape on the frames' connection, for the next frame to send
    bool presenting() const { return presenter && presenter->usable(); }
    // Without a compositing manager the window's shape follows what is drawn: shapes go over the
    // frames' connection, so that each frame shows within the shape set for it.
    xcb_connection_t* shapeConnection() const { return presenting() ? presenter->link() : connection; }

    // The word that starts a device's entry in a list of event masks: its id and mask length.
    static uint32_t maskHeader(const xcb_input_event_mask_t& mask)
    {
        uint32_t word = 0;
        std::memcpy(&word, &mask, sizeof word);
        return word;
    }
    static uint16_t maskWords(uint32_t header)
    {
        xcb_input_event_mask_t mask;
        std::memcpy(&mask, &header, sizeof mask);
        return mask.mask_len;
    }

    bool followsOnLink() const { return presenting() && xinputOnLink; }

    // The frames' connection takes the window's motion while Qt's does not: nothing reads it
    // between frames, so the events wait there, and each frame reads them without asking the
    // server. Where it cannot, the pointer is asked for.
    bool followMotion(bool on)
    {
        // Let go even after the frames stopped going this way: nothing would read the events.
        if (!presenter || (on && !presenter->usable()))
            return false;
        xcb_connection_t* link = presenter->link();
        if (!xinputOnLink) {
            const auto* extension = xcb_get_extension_data(link, &xcb_input_id);
            if (!extension || !extension->present)
                return false;
            xcb_generic_error_t* error = nullptr;
            const Reply<xcb_input_xi_query_version_reply_t> version(
                xcb_input_xi_query_version_reply(link, xcb_input_xi_query_version(link, 2, 0), &error));
            std::free(error);
            if (!version)
                return false;
            xinputOpcode = extension->major_opcode;
            xinputOnLink = true;
            presenter->onEvent = [this](const xcb_generic_event_t& event) { takeEvent(event); };
        }
        struct {
            xcb_input_event_mask_t head;
            uint32_t mask;
        } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, on ? uint32_t(XCB_INPUT_XI_EVENT_MASK_MOTION) : 0u};
        xcb_input_xi_select_events(link, window(), 1, &selection.head);
        const uint32_t core = on && !compositing ? XCB_EVENT_MASK_EXPOSURE : 0;
        xcb_change_window_attributes(link, window(), XCB_CW_EVENT_MASK, &core);
        xcb_flush(link);
        return true;
    }

    void takeEvent(const xcb_generic_event_t& event)
    {
        if (!widget)
            return;
        if ((event.response_type & 0x7f) == XCB_EXPOSE) {
            const auto& expose = reinterpret_cast<const xcb_expose_event_t&>(event);
            if (expose.window == id && !drawExposed(expose))
                exposedUnseen = true;
            return;
        }
        if ((event.response_type & 0x7f) != XCB_GE_GENERIC)
            return;
        const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        if (generic.extension != xinputOpcode || generic.event_type != XCB_INPUT_MOTION)
            return;
        const auto& motion = reinterpret_cast<const xcb_input_motion_event_t&>(event);
        if (motion.event == window())
            followed = QPointF(motion.event_x / 65536.0, motion.event_y / 65536.0) / widget->devicePixelRatioF();
    }

    // What Qt selected on the window: XInput 2 masks as the server lists them (for each device
    // its header word, then its mask), and the core event mask.
    struct Selection {
        std::vector<uint32_t> masks;
        uint32_t core = 0;
    };

    // Replaces the window's selection on Qt's connection, with or without motion. Without, the
    // buttons come as core events: a press grabs the pointer with the mask it was selected with,
    // and the core one still asks for motion while a button is held, which a drag follows.
    void select(Selection selection, bool withoutMotion)
    {
        constexpr uint32_t pointerEvents = XCB_INPUT_XI_EVENT_MASK_MOTION | XCB_INPUT_XI_EVENT_MASK_BUTTON_PRESS
            | XCB_INPUT_XI_EVENT_MASK_BUTTON_RELEASE;
        uint16_t count = 0;
        for (size_t i = 0; i < selection.masks.size(); i += 1 + maskWords(selection.masks[i]), ++count) {
            if (withoutMotion && maskWords(selection.masks[i]) > 0)
                selection.masks[i + 1] &= ~pointerEvents;
        }
        if (withoutMotion)
            selection.core &= ~uint32_t(XCB_EVENT_MASK_POINTER_MOTION | (exposuresOnLink ? XCB_EVENT_MASK_EXPOSURE : 0));
        xcb_input_xi_select_events(connection, window(), count,
                                   reinterpret_cast<const xcb_input_event_mask_t*>(selection.masks.data()));
        xcb_change_window_attributes(connection, window(), XCB_CW_EVENT_MASK, &selection.core);
        xcb_flush(connection);
    }

    // Focus straight from the server: Qt waits a while after a focus loss before it deactivates
    // a window, and says nothing when the focus comes back meanwhile.
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override
    {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const int type = event->response_type & 0x7f;
        if (type == XCB_EXPOSE)
            return drawExposed(*reinterpret_cast<const xcb_expose_event_t*>(event));
        if (type == XCB_REPARENT_NOTIFY) {
            const auto* reparent = reinterpret_cast<const xcb_reparent_notify_event_t*>(event);
            if (reparent->window == id)
                followFrame(reparent->parent);
            return false;
        }
        if (type == XCB_CONFIGURE_NOTIFY) {
            const auto* configure = reinterpret_cast<const xcb_configure_notify_event_t*>(event);
            if (configure->window == id || (frame != XCB_WINDOW_NONE && configure->window == frame))
                placeCheck.start();
            return false;
        }
        if (type != XCB_FOCUS_IN && type != XCB_FOCUS_OUT)
            return false;
        const auto* focus = reinterpret_cast<const xcb_focus_in_event_t*>(event);
        const bool grab = focus->mode == XCB_NOTIFY_MODE_GRAB || focus->mode == XCB_NOTIFY_MODE_UNGRAB;
        const bool elsewhere = focus->detail == XCB_NOTIFY_DETAIL_INFERIOR || focus->detail == XCB_NOTIFY_DETAIL_POINTER
            || focus->detail == XCB_NOTIFY_DETAIL_POINTER_ROOT || focus->detail == XCB_NOTIFY_DETAIL_NONE;
        if (focus->event == id && !grab && !elsewhere)
            focusChanged.notify(type == XCB_FOCUS_IN);
        return false;
    }

    // Without a compositing manager the shape grows under the pointer every frame, and X asks for
    // what it uncovers: the dock draws that, not Qt from its own older image.
    bool drawExposed(const xcb_expose_event_t& expose)
    {
        if (expose.window != id || compositing || !presenting() || !widget || !widget->windowHandle()
            || !widget->windowHandle()->isExposed())
            return false;
        const qreal scale = widget->devicePixelRatioF();
        exposed += QRectF(expose.x / scale, expose.y / scale, expose.width / scale, expose.height / scale)
                       .toAlignedRect();
        // Drawn with the next frame, or on its own if none comes soon; the frame after the shape
        // change that uncovered it has mostly drawn it already.
        if (expose.count == 0 && !exposeDraw.isActive())
            exposeDraw.start();
        return true;
    }

    xcb_window_t activeWindow() const
    {
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, root, atoms.activeWindow, XCB_ATOM_WINDOW, 0, 1), nullptr));
        if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
            return XCB_WINDOW_NONE;
        return *static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
    }

    bool holdsFocus() const
    {
        const Reply<xcb_get_input_focus_reply_t> reply(
            xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
        return reply && reply->focus == window();
    }

    // Still there and not minimized.
    bool isShown(xcb_window_t target) const
    {
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, target, atoms.state, XCB_ATOM_ATOM, 0, 32), &error));
        std::free(error);
        if (!reply)
            return false; // gone
        const auto* states = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
        const int count = reply->format == 32 ? xcb_get_property_value_length(reply.get()) / 4 : 0;
        return std::find(states, states + count, atoms.stateHidden) == states + count;
    }

    // _NET_ACTIVE_WINDOW with source 2 (a pager: the user asked for it through us).
    void activate(xcb_window_t target, std::uint32_t eventTime)
    {
        xcb_client_message_event_t message = {};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = target;
        message.type = atoms.activeWindow;
        message.data.data32[0] = 2;
        message.data.data32[1] = eventTime ? eventTime : XCB_CURRENT_TIME;
        xcb_send_event(connection, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
    }

    // Qt asks the server where its window is when it handles a ConfigureNotify, not when the server
    // sent it. Asked while the window manager is framing the dock, the answer can be the new frame's
    // place before the frame was moved, and moving the frame tells the dock nothing: menus, labels
    // and drags would then be placed against the wrong spot. So the dock follows its frame's moves
    // too, and tells Qt again, as a window manager would, when Qt is wrong.
    void followFrame(xcb_window_t parent)
    {
        frame = parent == root ? xcb_window_t{XCB_WINDOW_NONE} : parent;
        if (frame != XCB_WINDOW_NONE) {
            const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
            xcb_change_window_attributes(connection, frame, XCB_CW_EVENT_MASK, &mask);
            xcb_flush(connection);
        }
        placeCheck.start();
    }

    void checkPlace()
    {
        if (!widget || !widget->windowHandle())
            return;
        const Reply<xcb_get_geometry_reply_t> size(
            xcb_get_geometry_reply(connection, xcb_get_geometry(connection, id), nullptr));
        const Reply<xcb_translate_coordinates_reply_t> place(
            xcb_translate_coordinates_reply(connection, xcb_translate_coordinates(connection, id, root, 0, 0), nullptr));
        if (!size || !place)
            return;
        const QRect logical = widget->windowHandle()->geometry();
        const QPoint believed = toDevicePixels(logical, displayOrigin(logical), widget->devicePixelRatioF()).topLeft();
        if (believed == QPoint(place->dst_x, place->dst_y))
            return;
        qCInfo(lcDockWindow, "The dock window is at %d,%d, not at %d,%d as Qt had it", place->dst_x, place->dst_y,
               believed.x(), believed.y());
        xcb_configure_notify_event_t notify = {};
        notify.response_type = XCB_CONFIGURE_NOTIFY;
        notify.event = id;
        notify.window = id;
        notify.x = place->dst_x;
        notify.y = place->dst_y;
        notify.width = size->width;
        notify.height = size->height;
        xcb_send_event(connection, 0, id, XCB_EVENT_MASK_STRUCTURE_NOTIFY, reinterpret_cast<const char*>(&notify));
        xcb_flush(connection);
    }

    void applyShapes()
    {
        if (!widget || !widget->windowHandle() || !widget->windowHandle()->isExposed())
            return;
        const auto rects = rectangles(inputRegion, widget->devicePixelRatioF());
        xcb_shape_rectangles(shapeConnection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                             window(), 0, 0, static_cast<uint32_t>(rects.size()), rects.data());
        shownBelowLabel = visibleRegion.united(inputRegion);
        applyBoundingShape();
        xcb_flush(shapeConnection());
        shaped = true;
    }

    void applyBoundingShape()
    {
        if (compositing) {
            xcb_shape_mask(shapeConnection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, window(), 0, 0, XCB_PIXMAP_NONE);
            return;
        }
        // Translucent pixels would be black: show what is drawn, and the input region too,
        // or X would deliver no input (not even the Leave) where the pointer sees nothing.
        // The dock paints the desktop background under both.
        const auto shown = rectangles(shownBelowLabel.united(labelRegion), widget->devicePixelRatioF());
        xcb_shape_rectangles(shapeConnection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED,
                             window(), 0, 0, static_cast<uint32_t>(shown.size()), shown.data());
    }

    QPointer<QWidget> widget;
    xcb_connection_t* connection;
    xcb_window_t root;
    const X11DockWindow::Atoms& atoms;
    CallbackList<bool>::Subscription compositingSubscription;
    QRegion inputRegion;
    QRegion visibleRegion;
    QRegion labelRegion;
    QRegion shownBelowLabel; // the visible and input regions
    bool compositing;
    bool shaped = false;
    xcb_window_t id;
    xcb_window_t frame = XCB_WINDOW_NONE; // the window manager's, when it frames the dock
    QTimer placeCheck;                    // after the window or its frame moved
    xcb_window_t previous = XCB_WINDOW_NONE; // active before keyboard mode
    std::weak_ptr<std::set<xcb_window_t>> ownWindows;
    std::unique_ptr<X11FramePresenter> presenter = X11FramePresenter::create(); // null: all through Qt
    QRegion staleInQt; // drawn directly since Qt last painted it
    QRegion exposed;   // uncovered and not drawn since
    QTimer exposeDraw; // draws `exposed` when no frame comes first
    bool xinput = xcb_get_extension_data(connection, &xcb_input_id)->present;
    std::optional<Selection> pausedSelection; // Qt's selection, while motion events are paused
    bool xinputOnLink = false; // the frames' connection speaks XInput 2
    uint8_t xinputOpcode = 0;
    std::optional<QPointF> followed; // the latest motion read on the frames' connection
    bool exposuresOnLink = false;    // while paused, the frames' connection takes the exposes too
    bool exposedUnseen = false;      // one came there that Qt should have had
};

} // namespace

bool X11DockWindow::displayReachable(QString* error)
{
    // Another Qt platform (offscreen, for instance) needs no X display.
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (!platform.isEmpty() && !platform.startsWith("xcb"))
        return true;
    const char* display = std::getenv("DISPLAY");
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool ok = xcb_connection_has_error(connection) == 0;
    xcb_disconnect(connection);
    if (!ok && error) {
        *error = (display && *display)
            ? QStringLiteral("cannot open the X display \"%1\"; Wharf needs an X11 session.")
                  .arg(QString::fromLocal8Bit(display))
            : QStringLiteral("no X display (DISPLAY is not set); Wharf needs an X11 session.");
    }
    return ok;
}

std::unique_ptr<X11DockWindow> X11DockWindow::create()
{
    const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return nullptr;
    xcb_connection_t* connection = x11->connection();
    const xcb_setup_t* setup = xcb_get_setup(connection);
    // Qt has one virtual desktop per X screen; docks live on the default one.
    int screenNumber = 0;
    const QByteArray display = qgetenv("DISPLAY");
    if (const int dot = display.lastIndexOf('.'); dot > display.lastIndexOf(':'))
        screenNumber = display.mid(dot + 1).toInt();
    auto it = xcb_setup_roots_iterator(setup);
    for (int i = 0; i < screenNumber && it.rem > 1; ++i)
        xcb_screen_next(&it);
    return std::unique_ptr<X11DockWindow>(new X11DockWindow(connection, it.data->root, screenNumber));
}

X11DockWindow::X11DockWindow(xcb_connection_t* connection, xcb_window_t root, int screenNumber)
    : connection(connection), root(root), atoms(std::make_unique<Atoms>())
{
    atoms->windowType = intern(connection, "_NET_WM_WINDOW_TYPE");
    atoms->windowTypeDock = intern(connection, "_NET_WM_WINDOW_TYPE_DOCK");
    atoms->state = intern(connection, "_NET_WM_STATE");
    atoms->stateAbove = intern(connection, "_NET_WM_STATE_ABOVE");
    atoms->stateSticky = intern(connection, "_NET_WM_STATE_STICKY");
    atoms->stateSkipTaskbar = intern(connection, "_NET_WM_STATE_SKIP_TASKBAR");
    atoms->stateSkipPager = intern(connection, "_NET_WM_STATE_SKIP_PAGER");
    atoms->stateHidden = intern(connection, "_NET_WM_STATE_HIDDEN");
    atoms->desktop = intern(connection, "_NET_WM_DESKTOP");
    atoms->strutPartial = intern(connection, "_NET_WM_STRUT_PARTIAL");
    atoms->strut = intern(connection, "_NET_WM_STRUT");
    atoms->activeWindow = intern(connection, "_NET_ACTIVE_WINDOW");
    atoms->wmProtocols = intern(connection, "WM_PROTOCOLS");
    atoms->wmTakeFocus = intern(connection, "WM_TAKE_FOCUS");
    atoms->clientList = intern(connection, "_NET_CLIENT_LIST");
    atoms->workArea = intern(connection, "_NET_WORKAREA");
    atoms->rootPixmap = intern(connection, "_XROOTPMAP_ID");
    atoms->esetrootPixmap = intern(connection, "ESETROOT_PMAP_ID");
    atoms->xsetrootId = intern(connection, "_XSETROOT_ID");
    compositorSelection = intern(connection, QByteArray("_NET_WM_CM_S" + QByteArray::number(screenNumber)).constData());

    // Qt's xcb backend already asks XFixes for owner changes of this selection; we only need to
    // recognise those events among the ones it receives.
    const char xfixes[] = "XFIXES";
    const Reply<xcb_query_extension_reply_t> extension(xcb_query_extension_reply(
        connection, xcb_query_extension(connection, sizeof xfixes - 1, xfixes), nullptr));
    if (extension && extension->present)
        xfixesFirstEvent = extension->first_event;

    updateCompositing();
    updateStruts();
    qApp->installNativeEventFilter(this);
}

X11DockWindow::~X11DockWindow()
{
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

std::unique_ptr<DockWindowPlatform> X11DockWindow::attach(QWidget& window, DockWindowRole role)
{
    Qt::WindowFlags flags = Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
        | Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint;
    // Window managers stack a focused full-screen window above every dock (openbox's full-screen
    // layer): the overlay dock is override-redirect, and raises itself while shown.
    if (role == DockWindowRole::fullScreenOverlay)
        flags |= Qt::X11BypassWindowManagerHint;
    window.setWindowFlags(flags);
    window.setAttribute(Qt::WA_X11NetWmWindowTypeDock);
    window.setAttribute(Qt::WA_TranslucentBackground);
    window.setAttribute(Qt::WA_ShowWithoutActivating);
    window.setAttribute(Qt::WA_X11DoNotAcceptFocus);
    window.winId(); // creates the native window without mapping it
    const auto id = static_cast<xcb_window_t>(window.winId());

    // Qt writes its own guess (normal, plus a KDE override for frameless windows); docks are docks.
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id, atoms->windowType, XCB_ATOM_ATOM, 32, 1,
                        &atoms->windowTypeDock);
    describeDockWindow(connection, id, *atoms);
    advertiseTakeFocus(connection, id, *atoms, false);
    xcb_flush(connection);
    ownWindows->insert(id);
    return std::make_unique<X11DockWindowPlatform>(window, connection, root, *atoms, compositingChanged,
                                                   compositing, ownWindows);
}

bool X11DockWindow::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const int type = event->response_type & 0x7f;
    if (xfixesFirstEvent >= 0 && type == xfixesFirstEvent) {
        // XFixesSelectionNotify: the selection atom sits after window and owner.
        const auto* words = reinterpret_cast<const uint32_t*>(event);
        if (words[3] == compositorSelection)
            updateCompositing();
    } else if (type == XCB_PROPERTY_NOTIFY) {
        // Window managers rewrite the work area whenever a strut comes, goes or changes.
        const auto* property = reinterpret_cast<const xcb_property_notify_event_t*>(event);
        if (property->window == root && (property->atom == atoms->workArea || property->atom == atoms->clientList))
            updateStruts();
        // Background setters publish their pixmap (or, like xsetroot, drop _XSETROOT_ID).
        if (property->window == root
            && (property->atom == atoms->rootPixmap || property->atom == atoms->esetrootPixmap
                || property->atom == atoms->xsetrootId))
            desktopBackgroundChanged.notify();
    } else if (type == XCB_DESTROY_NOTIFY) {
        const auto* destroy = reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
        if (destroy->window == compositorOwner && compositorOwner != XCB_WINDOW_NONE)
            updateCompositing();
    }
    return false;
}

void X11DockWindow::updateStruts()
{
    if (const Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(connection, xcb_get_geometry(connection, root), nullptr));
        geometry) {
        rootWidth = geometry->width;
        rootHeight = geometry->height;
    }
    // Managed clients, and the window manager's own panels, which it may frame as well (icewm's
    // task bar is three levels below the root): the top three levels of the tree.
    std::vector<xcb_window_t> windows;
    std::vector<xcb_window_t> level{root};
    for (int depth = 0; depth < 3 && !level.empty(); ++depth) {
        std::vector<xcb_query_tree_cookie_t> cookies;
        cookies.reserve(level.size());
        for (const xcb_window_t w : level)
            cookies.push_back(xcb_query_tree(connection, w));
        level.clear();
        for (const auto cookie : cookies) {
            const Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection, cookie, nullptr));
            if (!tree)
                continue;
            const auto* children = xcb_query_tree_children(tree.get());
            level.insert(level.end(), children, children + xcb_query_tree_children_length(tree.get()));
        }
        windows.insert(windows.end(), level.begin(), level.end());
    }
    const Reply<xcb_get_property_reply_t> clients(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, root, atoms->clientList, XCB_ATOM_WINDOW, 0, 4096), nullptr));
    if (clients && clients->format == 32) {
        const auto* ids = static_cast<const xcb_window_t*>(xcb_get_property_value(clients.get()));
        windows.insert(windows.end(), ids, ids + xcb_get_property_value_length(clients.get()) / 4);
    }
    std::sort(windows.begin(), windows.end());
    windows.erase(std::unique(windows.begin(), windows.end()), windows.end());
    std::erase_if(windows, [this](xcb_window_t w) { return ownWindows->count(w) > 0; });

    // Ask for all of them before reading any reply: one round trip, not one per window.
    std::vector<std::pair<xcb_get_property_cookie_t, xcb_get_property_cookie_t>> cookies;
    cookies.reserve(windows.size());
    for (const xcb_window_t w : windows)
        cookies.emplace_back(xcb_get_property(connection, 0, w, atoms->strutPartial, XCB_ATOM_CARDINAL, 0, 12),
                             xcb_get_property(connection, 0, w, atoms->strut, XCB_ATOM_CARDINAL, 0, 4));
    std::vector<Strut> found;
    for (const auto& [partialCookie, plainCookie] : cookies) {
        const Reply<xcb_get_property_reply_t> partial(xcb_get_property_reply(connection, partialCookie, nullptr));
        const Reply<xcb_get_property_reply_t> plain(xcb_get_property_reply(connection, plainCookie, nullptr));
        Strut strut{};
        const auto read = [&strut](const xcb_get_property_reply_t* reply, int count) {
            if (!reply || reply->format != 32 || xcb_get_property_value_length(reply) < count * 4)
                return false;
            std::memcpy(strut.data(), xcb_get_property_value(reply), std::size_t(count) * 4);
            return true;
        };
        if (!read(partial.get(), 12)) {
            if (!read(plain.get(), 4))
                continue;
            // A plain strut spans the whole edge.
            for (int i = 4; i < 12; i += 2) {
                strut[std::size_t(i)] = 0;
                strut[std::size_t(i) + 1] = 0xFFFFFFFF;
            }
        }
        if (strut[0] || strut[1] || strut[2] || strut[3])
            found.push_back(strut);
    }
    std::sort(found.begin(), found.end());
    if (found == struts)
        return;
    struts = std::move(found);
    qCInfo(lcDockWindow, "Other programs reserve %d screen edge(s)", int(struts.size()));
    availableAreaChanged.notify();
}

QRect X11DockWindow::availableArea(const QRect& display) const
{
    const qreal scale = qApp->devicePixelRatio();
    const QRect pixels = toDevicePixels(display, display.topLeft(), scale);
    int left = pixels.left(), top = pixels.top(), right = pixels.right() + 1, bottom = pixels.bottom() + 1;
    const auto overlaps = [](uint32_t start, uint32_t end, int from, int to) {
        return qint64(start) < to && qint64(end) >= from;
    };
    for (const Strut& s : struts) {
        // left, right, top, bottom, then start/end pairs for each edge in the same order.
        if (s[0] && overlaps(s[4], s[5], pixels.top(), pixels.bottom() + 1) && int(s[0]) > pixels.left())
            left = std::max(left, int(s[0]));
        if (s[1] && overlaps(s[6], s[7], pixels.top(), pixels.bottom() + 1) && rootWidth - int(s[1]) < right)
            right = std::min(right, rootWidth - int(s[1]));
        if (s[2] && overlaps(s[8], s[9], pixels.left(), pixels.right() + 1) && int(s[2]) > pixels.top())
            top = std::max(top, int(s[2]));
        if (s[3] && overlaps(s[10], s[11], pixels.left(), pixels.right() + 1) && rootHeight - int(s[3]) < bottom)
            bottom = std::min(bottom, rootHeight - int(s[3]));
    }
    if (right <= left || bottom <= top)
        return display;
    return QRect(toLogicalPoint(QPoint(left, top), display.topLeft(), scale),
                 toLogicalPoint(QPoint(right, bottom), display.topLeft(), scale) - QPoint(1, 1));
}

QImage X11DockWindow::desktopBackground(const QRect& area) const
{
    const qreal scale = qApp->devicePixelRatio();
    const QRect pixels = toDevicePixels(area, displayOrigin(area), scale);
    if (pixels.isEmpty())
        return {};
    QImage tile;
    QPoint tileOrigin; // where the tile's top-left pixel sits on the root
    for (const xcb_atom_t property : {atoms->rootPixmap, atoms->esetrootPixmap}) {
        const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, root, property, XCB_ATOM_PIXMAP, 0, 1), nullptr));
        if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
            continue;
        const auto pixmap = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(reply.get()));
        const Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(connection, xcb_get_geometry(connection, pixmap), nullptr));
        if (!geometry) // a stale id: its owner is gone
            continue;
        const QRect whole(0, 0, geometry->width, geometry->height);
        // Usually the pixmap covers the screen and only the dock's part is read; a smaller one tiles.
        if (whole.contains(pixels)) {
            tile = grabImage(connection, pixmap, pixels);
            tileOrigin = pixels.topLeft();
        } else {
            tile = grabImage(connection, pixmap, whole);
        }
        if (!tile.isNull())
            break;
    }
    if (tile.isNull())
        tile = rootBackgroundSample();
    if (tile.isNull())
        return {};
    QImage image(pixels.size(), QImage::Format_RGB32);
    {
        QPainter painter(&image);
        painter.setBrushOrigin(tileOrigin - pixels.topLeft());
        painter.fillRect(image.rect(), QBrush(tile));
    }
    image.setDevicePixelRatio(scale);
    return image;
}

QImage X11DockWindow::rootBackgroundSample() const
{
    // X tells no one the root window's background; a window of its own that shows its parent's
    // background (ParentRelative), mapped for a moment in the corner, does show it.
    constexpr int size = 32; // a whole number of repeats of xsetroot's patterns
    const xcb_window_t probe = xcb_generate_id(connection);
    const uint32_t values[] = {XCB_BACK_PIXMAP_PARENT_RELATIVE, 1};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, probe, root, 0, 0, size, size, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(connection, probe);
    QImage sample = grabImage(connection, probe, QRect(0, 0, size, size));
    xcb_destroy_window(connection, probe);
    xcb_flush(connection);
    return sample;
}

void X11DockWindow::updateCompositing()
{
    const Reply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, compositorSelection), nullptr));
    compositorOwner = reply ? reply->owner : xcb_window_t{XCB_WINDOW_NONE};
    if (compositorOwner != XCB_WINDOW_NONE) {
        // Also learn of a compositor that dies without giving up the selection cleanly.
        const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection, compositorOwner, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(connection);
    }
    const bool now = compositorOwner != XCB_WINDOW_NONE;
    if (now == compositing)
        return;
    compositing = now;
    qCInfo(lcDockWindow, "Compositing manager %s", now ? "running" : "gone");
    compositingChanged.notify(now);
}

} // namespace wharf
