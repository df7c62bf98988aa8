#include "platform/x11/x11_window_control.h"

#include "platform/x11/process_reader.h"
#include "platform/x11/x11_window_mover.h"

#include <QSysInfo>
#include <QTimer>

#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <unistd.h>
#include <unordered_map>

namespace wharf {

namespace {

// Titles longer than this are cut: a window with a 100 KB title still costs one small read.
constexpr uint32_t titleWords = 1024;
// Room for the usual sizes up to 128x128 in one read.
constexpr uint32_t iconWords = 2 + 128 * 128 + 2 + 64 * 64 + 2 + 48 * 48 + 2 + 32 * 32 + 2 + 16 * 16;

QByteArray bytes(xcb_get_property_reply_t* reply)
{
    if (!reply || reply->format != 8)
        return {};
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply)), xcb_get_property_value_length(reply));
}

bool contains(const std::vector<xcb_atom_t>& atoms, xcb_atom_t atom)
{
    return std::find(atoms.begin(), atoms.end(), atom) != atoms.end();
}

// "Show desktop" hides every window for a while (mutter marks them all hidden): none of them is
// minimized then.
bool showingDesktop(X11Connection& connection)
{
    xcb_ewmh_connection_t* ewmh = connection.ewmh();
    uint32_t showing = 0;
    return xcb_ewmh_get_showing_desktop_reply(ewmh, xcb_ewmh_get_showing_desktop(ewmh, connection.screenNumber()),
                                              &showing, nullptr)
        && showing;
}

// The size closest to 64 pixels (the smallest at least that big, else the largest) of a
// _NET_WM_ICON list of width, height, ARGB pixels; entries that overrun the data end the list.
QImage bestIcon(xcb_get_property_reply_t* reply)
{
    const std::vector<uint32_t> data = values<uint32_t>(reply);
    std::size_t best = data.size();
    uint32_t bestSize = 0;
    for (std::size_t at = 0; at + 2 <= data.size();) {
        const uint64_t w = data[at], h = data[at + 1];
        if (w == 0 || h == 0 || w > 1024 || h > 1024 || at + 2 + w * h > data.size())
            break;
        const uint32_t size = uint32_t(std::max(w, h));
        const bool better = best == data.size() || (bestSize < 64 ? size > bestSize : size >= 64 && size < bestSize);
        if (better) {
            best = at;
            bestSize = size;
        }
        at += 2 + w * h;
    }
    if (best == data.size())
        return {};
    const int w = int(data[best]), h = int(data[best + 1]);
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        std::copy_n(data.begin() + long(best + 2 + std::size_t(y) * w), w, reinterpret_cast<uint32_t*>(image.scanLine(y)));
    return image;
}

