// The model's wiring: its providers, and what model, preference and appearance changes do.
#include "shell/app_delegate.h"

#include "dock/dock_window_controller.h"
#include "settings/dock_preferences.h"

#include <QScreen>

namespace wharf {

DockModel::Providers AppDelegate::modelProviders()
{
    DockModel::Providers providers;
    providers.trashStateProvider = [this] { return trashState(); };
    if (importer) {
        const SystemPinsImporter* source = importer.get();
        providers.systemPinsProvider = [source] { return source->systemPins(); };
    }
    providers.stackArtworkProvider = stackArtworkProvider();
    // These run long after construction: through `this`, which owns the model.
    AppDelegate* delegate = this;
    providers.alertPresenter = [delegate](const DockModel::Alert& alert) {
        return delegate->alertPresenter ? delegate->alertPresenter(alert) : alert.defaultButton;
    };
    providers.recycleProvider = [delegate](const QStringList& paths, DockModel::TrashDone done) {
        delegate->recycle(paths, std::move(done));
    };
    providers.emptyTrashProvider = [delegate](DockModel::TrashDone done) { delegate->emptyTrash(std::move(done)); };
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
