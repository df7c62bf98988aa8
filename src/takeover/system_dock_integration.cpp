#include "takeover/system_dock_integration.h"

namespace wharf {

bool SystemDockIntegration::handleWatchdogModeIfNeeded(int, char**) { return false; }

SystemDockIntegration::SystemDockIntegration(std::unique_ptr<NativeDock>, QString) {}
SystemDockIntegration::~SystemDockIntegration() = default;

std::optional<DockIntegrationError> SystemDockIntegration::enable() { return std::nullopt; }
std::optional<DockIntegrationError> SystemDockIntegration::restore() { return std::nullopt; }
bool SystemDockIntegration::isEnabled() const { return false; }
bool SystemDockIntegration::nativeDockAvailable() const { return false; }
QString SystemDockIntegration::noNativeDockMessage()
{
    return QStringLiteral("No native dock was found, so there is nothing to hide.");
}

} // namespace wharf
