#pragma once

#include "takeover/dock_integration_error.h"
#include "platform/unique_fd.h"

#include <QString>

#include <sys/types.h>

#include <functional>
#include <memory>

class QSocketNotifier;

namespace wharf {

// The running recovery helper: a child process started from Wharf's own executable that restores
// the native dock if Wharf ends without doing so.
class RecoveryHelper {
public:
    static constexpr int readyTimeoutMs = 3000;

    // Starts the helper for `ownerPID` and the backup at `backupPath` and waits for its "READY\n".
    static Result<std::unique_ptr<RecoveryHelper>> start(qint32 ownerPID, const QString& backupPath);

    RecoveryHelper(pid_t child, UniqueFd pidfd);
    ~RecoveryHelper();
    RecoveryHelper(const RecoveryHelper&) = delete;
    RecoveryHelper& operator=(const RecoveryHelper&) = delete;

    pid_t pid() const { return child; }
    bool hasEnded() const { return reaped; }
    // Called on the main thread, from the event loop, once the helper has ended; never after this
    // object is gone.
    void onTerminated(std::function<void()> callback);

private:
    void reap();

    pid_t child;
    UniqueFd pidfd;
    bool reaped = false;
    std::unique_ptr<QSocketNotifier> notifier;
};

} // namespace wharf
