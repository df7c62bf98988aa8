#pragma once

#include "platform/callback_list.h"
#include "platform/native_dock.h"
#include "takeover/dock_integration_error.h"
#include "takeover/dock_preference_transaction.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace wharf {

class RecoveryHelper;

// Keeps the desktop's own dock out of sight while Wharf runs, and guarantees its return:
// a recovery helper process restores it if Wharf dies without doing so.
class SystemDockIntegration {
public:
    // Runs the recovery helper ("--dock-watchdog PID PATH") or a one-shot restore
    // ("--restore-system-dock") when argv asks for one; answers true when it did, and the process
    // should then exit with status 0 without starting any user interface. A failed one-shot
    // restore exits the process with status 1 itself.
    // `makeDock` builds the desktop's real native dock, only when a mode needs it.
    static bool handleWatchdogModeIfNeeded(int argc, char** argv,
                                           const std::function<std::unique_ptr<NativeDock>()>& makeDock);

    // `dock` must not be null; empty directory = $XDG_DATA_HOME/wharf.
    // Restores a backup left behind by a Wharf that is no longer running.
    explicit SystemDockIntegration(std::unique_ptr<NativeDock> dock, QString directory = {});
    ~SystemDockIntegration();
    SystemDockIntegration(const SystemDockIntegration&) = delete;
    SystemDockIntegration& operator=(const SystemDockIntegration&) = delete;

    // Hides the native dock. Needs a running Qt event loop to notice the helper's end.
    Status enable();
    // Gives the native dock back.
    Status restore();
    bool isEnabled() const { return enabled; }

    bool nativeDockAvailable() const;
    // The sentence shown when there is no native dock to hide.
    static QString noNativeDockMessage();
    QString backupPath() const { return transaction.backupPath(); }
    // The process id of the running recovery helper, 0 when there is none.
    qint64 watchdogPid() const;

    std::optional<QString> lastError;
    // Background failures (the "WharfIntegrationError" notification), on the main thread.
    CallbackList<QString> onIntegrationError;

private:
    Status lockedEnable();
    Status lockedRestore();
    void watchdogEnded();

    std::unique_ptr<NativeDock> dock;
    DockPreferenceTransaction transaction;
    bool enabled = false;
    std::unique_ptr<RecoveryHelper> watchdog;
    // Helpers of earlier sessions, kept until they end so that they are reaped.
    std::vector<std::unique_ptr<RecoveryHelper>> retiredWatchdogs;
    std::optional<QString> sessionToken;
};

} // namespace wharf
