#pragma once

#include <QImage>
#include <QPainter>
#include <QSize>

#include <xcb/xcb.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace wharf {

// Puts a window's pixels on screen from shared memory, on an X connection of its own.
//
// Qt's backing store waits for the server after every frame before it draws into its image again,
// which costs a round trip, and so two thread wakeups, per frame. Here the server tells when it has
// read the image with a completion event that sits on this connection until the next frame looks
// for it; nothing listens on the connection, so nothing wakes for it.
class X11FramePresenter {
public:
    // nullptr when the display has no usable shared memory extension.
    static std::unique_ptr<X11FramePresenter> create();
    ~X11FramePresenter();
    X11FramePresenter(const X11FramePresenter&) = delete;
    X11FramePresenter& operator=(const X11FramePresenter&) = delete;

    // A painter on an image of `pixels` at `scale` to draw the next frame of `window` into; only
    // what is drawn anew may be presented. It stays begun from frame to frame, which saves setting
    // up the raster engine for each one (a few percent of a sweep): the caller leaves its state as it
    // found it. Null when the window cannot be drawn to this way (not of depth 32, gone, or the
    // server refused). Waits, if it must, for the server to finish reading the last frame.
    QPainter* frame(xcb_window_t window, QSize pixels, qreal scale);
    // Sends the rectangles of the frame (device pixels) to the window.
    void present(const std::vector<xcb_rectangle_t>& rects);
    // False once the server refused something or the window has no alpha channel; the caller
    // draws through Qt from then on.
    bool usable() const { return !failed; }
    // The connection the frames go over: a window's shape set on it changes in order with them.
    xcb_connection_t* link() const { return connection; }
    // Takes the events that have arrived on the connection, without waiting.
    void readEvents();
    // Each event on the connection that is not the frames' own: what the owner selected on it.
    std::function<void(const xcb_generic_event_t&)> onEvent;

private:
    struct Segment;
    explicit X11FramePresenter(xcb_connection_t* connection);
    void finishPending();
    void handle(const xcb_generic_event_t& event);
    bool prepareWindow(xcb_window_t target);

    xcb_connection_t* connection;
    int completionEvent = -1;
    int shmRequest = -1; // the extension's major opcode
    std::unique_ptr<Segment> segment;
    QImage image;
    std::optional<QPainter> painter; // ends before the image and its segment go
    xcb_window_t window = XCB_WINDOW_NONE;
    xcb_gcontext_t gc = 0;
    bool pending = false; // the server may still be reading the image
    bool failed = false;
};

} // namespace wharf
