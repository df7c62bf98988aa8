#include "platform/x11/x11_window_tracker.h"

#include "platform/x11/gobject_ptr.h"

#include <QFileInfo>
#include <QSysInfo>

#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <unordered_set>

namespace wharf {

namespace {

constexpr uint32_t propertyLengthWords = 1024;

QString propertyText(const xcb_get_property_reply_t* reply)
{
    if (!reply || reply->type == XCB_ATOM_NONE || reply->format != 8)
        return {};
    QByteArray bytes(static_cast<const char*>(xcb_get_property_value(reply)), xcb_get_property_value_length(reply));
    while (bytes.endsWith('\0'))
        bytes.chop(1);
    return QString::fromUtf8(bytes);
}

QByteArray propertyBytes(const xcb_get_property_reply_t* reply)
{
    if (!reply || reply->format != 8)
        return {};
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply)), xcb_get_property_value_length(reply));
}

std::vector<xcb_atom_t> propertyAtoms(const xcb_get_property_reply_t* reply)
{
    if (!reply || reply->format != 32)
        return {};
    const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply));
    return std::vector<xcb_atom_t>(atoms, atoms + xcb_get_property_value_length(reply) / 4);
}

std::optional<uint32_t> propertyCardinal(const xcb_get_property_reply_t* reply)
{
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply) < 4)
        return std::nullopt;
    return *static_cast<const uint32_t*>(xcb_get_property_value(reply));
}

QString baseName(const QString& path) { return path.section(QLatin1Char('/'), -1); }

} // namespace

X11WindowTracker::X11WindowTracker(X11Connection& connection, const MatchRules& rules, const DesktopEntryIndex& index)
    : connection_(connection), rules_(rules), index_(index)
{
}

bool X11WindowTracker::handleEvent(const xcb_generic_event_t* event)
{
    const uint8_t type = event->response_type & ~0x80;
    if (type == XCB_PROPERTY_NOTIFY) {
        const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event);
        xcb_ewmh_connection_t* ewmh = connection_.ewmh();
        const auto& atoms = connection_.atoms();
        if (notify->window == connection_.root()) {
            if (notify->atom == ewmh->_NET_CLIENT_LIST)
                clientListDirty_ = true;
            else if (notify->atom == ewmh->_NET_ACTIVE_WINDOW)
                activeDirty_ = true;
            else if (notify->atom == ewmh->_NET_SHOWING_DESKTOP)
                showingDesktopDirty_ = true;
            else
                return false;
            return true;
        }
        const auto it = windows_.find(notify->window);
        if (it == windows_.end())
            return false;
        WindowRecord& record = it->second;
        if (notify->atom == XCB_ATOM_WM_CLASS || notify->atom == ewmh->_NET_WM_PID
            || notify->atom == XCB_ATOM_WM_CLIENT_MACHINE || notify->atom == atoms.gtkApplicationId
            || notify->atom == atoms.kdeDesktopFile)
            record.identityDirty = true;
        else if (notify->atom == ewmh->_NET_WM_STATE || notify->atom == atoms.wmState
                 || notify->atom == ewmh->_NET_WM_WINDOW_TYPE || notify->atom == XCB_ATOM_WM_HINTS)
            record.stateDirty = true;
        else if (notify->atom == ewmh->_NET_WM_ICON)
            record.iconDirty = true;
        else
            return false;
        return true;
    }
    if (type == XCB_DESTROY_NOTIFY) {
        const auto* notify = reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
        if (windows_.count(notify->window)) {
            clientListDirty_ = true;
            return true;
        }
    }
    return false;
}

void X11WindowTracker::rematchAll()
{
    for (auto& [window, record] : windows_)
        record.needsMatch = true;
}

void X11WindowTracker::forgetAll()
{
    windows_.clear();
    processes_.clear();
    clientList_.clear();
    clientListDirty_ = activeDirty_ = true;
}

void X11WindowTracker::scan()
{
    if (clientListDirty_ || activeDirty_ || showingDesktopDirty_)
        readRootProperties();
    readWindowProperties();
    matchWindows();
}

