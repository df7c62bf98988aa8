#pragma once

#include "platform/x11/app_matcher.h"
#include "platform/x11/application_grouping.h"
#include "platform/x11/process_reader.h"
#include "platform/x11/x11_connection.h"

#include <unordered_map>
#include <vector>

namespace wharf {

// The client windows the window manager lists, with the properties and process facts
// that matching needs, kept up to date by X events: an event only marks what changed,
// and scan() reads all of that in one round trip.
class X11WindowTracker {
public:
    X11WindowTracker(X11Connection& connection, const MatchRules& rules, const DesktopEntryIndex& index);

    // Notes what `event` changed; true when a scan is needed.
    bool handleEvent(const xcb_generic_event_t* event);
    // Reads whatever is marked changed.
    void scan();
    // The window manager's list may have changed unseen (after a wake).
    void markClientListChanged() { clientListDirty_ = true; }
    // Matches every window again (the installed entries changed).
    void rematchAll();
    // Forgets every window and process.
    void forgetAll();

    // Every tracked window in the window manager's order, except those of `self`.
    std::vector<WindowFacts> facts(pid_t self) const;
    xcb_window_t activeWindow() const { return activeWindow_; }
    // Windows whose _NET_WM_ICON changed since the last clearIconChanges().
    bool iconChanged(xcb_window_t window) const;
    void clearIconChanges();

    struct WindowState {
        xcb_window_t window = XCB_WINDOW_NONE;
        bool regular = true;
        bool hidden = false;
        quint64 focusSequence = 0;
    };
    // The windows of the application with this group key, in the window manager's order.
    std::vector<WindowState> windowsOf(const QString& groupKey) const;
    // The focus sequence of the active window.
    quint64 latestFocus() const { return focusCounter_; }

private:
    struct WindowRecord {
        WindowMetadata metadata;
        bool identityDirty = true;  // class, pid, application ids
        bool stateDirty = true;     // type, state, WM_STATE
        bool iconDirty = true;
        bool needsMatch = true;
        bool regularType = true;
        bool skipTaskbar = false;
        bool hidden = false;
        bool urgent = false;        // asks for attention
        bool interpreted = false;
        quint64 focusSequence = 0;
        QString groupKey;
        QString entryId;            // looked up when asked: the index may be rebuilt
        QStringList wmCommand;      // WM_COMMAND, for clients that give no pid
    };

    void readRootProperties();
    void readWindowProperties();
    void matchWindows();

    X11Connection& connection_;
    const MatchRules& rules_;
    const DesktopEntryIndex& index_;
    std::unordered_map<xcb_window_t, WindowRecord> windows_;
    std::vector<xcb_window_t> clientList_;
    std::unordered_map<pid_t, ProcessInfo> processes_;
    xcb_window_t activeWindow_ = XCB_WINDOW_NONE;
    quint64 focusCounter_ = 0;
    bool clientListDirty_ = true;
    bool activeDirty_ = true;
    bool showingDesktopDirty_ = true;
    bool showingDesktop_ = false; // the window manager's "show desktop" hides every window
};

} // namespace wharf
