#include "shell/app_delegate.h"

#include "dock/dock_full_screen_state.h"
#include "dock/dock_window_controller.h"
#include "settings/dock_preferences.h"
#include "shell/login_item.h"
#include "shell/settings_controller.h"
#include "shell/signal_listener.h"
#include "stacks/folder_access_store.h"
#include "stacks/stack_artwork.h"
#include "stacks/stack_controller.h"
#include "stacks/stack_preferences.h"
#include "stacks/stack_thumbnail_cache.h"
#include "shell/single_instance_lock.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QLoggingCategory>
#include <QScreen>

#include <csignal>
#include <cstdio>

Q_LOGGING_CATEGORY(lcLifecycle, "wharf.lifecycle", QtInfoMsg)

namespace wharf {

AppDelegate::AppDelegate(Parts parts, QObject* parent)
    : QObject(parent),
      presentAlert([this](const QString& text, const QString& informativeText) {
          if (alertPresenter)
              alertPresenter({text, informativeText});
      }),
      alertPresenter([this](const DockModel::Alert& alert) { return showAlert(alert); }),
      workspace(std::move(parts.workspace)),
      preferences(parts.preferences),
      appearance(std::move(parts.appearance)),
      trashVolumes(std::move(parts.trashVolumes)),
      trashMonitor(makeTrashMonitor(trashVolumes.get())),
      trashOperations(makeTrashOperations(std::move(parts.fileTrash), trashVolumes.get())),
      importer(std::move(parts.importer)),
      launcherEntries(std::move(parts.launcherEntries)),
      stackSettings(std::make_unique<StackPreferences>(*preferences)),
      folderAccess(std::make_unique<FolderAccessStore>(*preferences)),
      artwork(makeStackArtwork()),
      dockModel(std::make_unique<DockModel>(*workspace, *preferences, modelProviders())),
      integration(std::move(parts.integration)),
      windowSystem(std::move(parts.windowSystem)),
      windowStacking(std::move(parts.windowStacking)),
      folderWatcher(std::move(parts.folderWatcher)),
      windowControl(std::move(parts.windowControl)),
      applied(AppliedPreferences::current(*preferences)),
      hotKey(std::move(parts.hotKey)),
      systemDockSettingsCommand(std::move(parts.systemDockSettingsCommand)),
      loginItem(parts.loginItem ? std::move(parts.loginItem) : std::make_unique<LoginItem>())
{
}

AppDelegate::~AppDelegate()
{
    closeStack();
    subscriptions.clear();
    for (auto& dock : dockControllers)
        dock->close();
}

void AppDelegate::applicationDidFinishLaunching()
{
    if (launched)
        return;
    launched = true;

    wireMenus();
    wireModel();
    wireBadges();
    wireSettings();
    wireStacks();
    wireTakeover();
    wireFullScreen();
    wireDocks();
    wireWindows();
    wireTrash();
    wireHotKey();

    qCInfo(lcLifecycle, "Wharf ready. Displays: %ld, native Dock replaced: %s",
           static_cast<long>(dockScreens().size()), integration->isEnabled() ? "true" : "false");
}

void AppDelegate::applicationWillTerminate()
{
    if (terminated)
        return;
    terminated = true;
    if (settingsWindow)
        settingsWindow->rememberPosition();
    unregisterHotKey();
    stopTrash();
    stopWindows();
    restoreTakeover();
    qCInfo(lcLifecycle, "Wharf stopped.");
}

int AppDelegate::run(QApplication& app, const std::function<Parts()>& makeParts)
{
    // Single instance: the lock decides before anything is touched; the bus name backs it up
    // where the lock file cannot be had.
    const SingleInstanceLock lock(SingleInstanceLock::defaultPath());
    if (lock.state() == SingleInstanceLock::State::taken) {
        std::fprintf(stderr, "wharf: Wharf is already running (it holds %s); leaving it alone.\n",
                     qPrintable(SingleInstanceLock::defaultPath()));
        return 0;
    }
    if (lock.state() == SingleInstanceLock::State::unavailable)
        std::fprintf(stderr, "wharf: %s; relying on the session bus alone to run only once.\n",
                     qPrintable(lock.error()));

    // Termination is caught before the bus name appears, so a script that sees the name may stop
    // Wharf at once. A signal before the event loop runs is remembered: quit() does nothing then.
    bool terminationRequested = false;
    const SignalListener signalSources({SIGTERM, SIGINT}, [&terminationRequested](int) {
        terminationRequested = true;
        QCoreApplication::quit();
    });

    QDBusConnection bus = QDBusConnection::sessionBus();
    WharfDBusService service;
    if (bus.isConnected()) {
        bus.registerObject(WharfDBusService::objectPath, &service,
                           QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableProperties);
        if (!bus.registerService(WharfDBusService::serviceName)) {
            const QString owner = bus.interface()->serviceOwner(WharfDBusService::serviceName).value();
            if (!owner.isEmpty()) {
                std::fprintf(stderr, "wharf: Wharf is already running (%s on the session bus); leaving it alone.\n",
                             qPrintable(WharfDBusService::serviceName));
                return 0;
            }
            std::fprintf(stderr, "wharf: cannot own %s on the session bus (%s); running without the D-Bus API.\n",
                         qPrintable(WharfDBusService::serviceName), qPrintable(bus.lastError().message()));
        }
    } else {
        std::fprintf(stderr, "wharf: no session bus (%s); running without the D-Bus API.\n",
                     qPrintable(bus.lastError().message()));
    }

    AppDelegate delegate(makeParts());

    service.source.items = [&delegate] { return delegate.model().items(); };
    service.source.docks = [&delegate] { return delegate.dockSnapshots(); };
    service.source.framesRendered = [&delegate] { return delegate.framesRendered(); };
    service.source.focusDock = [&delegate] { delegate.focusDock(); };
    service.source.trashFull = [&delegate] { return delegate.model().lastKnownTrashFull(); };
    service.source.emptyTrash = [&delegate](auto done) { delegate.emptyTrash(std::move(done)); };
    service.source.recycle = [&delegate](const QStringList& paths, auto done) {
        delegate.recycle(paths, std::move(done));
    };
    service.source.showSettings = [&delegate] { delegate.showSettings(); };
    service.source.showApplicationMenu = [&delegate] { delegate.showApplicationMenu(); };
    service.source.showDividerMenu = [&delegate] { delegate.showDividerMenu(); };
    service.source.activate = [&delegate](const QString& id) { return delegate.activateEntry(id); };
    service.source.alert = [&delegate] { return delegate.alertSnapshot(); };
    service.source.answerAlert = [&delegate](const QString& button) { return delegate.answerAlert(button); };
    service.source.menuItems = [&delegate](const QString& id) { return delegate.menuEntries(id); };
    service.source.chooseMenuItem = [&delegate](const QString& id, const QString& title) {
        return delegate.chooseMenuEntry(id, title);
    };
    service.source.drop = [&delegate](const QStringList& paths, const QString& id, bool copy) {
        return delegate.dropFiles(paths, id, copy);
    };
    service.source.windows = [&delegate](const QString& id) { return delegate.windowsOfItem(id); };
    service.source.minimize = [&delegate](const QString& id) { return delegate.minimizeEntry(id); };
    service.source.showMenu = [&delegate](const QString& id) { return delegate.showEntryMenu(id); };
    service.source.quit = [] { QCoreApplication::quit(); };
    service.source.openStack = [&delegate](const QString& id, QString* error) { return delegate.openStack(id, error); };
    service.source.stack = [&delegate] { return delegate.stackSnapshot(); };
    service.source.setStackViewMode = [&delegate](const QString& id, const QString& mode, QString* error) {
        return delegate.setStackViewMode(id, mode, error);
    };

    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate, &AppDelegate::applicationWillTerminate);
    delegate.applicationDidFinishLaunching();
    const int status = terminationRequested ? 0 : app.exec();
    delegate.applicationWillTerminate();
    service.source = {};
    return status;
}

} // namespace wharf
