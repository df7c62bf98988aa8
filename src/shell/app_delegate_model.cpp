// The model's wiring: its providers, and what model, preference and appearance changes do.
#include "shell/app_delegate.h"

#include "dock/dock_window_controller.h"
#include "settings/dock_preferences.h"

#include <QScreen>

namespace wharf {

DockModel::Providers AppDelegate::modelProviders() const
{
    DockModel::Providers providers;
    providers.trashStateProvider = [this] { return trashState(); };
    if (importer) {
        const SystemPinsImporter* source = importer.get();
        providers.systemPinsProvider = [source] { return source->systemPins(); };
    }
    providers.stackArtworkProvider = stackArtworkProvider();
    badgeProviders(providers);
    if (appearance) {
        // The Trash icon has light and dark variants; `automatic` follows the desktop.
        DesktopAppearance* desktop = appearance.get();
        DockPreferences* settings = preferences;
        providers.darkTrashProvider = [desktop, settings] {
            return isDark(settings->dockAppearance(), desktop->isDark());
        };
    }
    return providers;
}

void AppDelegate::wireModel()
{
    subscriptions.push_back(dockModel->onChange.add([this] {
        for (auto& dock : dockControllers)
            dock->dockView().reload();
        updateWindowAvoidance();
    }));
    subscriptions.push_back(preferences->onChange.add([this] { preferencesChanged(); }));
    if (appearance) {
        subscriptions.push_back(appearance->onChange.add([this] {
            dockModel->refresh();
            relayoutDocks();
        }));
    }
}

void AppDelegate::preferencesChanged()
{
    const PreferenceChangeActions actions = applied.apply(*preferences);
    if (actions.refreshModel)
        dockModel->refresh();
    if (actions.rebuildDocks)
        rebuildDocks();
    else
        relayoutDocks();
    updateWindowAvoidance();
}

} // namespace wharf