void X11WindowTracker::readRootProperties()
{
    xcb_ewmh_connection_t* ewmh = connection_.ewmh();
    const int screen = connection_.screenNumber();
    // Both requests out before either reply: one round trip.
    const bool readList = std::exchange(clientListDirty_, false);
    const bool readActive = std::exchange(activeDirty_, false);
    const bool readShowing = std::exchange(showingDesktopDirty_, false);
    xcb_get_property_cookie_t listCookie{}, activeCookie{}, showingCookie{};
    if (readList)
        listCookie = xcb_ewmh_get_client_list(ewmh, screen);
    if (readActive)
        activeCookie = xcb_ewmh_get_active_window(ewmh, screen);
    if (readShowing)
        showingCookie = xcb_ewmh_get_showing_desktop(ewmh, screen);
    if (readShowing) {
        uint32_t showing = 0;
        showingDesktop_ = xcb_ewmh_get_showing_desktop_reply(ewmh, showingCookie, &showing, nullptr) && showing;
    }

    if (readList) {
        xcb_ewmh_get_windows_reply_t list{};
        std::vector<xcb_window_t> windows;
        if (xcb_ewmh_get_client_list_reply(ewmh, listCookie, &list, nullptr)) {
            windows.assign(list.windows, list.windows + list.windows_len);
            xcb_ewmh_get_windows_reply_wipe(&list);
        } else {
            // No list (a window manager restarting, or none at all): keep what we knew;
            // windows that are gone drop out when reading them fails.
            windows = clientList_;
        }
        std::unordered_map<xcb_window_t, WindowRecord> kept;
        std::vector<xcb_window_t> order;
        for (xcb_window_t window : windows) {
            if (kept.count(window))
                continue;
            order.push_back(window);
            const auto it = windows_.find(window);
            if (it != windows_.end()) {
                kept.emplace(window, std::move(it->second));
            } else {
                WindowRecord record;
                record.metadata.window = window;
                kept.emplace(window, std::move(record));
                connection_.watchProperties(window, true);
            }
        }
        windows_ = std::move(kept);
        clientList_ = std::move(order);
    }
    if (readActive) {
        xcb_window_t active = XCB_WINDOW_NONE;
        if (!xcb_ewmh_get_active_window_reply(ewmh, activeCookie, &active, nullptr))
            active = XCB_WINDOW_NONE;
        activeWindow_ = active;
    }
    // The window may be listed only now: stamp it after both are read.
    if (const auto it = windows_.find(activeWindow_); readActive && it != windows_.end())
        it->second.focusSequence = ++focusCounter_;
}