class X11WindowReader : public WindowReader {
public:
    std::vector<ClientWindow> clientWindows(int limitPerProcess) override
    {
        // Opened on first use, on the thread that reads.
        if (!connection_)
            connection_ = std::make_unique<X11Connection>();
        if (!connection_->ok() || connection_->lost())
            return {};
        xcb_connection_t* c = connection_->xcb();
        xcb_ewmh_connection_t* ewmh = connection_->ewmh();
        const std::vector<xcb_window_t> windows = connection_->rootWindowList(ewmh->_NET_CLIENT_LIST);

        struct Cookies {
            xcb_get_property_cookie_t pid, machine, type, state, netName, name, wmClass, transientFor;
        };
        std::vector<Cookies> cookies;
        cookies.reserve(windows.size());
        for (xcb_window_t w : windows) {
            cookies.push_back({readProperty(c, w, ewmh->_NET_WM_PID, 1), readProperty(c, w, XCB_ATOM_WM_CLIENT_MACHINE, 64),
                               readProperty(c, w, ewmh->_NET_WM_WINDOW_TYPE, 32), readProperty(c, w, ewmh->_NET_WM_STATE, 64),
                               readProperty(c, w, ewmh->_NET_WM_NAME, titleWords), readProperty(c, w, XCB_ATOM_WM_NAME, titleWords),
                               readProperty(c, w, XCB_ATOM_WM_CLASS, 256), readProperty(c, w, XCB_ATOM_WM_TRANSIENT_FOR, 1)});
        }
        const bool desktopShown = showingDesktop(*connection_);
        const pid_t self = getpid();
        const QString host = QSysInfo::machineHostName();
        std::unordered_map<pid_t, int> counts;
        std::vector<ClientWindow> out;
        for (std::size_t i = 0; i < windows.size(); ++i) {
            const Cookies& k = cookies[i];
            auto reply = [c](xcb_get_property_cookie_t cookie) {
                return xcbReply(xcb_get_property_reply(c, cookie, nullptr));
            };
            const auto pidReply = reply(k.pid), machineReply = reply(k.machine), typeReply = reply(k.type),
                       stateReply = reply(k.state), netNameReply = reply(k.netName), nameReply = reply(k.name),
                       classReply = reply(k.wmClass), transientReply = reply(k.transientFor);
            const auto pids = values<uint32_t>(pidReply.get());
            // The machine's name up to a terminating NUL.
            const QString machine = QString::fromUtf8(bytes(machineReply.get()).constData());
            const pid_t pid = localProcess(pids.empty() ? std::nullopt : std::optional<quint32>(pids.front()),
                                           machine, host).value_or(0);
            if (pid == self)
                continue;
            // Normal windows only; a window without a type is normal unless it is transient (a dialog).
            const auto types = values<xcb_atom_t>(typeReply.get());
            if (types.empty() ? !values<xcb_window_t>(transientReply.get()).empty()
                              : types.front() != ewmh->_NET_WM_WINDOW_TYPE_NORMAL)
                continue;
            const auto states = values<xcb_atom_t>(stateReply.get());
            if (contains(states, ewmh->_NET_WM_STATE_SKIP_TASKBAR))
                continue;
            if (++counts[pid] > limitPerProcess)
                continue;
            ClientWindow window;
            window.id = windows[i];
            window.pid = pid;
            // Not IconicState, which mutter also gives every window of another workspace.
            window.isMinimized = !desktopShown && contains(states, ewmh->_NET_WM_STATE_HIDDEN);
            // Invalid UTF-8 becomes replacement characters; old clients only set WM_NAME (Latin-1).
            if (netNameReply && netNameReply->format == 8 && netNameReply->type == connection_->atoms().utf8String)
                window.title = QString::fromUtf8(bytes(netNameReply.get()));
            else if (nameReply && nameReply->format == 8)
                window.title = nameReply->type == connection_->atoms().utf8String
                    ? QString::fromUtf8(bytes(nameReply.get()))
                    : QString::fromLatin1(bytes(nameReply.get()));
            // WM_CLASS is "instance\0class\0"; a single string is both.
            const QList<QByteArray> parts = bytes(classReply.get()).split('\0');
            window.className = QString::fromUtf8(parts.size() > 1 && !parts[1].isEmpty() ? parts[1] : parts.value(0));
            out.push_back(std::move(window));
        }
        // Icons only for the windows that become tiles: they are the largest properties read.
        std::vector<xcb_get_property_cookie_t> icons;
        for (const ClientWindow& window : out)
            icons.push_back(window.isMinimized ? readProperty(c, window.id, ewmh->_NET_WM_ICON, iconWords)
                                               : xcb_get_property_cookie_t{});
        for (std::size_t i = 0; i < out.size(); ++i) {
            if (out[i].isMinimized)
                out[i].icon = bestIcon(xcbReply(xcb_get_property_reply(c, icons[i], nullptr)).get());
        }
        return out;
    }

private:
    std::unique_ptr<X11Connection> connection_;
};

} // namespace

X11WindowControl::X11WindowControl(QObject* parent)
    : QObject(parent), connection_(std::make_unique<X11Connection>())
{
    if (!connection_->ok())
        return;
    events_ = connection_->events.add([this](const xcb_generic_event_t* event) { handleEvent(event); });
    xcb_connection_t* c = connection_->xcb();
    const char name[] = "_WHARF_CLOCK";
    const auto atom = xcbReply(xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof(name) - 1, name), nullptr));
    clockAtom_ = atom ? atom->atom : xcb_atom_t(XCB_ATOM_NONE);
    clock_ = xcb_generate_id(c);
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(c, XCB_COPY_FROM_PARENT, clock_, connection_->root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    readClientList();
    connection_->flush();
}

X11WindowControl::~X11WindowControl()
{
    if (connection_->ok() && clock_ != XCB_WINDOW_NONE)
        xcb_destroy_window(connection_->xcb(), clock_);
    connection_->flush();
}

std::unique_ptr<WindowReader> X11WindowControl::makeReader() { return std::make_unique<X11WindowReader>(); }

std::unique_ptr<WindowMover> X11WindowControl::makeMover() { return std::make_unique<X11WindowMover>(); }

void X11WindowControl::handleEvent(const xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
        return;
    const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event);
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    if (notify->window == connection_->root()) {
        if (notify->atom == ewmh->_NET_CLIENT_LIST) {
            readClientList();
            scheduleChanged();
        } else if (notify->atom == ewmh->_NET_SHOWING_DESKTOP) {
            scheduleChanged();
        }
        return;
    }
    if (notify->atom == ewmh->_NET_WM_STATE || notify->atom == connection_->atoms().wmState
        || notify->atom == ewmh->_NET_WM_NAME || notify->atom == XCB_ATOM_WM_NAME)
        scheduleChanged();
}

