// The settings window: created on first use, kept for the life of the process.
#include "shell/app_delegate.h"

#include "dock/dock_layout.h"
#include "dock/dock_window_controller.h"
#include "settings/dock_preferences.h"
#include "shell/login_item.h"
#include "shell/settings_controller.h"

#include <QLoggingCategory>
#include <QProcess>
#include <QScreen>

namespace wharf {

std::optional<DockSizing> AppDelegate::firstDockSizing() const
{
    if (dockControllers.empty())
        return std::nullopt;
    const DockView& view = dockControllers.front()->dockView();
    DockSizing sizing;
    sizing.count = int(view.entries().size());
    sizing.separatorIndex = view.separatorIndex();
    sizing.width = std::max(1, view.width());
    const double preferred = DockLayout::preferredDockWidth(sizing.count, sizing.width, preferences->restingIconSize(),
                                                            preferences->dockWidthFraction(), sizing.separatorIndex)
                                 .width;
    sizing.actualWidthFraction =
        DockLayout::actualWidthFraction(sizing.count, sizing.width, preferred, sizing.separatorIndex);
    return sizing;
}

void AppDelegate::wireSettings()
{
    // An open settings window shows the sizes the docks really have.
    const auto updateSizing = [this] {
        if (settingsWindow)
            settingsWindow->updateSizingControls();
    };
    subscriptions.push_back(dockModel->onChange.add(updateSizing));
    subscriptions.push_back(preferences->onChange.add(updateSizing));
}

void AppDelegate::showSettings()
{
    if (!settingsWindow) {
        SettingsController::Context context;
        context.preferences = preferences;
        context.integration = integration.get();
        context.loginItem = loginItem.get();
        const QPointer<AppDelegate> self(this);
        context.dockSizing = [self] { return self ? self->firstDockSizing() : std::nullopt; };
        if (!systemDockSettingsCommand.isEmpty())
            context.openSystemDockSettings = [self] {
                if (self)
                    self->openSystemDockSettings();
            };
        settingsWindow = std::make_unique<SettingsController>(std::move(context));
    } else {
        settingsWindow->refresh();
    }
    settingsWindow->present();
}

void AppDelegate::openSystemDockSettings()
{
    if (systemDockSettingsCommand.isEmpty())
        return;
    const QString program = systemDockSettingsCommand.front();
    if (!QProcess::startDetached(program, systemDockSettingsCommand.mid(1)))
        presentAlert(tr("Couldn’t open the system Dock settings"), tr("%1 could not be started.").arg(program));
}

} // namespace wharf
