#pragma once

#include "platform/result.h"

#include <QString>

#include <cstdint>
#include <functional>

namespace wharf {

// Why the global shortcut could not be registered.
struct HotKeyError {
    QString stage; // the step that failed, e.g. "register Control–Option–D"
    int status = 0; // the window system's error code

    // The window system's code for a combination another program already holds.
    static constexpr int alreadyAssigned = 10;

    QString errorDescription() const
    {
        if (status == alreadyAssigned)
            return QStringLiteral("Control–Option–D is already assigned to another application. Change that "
                                  "application's shortcut, then relaunch Wharf to enable keyboard access.");
        return QStringLiteral("Wharf could not %1 (the system error %2). You can still open Wharf from its "
                              "menu bar icon.")
            .arg(stage)
            .arg(status);
    }
};

// The system-wide shortcut Control–Option–D (Ctrl+Alt+D). Used on the main thread only.
class HotKey {
public:
    virtual ~HotKey() = default;

    // Takes the shortcut; `handler` then runs on the main thread at every press, with the press's
    // window-system time (what a window that takes the focus for it must quote).
    virtual Result<void, HotKeyError> registerShortcut(std::function<void(std::uint32_t eventTime)> handler) = 0;
    // Gives the shortcut back; harmless when it is not held.
    virtual void remove() = 0;
};

} // namespace wharf