void X11WindowTracker::readWindowProperties()
{
    xcb_connection_t* c = connection_.xcb();
    xcb_ewmh_connection_t* ewmh = connection_.ewmh();
    const auto& atoms = connection_.atoms();
    struct Pending {
        xcb_window_t window;
        bool identity;
        bool state;
        xcb_get_property_cookie_t wmClass, pid, machine, gtkId, kdeFile, wmCommand, type, netState, hints;
    };
    std::vector<Pending> pending;
    // Send every request first, then collect: one round trip for all windows.
    for (xcb_window_t window : clientList_) {
        WindowRecord& record = windows_.at(window);
        if (!record.identityDirty && !record.stateDirty)
            continue;
        Pending p{window, record.identityDirty, record.stateDirty, {}, {}, {}, {}, {}, {}, {}, {}, {}};
        auto get = [&](xcb_atom_t property, xcb_atom_t type) {
            return xcb_get_property(c, 0, window, property, type, 0, propertyLengthWords);
        };
        if (p.identity) {
            p.wmClass = get(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
            p.pid = get(ewmh->_NET_WM_PID, XCB_ATOM_CARDINAL);
            p.machine = get(XCB_ATOM_WM_CLIENT_MACHINE, XCB_GET_PROPERTY_TYPE_ANY);
            p.gtkId = get(atoms.gtkApplicationId, XCB_GET_PROPERTY_TYPE_ANY);
            p.kdeFile = get(atoms.kdeDesktopFile, XCB_GET_PROPERTY_TYPE_ANY);
            p.wmCommand = get(XCB_ATOM_WM_COMMAND, XCB_ATOM_STRING);
        }
        if (p.state) {
            p.type = get(ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM);
            p.netState = get(ewmh->_NET_WM_STATE, XCB_ATOM_ATOM);
            p.hints = get(XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS);
        }
        pending.push_back(p);
    }
    std::unordered_set<xcb_window_t> vanished;
    const QString host = QSysInfo::machineHostName();
    for (const Pending& p : pending) {
        WindowRecord& record = windows_.at(p.window);
        bool gone = false;
        auto reply = [&](xcb_get_property_cookie_t cookie) {
            xcb_generic_error_t* error = nullptr;
            auto result = xcbReply(xcb_get_property_reply(c, cookie, &error));
            if (error) {
                gone = gone || error->error_code == XCB_WINDOW;
                std::free(error);
            }
            return result;
        };
        if (p.identity) {
            WindowMetadata& metadata = record.metadata;
            const QByteArray wmClass = propertyBytes(reply(p.wmClass).get());
            std::tie(metadata.wmInstance, metadata.wmClass) = parseWmClass(wmClass);
            // Zero is no process: some clients write it when they do not know.
            const auto pid = propertyCardinal(reply(p.pid).get());
            metadata.pid = localProcess(pid, propertyText(reply(p.machine).get()), host);
            metadata.gtkApplicationId = propertyText(reply(p.gtkId).get());
            metadata.kdeDesktopFile = propertyText(reply(p.kdeFile).get());
            record.wmCommand = splitNulSeparated(propertyBytes(reply(p.wmCommand).get()));
            record.identityDirty = false;
            record.needsMatch = true;
        }
        if (p.state) {
            record.regularType = true;
            for (xcb_atom_t t : propertyAtoms(reply(p.type).get())) {
                if (t == ewmh->_NET_WM_WINDOW_TYPE_NORMAL || t == ewmh->_NET_WM_WINDOW_TYPE_DIALOG)
                    break;
                if (t == ewmh->_NET_WM_WINDOW_TYPE_DOCK || t == ewmh->_NET_WM_WINDOW_TYPE_DESKTOP
                    || t == ewmh->_NET_WM_WINDOW_TYPE_MENU || t == ewmh->_NET_WM_WINDOW_TYPE_TOOLBAR
                    || t == ewmh->_NET_WM_WINDOW_TYPE_SPLASH || t == ewmh->_NET_WM_WINDOW_TYPE_UTILITY
                    || t == ewmh->_NET_WM_WINDOW_TYPE_DROPDOWN_MENU || t == ewmh->_NET_WM_WINDOW_TYPE_POPUP_MENU
                    || t == ewmh->_NET_WM_WINDOW_TYPE_TOOLTIP || t == ewmh->_NET_WM_WINDOW_TYPE_NOTIFICATION
                    || t == ewmh->_NET_WM_WINDOW_TYPE_COMBO || t == ewmh->_NET_WM_WINDOW_TYPE_DND) {
                    record.regularType = false;
                    break;
                }
            }
            const auto states = propertyAtoms(reply(p.netState).get());
            record.skipTaskbar = std::find(states.begin(), states.end(), ewmh->_NET_WM_STATE_SKIP_TASKBAR) != states.end();
            // Minimized: not IconicState, which mutter also gives every window of another workspace.
            record.hidden = std::find(states.begin(), states.end(), ewmh->_NET_WM_STATE_HIDDEN) != states.end();
            // Clients ask for attention with the urgency hint; some window managers say so in the state.
            const auto hints = reply(p.hints);
            const bool hinted = hints && hints->format == 32 && xcb_get_property_value_length(hints.get()) >= 4
                && (*static_cast<const uint32_t*>(xcb_get_property_value(hints.get())) & XCB_ICCCM_WM_HINT_X_URGENCY);
            record.urgent = hinted
                || std::find(states.begin(), states.end(), ewmh->_NET_WM_STATE_DEMANDS_ATTENTION) != states.end();
            record.stateDirty = false;
        }
        if (gone)
            vanished.insert(p.window);
    }
    if (vanished.empty())
        return;
    for (xcb_window_t window : vanished)
        windows_.erase(window);
    std::erase_if(clientList_, [&](xcb_window_t window) { return vanished.count(window) > 0; });
}

void X11WindowTracker::matchWindows()
{
    std::unordered_set<pid_t> alive;
    for (xcb_window_t window : clientList_) {
        WindowRecord& record = windows_.at(window);
        const std::optional<pid_t> pid = record.metadata.pid;
        if (pid)
            alive.insert(*pid);
        if (!record.needsMatch)
            continue;
        record.needsMatch = false;
        if (pid) {
            auto it = processes_.find(*pid);
            if (it == processes_.end())
                it = processes_.emplace(*pid, readProcessInfo(*pid)).first;
            applyProcessInfo(it->second, record.metadata);
        } else {
            // Old Xt clients name no pid but still say what command started them.
            record.metadata.commandLine = record.wmCommand;
        }
        // Another user's process hides its executable; its command line still names it.
        if (record.metadata.executable.isEmpty() && !record.metadata.commandLine.isEmpty()) {
            GCharPtr found(g_find_program_in_path(record.metadata.commandLine.first().toLocal8Bit().constData()));
            record.metadata.executable
                = found ? QFileInfo(QString::fromLocal8Bit(found.get())).canonicalFilePath() : QString();
        }
        record.interpreted
            = !record.metadata.executable.isEmpty() && rules_.isInterpreter(baseName(record.metadata.executable));
        const MatchResult match = matchWindow(record.metadata, index_, rules_);
        record.groupKey = match.groupKey;
        record.entryId = match.entry ? match.entry->id : QString();
    }
    std::erase_if(processes_, [&](const auto& process) { return !alive.count(process.first); });
}

std::vector<WindowFacts> X11WindowTracker::facts(pid_t self) const
{
    std::vector<WindowFacts> result;
    result.reserve(clientList_.size());
    for (xcb_window_t window : clientList_) {
        const WindowRecord& record = windows_.at(window);
        const WindowMetadata& metadata = record.metadata;
        if (metadata.pid == self)
            continue;
        WindowFacts facts;
        facts.window = window;
        facts.groupKey = record.groupKey;
        facts.entry = record.entryId.isEmpty() ? nullptr : index_.byId(record.entryId);
        facts.pid = metadata.pid;
        if (metadata.pid) {
            if (const auto process = processes_.find(*metadata.pid); process != processes_.end())
                facts.startTime = process->second.startTime;
        }
        facts.executable = metadata.executable;
        facts.interpreted = record.interpreted;
        facts.wmInstance = metadata.wmInstance;
        facts.wmClass = metadata.wmClass;
        facts.regular = record.regularType && !record.skipTaskbar;
        // "Show desktop" hides every window for a while: none of them is minimized.
        facts.hidden = record.hidden && !showingDesktop_;
        facts.urgent = record.urgent;
        facts.focusSequence = record.focusSequence;
        result.push_back(std::move(facts));
    }
    return result;
}

bool X11WindowTracker::iconChanged(xcb_window_t window) const
{
    const auto it = windows_.find(window);
    return it != windows_.end() && it->second.iconDirty;
}

void X11WindowTracker::clearIconChanges()
{
    for (auto& [window, record] : windows_)
        record.iconDirty = false;
}

std::vector<X11WindowTracker::WindowState> X11WindowTracker::windowsOf(const QString& groupKey) const
{
    std::vector<WindowState> result;
    for (xcb_window_t window : clientList_) {
        const WindowRecord& record = windows_.at(window);
        if (record.groupKey == groupKey)
            result.push_back({window, record.regularType && !record.skipTaskbar, record.hidden && !showingDesktop_,
                              record.focusSequence});
    }
    return result;
}

} // namespace wharf
