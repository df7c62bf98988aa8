#pragma once

#include "platform/native_dock.h"
#include "takeover/dock_integration_error.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace wharf {

// Keeps the desktop's own dock out of sight while Wharf runs, and guarantees its return:
// a recovery helper process restores it if Wharf dies without doing so.
class SystemDockIntegration {
public:
    // Runs the recovery helper or a one-shot restore when argv asks for one; answers true when it
    // did, and the process should then exit with status 0 without starting any user interface.
    static bool handleWatchdogModeIfNeeded(int argc, char** argv);

    // nullptr dock = the desktop's real native dock; empty directory = $XDG_DATA_HOME/wharf.
    explicit SystemDockIntegration(std::unique_ptr<NativeDock> dock = nullptr, QString directory = {});
    ~SystemDockIntegration();
    SystemDockIntegration(const SystemDockIntegration&) = delete;
    SystemDockIntegration& operator=(const SystemDockIntegration&) = delete;

    // nullopt = success.
    std::optional<DockIntegrationError> enable();
    std::optional<DockIntegrationError> restore();
    bool isEnabled() const;

    bool nativeDockAvailable() const;
    // The sentence shown when there is no native dock to hide.
    static QString noNativeDockMessage();

    std::optional<QString> lastError;
    // Background failures (the "WharfIntegrationError" notification); called on the main thread.
    std::function<void(const QString&)> onIntegrationError;
};

} // namespace wharf
