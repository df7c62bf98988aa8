#include "platform/x11/x11_frame_presenter.h"

#include "platform/x11/x11_connection.h"

#include <QLoggingCategory>

#include <xcb/shm.h>

#include <sys/ipc.h>
#include <sys/shm.h>

namespace wharf {

Q_LOGGING_CATEGORY(lcFramePresenter, "wharf.dockwindow.present", QtInfoMsg)

// A System V segment attached on both sides; the server's attachment goes with the connection.
struct X11FramePresenter::Segment {
    Segment(xcb_connection_t* connection, std::size_t bytes) : connection(connection)
    {
        const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id < 0)
            return;
        void* mapped = shmat(id, nullptr, 0);
        if (mapped != reinterpret_cast<void*>(-1)) {
            seg = xcb_generate_id(connection);
            const auto error =
                xcbReply(xcb_request_check(connection, xcb_shm_attach_checked(connection, seg, uint32_t(id), 0)));
            if (error) {
                shmdt(mapped);
                seg = 0;
            } else {
                address = static_cast<uchar*>(mapped);
            }
        }
        // Marked for removal now, so that it goes when both sides let go, even after a crash.
        shmctl(id, IPC_RMID, nullptr);
    }
    ~Segment()
    {
        if (!address)
            return;
        xcb_shm_detach(connection, seg);
        xcb_flush(connection);
        shmdt(address);
    }
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    xcb_connection_t* connection;
    xcb_shm_seg_t seg = 0;
    uchar* address = nullptr;
};

std::unique_ptr<X11FramePresenter> X11FramePresenter::create()
{
    // The display Qt opened: both take it from DISPLAY.
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return nullptr;
    }
    const auto* extension = xcb_get_extension_data(connection, &xcb_shm_id);
    const auto version = extension && extension->present
        ? xcbReply(xcb_shm_query_version_reply(connection, xcb_shm_query_version(connection), nullptr))
        : xcbReply<xcb_shm_query_version_reply_t>(nullptr);
    if (!version) {
        qCInfo(lcFramePresenter, "The display has no shared memory extension: dock frames go through Qt");
        xcb_disconnect(connection);
        return nullptr;
    }
    std::unique_ptr<X11FramePresenter> presenter(new X11FramePresenter(connection));
    presenter->completionEvent = extension->first_event + XCB_SHM_COMPLETION;
    presenter->shmRequest = extension->major_opcode;
    return presenter;
}

X11FramePresenter::X11FramePresenter(xcb_connection_t* connection) : connection(connection) {}

X11FramePresenter::~X11FramePresenter()
{
    painter.reset();
    image = QImage();
    segment.reset();
    xcb_disconnect(connection);
}

void X11FramePresenter::finishPending()
{
    // By the next frame the server has long read the last one: its answer is already waiting.
    while (pending && !failed) {
        const auto event = xcbReply(xcb_wait_for_event(connection));
        if (!event) {
            failed = true; // the connection broke
            break;
        }
        handle(*event);
    }
    pending = false;
}

void X11FramePresenter::readEvents()
{
    // One read of the socket: what arrives after it waits for the next frame, and the read that
    // would only find the socket empty is saved.
    for (auto event = xcbReply(xcb_poll_for_event(connection)); event;
         event = xcbReply(xcb_poll_for_queued_event(connection)))
        handle(*event);
}

void X11FramePresenter::handle(const xcb_generic_event_t& event)
{
    const int type = event.response_type & 0x7f;
    if (type == completionEvent) {
        pending = false;
    } else if (type == 0) {
        const auto& error = reinterpret_cast<const xcb_generic_error_t&>(event);
        // Only the frames' own requests: the owner's selections may fail on their own.
        const bool frames = error.major_code == shmRequest || error.major_code == XCB_CREATE_GC;
        qCWarning(lcFramePresenter, "The X server refused %s (error %d, request %d.%d)%s",
                  frames ? "a dock frame" : "a request", error.error_code, error.major_code, error.minor_code,
                  frames ? ": drawing through Qt from now on" : "");
        failed = failed || frames;
    } else if (onEvent) {
        onEvent(event);
    }
}

bool X11FramePresenter::prepareWindow(xcb_window_t target)
{
    if (target == window)
        return gc != 0;
    if (gc)
        xcb_free_gc(connection, gc);
    gc = 0;
    window = target;
    const auto geometry =
        xcbReply(xcb_get_geometry_reply(connection, xcb_get_geometry(connection, target), nullptr));
    // Only a window with an alpha channel: the image is premultiplied ARGB, as Qt draws it.
    if (!geometry || geometry->depth != 32) {
        qCInfo(lcFramePresenter, "The dock window has no alpha channel: its frames go through Qt");
        failed = true;
        return false;
    }
    gc = xcb_generate_id(connection);
    xcb_create_gc(connection, gc, target, 0, nullptr);
    return true;
}

QPainter* X11FramePresenter::frame(xcb_window_t target, QSize pixels, qreal scale)
{
    finishPending();
    if (failed || pixels.isEmpty() || !prepareWindow(target))
        return nullptr;
    if (image.size() != pixels || image.devicePixelRatio() != scale)
        painter.reset(); // it took the image's size and scale when it began
    if (image.size() != pixels) {
        image = QImage();
        segment = std::make_unique<Segment>(connection, std::size_t(pixels.width()) * pixels.height() * 4);
        if (!segment->address) {
            qCWarning(lcFramePresenter, "No shared memory for dock frames: drawing through Qt from now on");
            segment.reset();
            failed = true;
            return nullptr;
        }
        image = QImage(segment->address, pixels.width(), pixels.height(), pixels.width() * 4,
                       QImage::Format_ARGB32_Premultiplied);
    }
    if (!painter) {
        image.setDevicePixelRatio(scale);
        painter.emplace(&image);
    }
    return &*painter;
}

void X11FramePresenter::present(const std::vector<xcb_rectangle_t>& rects)
{
    if (!segment || rects.empty())
        return;
    std::vector<QRect> shown;
    for (const auto& rect : rects) {
        const QRect r = QRect(rect.x, rect.y, rect.width, rect.height).intersected(image.rect());
        if (!r.isEmpty())
            shown.push_back(r);
    }
    if (shown.empty())
        return;
    for (const QRect& r : shown) {
        // Only the last put asks to be told when it is read; the server handles them in order.
        xcb_shm_put_image(connection, window, gc, uint16_t(image.width()), uint16_t(image.height()),
                          uint16_t(r.x()), uint16_t(r.y()), uint16_t(r.width()), uint16_t(r.height()),
                          int16_t(r.x()), int16_t(r.y()), 32, XCB_IMAGE_FORMAT_Z_PIXMAP, &r == &shown.back(),
                          segment->seg, 0);
    }
    pending = true;
    xcb_flush(connection);
}

} // namespace wharf
