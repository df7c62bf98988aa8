#pragma once

#include "platform/callback_list.h"
#include "platform/result.h"
#include "platform/window_mover.h"

#include <QImage>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace wharf {

// One top-level window of another program, as the window system reports it.
struct ClientWindow {
    std::uint32_t id = 0;
    pid_t pid = 0;                // 0 when it names no process of this machine
    std::optional<QString> title; // none when the window has no readable title
    QString className;            // WM_CLASS class; names the program when nothing better does
    bool isMinimized = false;
    QImage icon{};                // _NET_WM_ICON, read for minimized windows only

    bool operator==(const ClientWindow&) const = default;
};

// Why a window action failed.
struct WindowControlFailure {
    enum class Kind { windowClosed, unsupported, noResponse, other };
    Kind kind = Kind::other;
    int code = 0; // the window system's error code, for `other`

    bool operator==(const WindowControlFailure&) const = default;
};

// Reads the window list. Used by one thread at a time; each reader has its own connection, so
// a scan on a worker never waits for the main thread's traffic.
class WindowReader {
public:
    virtual ~WindowReader() = default;
    // The normal windows of task-bar programs in the order the window manager lists them, at most
    // `limitPerProcess` of each process; Wharf's own windows are left out. Empty when unreadable.
    virtual std::vector<ClientWindow> clientWindows(int limitPerProcess) = 0;
};

// Window actions on other programs' windows and the changes the window list goes through.
// Everything but the readers is called on the main thread.
class WindowControl {
public:
    virtual ~WindowControl() = default;

    virtual std::unique_ptr<WindowReader> makeReader() = 0;
    // A mover for the thread that keeps windows clear of the dock; it connects in start().
    virtual std::unique_ptr<WindowMover> makeMover() = 0;

    // Whether `window` is minimized now; fails when it is gone.
    virtual Result<bool, WindowControlFailure> isMinimized(std::uint32_t window) = 0;
    // Restores the window when it is minimized, raises it and gives it the focus.
    virtual Result<void, WindowControlFailure> activate(std::uint32_t window) = 0;
    virtual Result<void, WindowControlFailure> minimize(std::uint32_t window) = 0;

    // False when changes cannot be watched, so that a poll has to stand in.
    virtual bool watchesChanges() const = 0;
    // A window appeared or vanished, was minimized, restored or renamed; coalesced per event burst.
    CallbackList<> windowsChanged;
};

} // namespace wharf
