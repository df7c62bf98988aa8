// The takeover's wiring: hide the desktop's own dock at launch, give it back at the end, and
// show what goes wrong in between.
#include "shell/app_delegate.h"

#include "settings/dock_preferences.h"

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcLifecycle)

namespace wharf {

void AppDelegate::wireTakeover()
{
    subscriptions.push_back(
        integration->onIntegrationError.add([this](const QString& message) { integrationError(message); }));

    if (preferences->replaceSystemDock() && !integration->isEnabled()) {
        if (const Status enabled = integration->enable(); !enabled) {
            integration->lastError = enabled.error().message;
            preferences->setValue(DockPreferences::replaceSystemDockKey, false);
            presentAlert(enabled.error().message, QString());
        }
    }
}

void AppDelegate::restoreTakeover()
{
    if (const Status restored = integration->restore(); !restored)
        qCCritical(lcLifecycle, "Restore failed: %s", qUtf8Printable(restored.error().message));
}

void AppDelegate::integrationError(const QString& message)
{
    if (!message.isEmpty())
        presentAlert(QStringLiteral("Wharf"), message);
}

} // namespace wharf
