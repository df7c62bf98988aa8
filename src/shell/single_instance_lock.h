#pragma once

#include "platform/unique_fd.h"

#include <QString>

namespace wharf {

// The per-session guard that only one Wharf runs: an exclusive flock on a file in the runtime
// directory, held for the life of the process. It does not need the session bus, so a second
// Wharf is stopped even where the bus name cannot decide.
class SingleInstanceLock {
public:
    enum class State {
        held,        // this process is the one instance
        taken,       // another process holds it
        unavailable, // the lock file could not be opened; error() says why
    };

    // $XDG_RUNTIME_DIR/wharf.lock
    static QString defaultPath();

    explicit SingleInstanceLock(const QString& path);

    State state() const { return current; }
    const QString& error() const { return why; }

private:
    UniqueFd fd;
    State current = State::unavailable;
    QString why;
};

} // namespace wharf
