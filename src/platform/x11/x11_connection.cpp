#include "platform/x11/x11_connection.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include <cstdio>

namespace wharf {

Q_LOGGING_CATEGORY(lcX11, "wharf.x11")

namespace {

xcb_atom_t internAtom(xcb_connection_t* connection, xcb_intern_atom_cookie_t cookie)
{
    auto reply = xcbReply(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

} // namespace

X11Connection::X11Connection(const QByteArray& display, QObject* parent) : QObject(parent)
{
    displayName_ = display.isEmpty() ? QString::fromLocal8Bit(qgetenv("DISPLAY")) : QString::fromLocal8Bit(display);
    if (displayName_.isEmpty()) {
        error_ = QStringLiteral("no X display: DISPLAY is not set");
        return;
    }
    connection_ = xcb_connect(display.isEmpty() ? nullptr : display.constData(), &screenNumber_);
    if (xcb_connection_has_error(connection_)) {
        error_ = QStringLiteral("cannot connect to the X server on display %1").arg(displayName_);
        return;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (int i = 0; i < screenNumber_ && screens.rem; ++i)
        xcb_screen_next(&screens);
    if (!screens.rem) {
        error_ = QStringLiteral("display %1 has no screen %2").arg(displayName_).arg(screenNumber_);
        return;
    }
    root_ = screens.data->root;

    xcb_intern_atom_cookie_t* ewmhCookies = xcb_ewmh_init_atoms(connection_, &ewmh_);
    auto intern = [this](const char* name) { return xcb_intern_atom(connection_, 0, qstrlen(name), name); };
    const xcb_intern_atom_cookie_t cookies[] = {
        intern("WM_STATE"), intern("WM_CHANGE_STATE"), intern("_GTK_APPLICATION_ID"),
        intern("_KDE_NET_WM_DESKTOP_FILE"), intern("_NET_STARTUP_INFO_BEGIN"), intern("_NET_STARTUP_INFO"),
        intern("UTF8_STRING"),
    };
    ewmhReady_ = xcb_ewmh_init_atoms_replies(&ewmh_, ewmhCookies, nullptr);
    atoms_.wmState = internAtom(connection_, cookies[0]);
    atoms_.wmChangeState = internAtom(connection_, cookies[1]);
    atoms_.gtkApplicationId = internAtom(connection_, cookies[2]);
    atoms_.kdeDesktopFile = internAtom(connection_, cookies[3]);
    atoms_.startupInfoBegin = internAtom(connection_, cookies[4]);
    atoms_.startupInfo = internAtom(connection_, cookies[5]);
    atoms_.utf8String = internAtom(connection_, cookies[6]);
    if (!ewmhReady_ || xcb_connection_has_error(connection_)) {
        error_ = QStringLiteral("cannot set up the X connection on display %1").arg(displayName_);
        return;
    }

    watchProperties(root_, false);
    flush();

    notifier_ = new QSocketNotifier(xcb_get_file_descriptor(connection_), QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &X11Connection::dispatchPending);
    // Events can already sit in xcb's queue, read while waiting for replies above.
    QMetaObject::invokeMethod(this, &X11Connection::dispatchPending, Qt::QueuedConnection);
}

X11Connection::~X11Connection()
{
    if (connection_ && timeWindow_ != XCB_WINDOW_NONE)
        xcb_destroy_window(connection_, timeWindow_);
    if (ewmhReady_)
        xcb_ewmh_connection_wipe(&ewmh_);
    if (connection_)
        xcb_disconnect(connection_);
}

std::vector<xcb_window_t> X11Connection::rootWindowList(xcb_atom_t property)
{
    if (!connection_)
        return {};
    const auto list = xcbReply(
        xcb_get_property_reply(connection_, readProperty(connection_, root_, property, 4096), nullptr));
    return values<xcb_window_t>(list.get());
}

void X11Connection::followClientList(std::unordered_set<xcb_window_t>& watched, bool structure)
{
    if (!connection_)
        return;
    std::unordered_set<xcb_window_t> current;
    for (xcb_window_t window : rootWindowList(ewmh_._NET_CLIENT_LIST)) {
        current.insert(window);
        if (watched.insert(window).second)
            watchProperties(window, structure);
    }
    // Windows that left the list are destroyed or withdrawn.
    std::erase_if(watched, [&](xcb_window_t w) { return !current.count(w); });
    flush();
}

void X11Connection::watchProperties(xcb_window_t window, bool structure)
{
    if (!connection_)
        return;
    uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | (structure ? XCB_EVENT_MASK_STRUCTURE_NOTIFY : 0);
    if (window == root_) {
        // Keep whatever this connection already asked for on the root window.
        auto attributes = xcbReply(
            xcb_get_window_attributes_reply(connection_, xcb_get_window_attributes(connection_, window), nullptr));
        if (attributes)
            mask |= attributes->your_event_mask;
    }
    xcb_change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &mask);
}

void X11Connection::flush()
{
    if (connection_)
        xcb_flush(connection_);
}

bool X11Connection::lost()
{
    if (!connection_ || !xcb_connection_has_error(connection_))
        return false;
    reportLost();
    return true;
}

void X11Connection::dispatchPending()
{
    if (!connection_ || !ok())
        return;
    while (xcb_generic_event_t* raw = xcb_poll_for_event(connection_)) {
        const XcbReply<xcb_generic_event_t> event(raw, &std::free);
        // Errors of requests nobody waits for: mostly windows that vanished meanwhile.
        if (event->response_type == 0) {
            const auto* error = reinterpret_cast<const xcb_generic_error_t*>(event.get());
            qCDebug(lcX11) << "X error" << error->error_code << "for request" << error->major_code;
            continue;
        }
        events.notify(event.get());
    }
    lost();
}

xcb_timestamp_t X11Connection::serverTime()
{
    if (!connection_ || lost())
        return XCB_CURRENT_TIME;
    if (timeWindow_ == XCB_WINDOW_NONE) {
        timeWindow_ = xcb_generate_id(connection_);
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, timeWindow_, root_, -100, -100, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    }
    // Appending nothing changes nothing but still reports the change, with the server's time.
    xcb_change_property(connection_, XCB_PROP_MODE_APPEND, timeWindow_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0,
                        nullptr);
    xcb_flush(connection_);
    std::vector<XcbReply<xcb_generic_event_t>> others;
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    while (xcb_generic_event_t* raw = xcb_wait_for_event(connection_)) {
        XcbReply<xcb_generic_event_t> event(raw, &std::free);
        if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
            const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
            if (change->window == timeWindow_) {
                time = change->time;
                break;
            }
        }
        others.push_back(std::move(event));
    }
    for (const auto& event : others) {
        if (event->response_type != 0)
            events.notify(event.get());
    }
    lost();
    return time;
}

void X11Connection::reportLost()
{
    if (lostReported_)
        return;
    lostReported_ = true;
    std::fprintf(stderr, "wharf: lost the connection to the X server on display %s; quitting\n",
                 qPrintable(displayName_));
    if (notifier_)
        notifier_->setEnabled(false);
    connectionLost.notify();
    if (QCoreApplication::instance())
        QCoreApplication::exit(1);
}

} // namespace wharf