void X11WindowControl::readClientList()
{
    connection_->followClientList(watched_, false);
}

void X11WindowControl::scheduleChanged()
{
    // One notification per burst of events (a minimize changes WM_STATE and _NET_WM_STATE).
    if (changePending_)
        return;
    changePending_ = true;
    QTimer::singleShot(0, this, [this] {
        changePending_ = false;
        windowsChanged.notify();
    });
}

Result<void, WindowControlFailure> X11WindowControl::checkExists(std::uint32_t window)
{
    if (!connection_->ok() || connection_->lost())
        return WindowControlFailure{WindowControlFailure::Kind::noResponse, 0};
    xcb_generic_error_t* raw = nullptr;
    const auto attributes = xcbReply(xcb_get_window_attributes_reply(
        connection_->xcb(), xcb_get_window_attributes(connection_->xcb(), window), &raw));
    const XcbReply<xcb_generic_error_t> error(raw, &std::free);
    if (error)
        return error->error_code == XCB_WINDOW ? WindowControlFailure{WindowControlFailure::Kind::windowClosed, 0}
                                               : WindowControlFailure{WindowControlFailure::Kind::other, error->error_code};
    if (!attributes)
        return WindowControlFailure{WindowControlFailure::Kind::noResponse, 0};
    return {};
}

Result<bool, WindowControlFailure> X11WindowControl::isMinimized(std::uint32_t window)
{
    if (const auto failure = checkExists(window).failure())
        return *failure;
    xcb_connection_t* c = connection_->xcb();
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    const auto state = xcbReply(xcb_get_property_reply(c, readProperty(c, window, ewmh->_NET_WM_STATE, 64), nullptr));
    return !showingDesktop(*connection_) && contains(values<xcb_atom_t>(state.get()), ewmh->_NET_WM_STATE_HIDDEN);
}

Result<void, WindowControlFailure> X11WindowControl::activate(std::uint32_t window)
{
    if (const auto failure = checkExists(window).failure())
        return *failure;
    // As a pager (source 2) with a real timestamp, so that focus-stealing prevention lets it through;
    // the window manager restores a minimized window it is asked to activate.
    xcb_ewmh_request_change_active_window(connection_->ewmh(), connection_->screenNumber(), window,
                                          XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, serverTime(), XCB_WINDOW_NONE);
    connection_->flush();
    if (connection_->lost())
        return WindowControlFailure{WindowControlFailure::Kind::noResponse, 0};
    return {};
}

Result<void, WindowControlFailure> X11WindowControl::minimize(std::uint32_t window)
{
    if (const auto failure = checkExists(window).failure())
        return *failure;
    // A window manager that lists what a window allows and leaves minimizing out ignores the
    // request (kwin, for a window that takes no input).
    xcb_connection_t* c = connection_->xcb();
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    const auto allowed =
        xcbReply(xcb_get_property_reply(c, readProperty(c, window, ewmh->_NET_WM_ALLOWED_ACTIONS, 64), nullptr));
    if (allowed && allowed->type == XCB_ATOM_ATOM
        && !contains(values<xcb_atom_t>(allowed.get()), ewmh->_NET_WM_ACTION_MINIMIZE))
        return WindowControlFailure{WindowControlFailure::Kind::unsupported, 0};
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = connection_->atoms().wmChangeState;
    message.data.data32[0] = XCB_ICCCM_WM_STATE_ICONIC;
    xcb_send_event(connection_->xcb(), 0, connection_->root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    connection_->flush();
    if (connection_->lost())
        return WindowControlFailure{WindowControlFailure::Kind::noResponse, 0};
    return {};
}

xcb_timestamp_t X11WindowControl::serverTime()
{
    // A zero-length append to our own window makes the server send a PropertyNotify stamped with
    // its current time; other events read meanwhile go on to their listeners.
    xcb_connection_t* c = connection_->xcb();
    if (clock_ == XCB_WINDOW_NONE || clockAtom_ == XCB_ATOM_NONE)
        return XCB_CURRENT_TIME;
    xcb_change_property(c, XCB_PROP_MODE_APPEND, clock_, clockAtom_, XCB_ATOM_STRING, 8, 0, nullptr);
    xcb_flush(c);
    std::vector<XcbReply<xcb_generic_event_t>> others;
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    while (xcb_generic_event_t* raw = xcb_wait_for_event(c)) {
        XcbReply<xcb_generic_event_t> event(raw, &std::free);
        if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
            const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
            if (notify->window == clock_) {
                time = notify->time;
                break;
            }
        }
        others.push_back(std::move(event));
    }
    for (const auto& event : others) {
        if (event->response_type != 0)
            connection_->events.notify(event.get());
    }
    return time;
}

} // namespace wharf
