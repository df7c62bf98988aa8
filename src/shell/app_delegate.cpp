#include "shell/app_delegate.h"

#include "dock/dock_panel.h"
#include "dock/dock_window_controller.h"
#include "model/dock_model.h"
#include "platform/desktop_appearance.h"
#include "platform/dock_window_platform.h"
#include "settings/dock_preferences.h"
#include "shell/signal_listener.h"
#include "takeover/system_dock_integration.h"

#include <QCursor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QScreen>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <ctime>
#include <cstdio>

Q_LOGGING_CATEGORY(lcLifecycle, "wharf.lifecycle", QtInfoMsg)

namespace wharf {

std::vector<QScreen*> AppDelegate::orderedScreens()
{
    // The primary display first, the others in Qt's order.
    std::vector<QScreen*> screens;
    if (QScreen* primary = QGuiApplication::primaryScreen())
        screens.push_back(primary);
    for (QScreen* screen : QGuiApplication::screens()) {
        if (std::find(screens.begin(), screens.end(), screen) == screens.end())
            screens.push_back(screen);
    }
    return screens;
}

namespace {

void warningAlert(const QString& text, const QString& informativeText)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Wharf"), text, QMessageBox::Ok);
    box.setInformativeText(informativeText);
    box.exec();
}

} // namespace

bool windowListChanged(const std::vector<DockWindow>& stored, const std::vector<DockWindow>& scanned)
{
    return !std::equal(stored.begin(), stored.end(), scanned.begin(), scanned.end(),
                       [](const DockWindow& a, const DockWindow& b) { return a.id == b.id; });
}

AppDelegate::AppDelegate(Parts parts, QObject* parent)
    : QObject(parent),
      presentAlert(warningAlert),
      workspace(std::move(parts.workspace)),
      preferences(parts.preferences),
      appearance(std::move(parts.appearance)),
      dockModel(std::make_unique<DockModel>(*workspace, *preferences, modelProviders())),
      integration(std::move(parts.integration)),
      windowSystem(std::move(parts.windowSystem)),
      windowControl(std::move(parts.windowControl)),
      applied(AppliedPreferences::current(*preferences))
{
}

DockModel::Providers AppDelegate::modelProviders() const
{
    DockModel::Providers providers;
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

AppDelegate::~AppDelegate()
{
    dockModel->onChange = nullptr;
    preferences->onChange = nullptr;
    integration->onIntegrationError = nullptr;
    if (appearance)
        appearance->onChange = nullptr;
    for (auto& dock : dockControllers)
        dock->close();
}

void AppDelegate::applicationDidFinishLaunching()
{
    if (launched)
        return;
    launched = true;
    // Everything stored elsewhere holds the delegate weakly.
    const QPointer<AppDelegate> self(this);

    dockModel->onChange = [self] {
        if (!self)
            return;
        for (auto& dock : self->dockControllers)
            dock->dockView().reload();
        self->updateWindowAvoidance();
    };
    preferences->onChange = [self] {
        if (self)
            self->preferencesChanged();
    };
    connect(qApp, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
        watchScreen(screen);
        scheduleRebuild();
    });
    connect(qApp, &QGuiApplication::screenRemoved, this, &AppDelegate::scheduleRebuild);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, &AppDelegate::scheduleRebuild);
    for (QScreen* screen : QGuiApplication::screens())
        watchScreen(screen);
    integration->onIntegrationError = [self](const QString& message) {
        if (self)
            self->integrationError(message);
    };
    if (appearance) {
        appearance->onChange = [self] {
            if (!self)
                return;
            self->dockModel->refresh();
            self->relayoutDocks();
        };
    }

    if (preferences->replaceSystemDock() && !integration->isEnabled()) {
        if (const auto error = integration->enable()) {
            integration->lastError = error->message;
            preferences->setValue(DockPreferences::replaceSystemDockKey, false);
            presentAlert(error->message, QString());
        }
    }

    rebuildDocks();

    startWindowControl();

    signalSources = new SignalListener({SIGTERM, SIGINT}, [](int) { QCoreApplication::quit(); }, this);

    qCInfo(lcLifecycle, "Wharf ready. Displays: %ld, native Dock replaced: %s",
           static_cast<long>(dockControllers.size()), integration->isEnabled() ? "true" : "false");
}

void AppDelegate::applicationWillTerminate()
{
    if (terminated)
        return;
    terminated = true;
    if (windowTimer)
        windowTimer->stop();
    if (windowAvoidance)
        windowAvoidance->stop();
    if (const auto error = integration->restore())
        qCCritical(lcLifecycle, "Restore failed: %s", qUtf8Printable(error->message));
    qCInfo(lcLifecycle, "Wharf stopped.");
}

void AppDelegate::rebuildDocks()
{
    rebuildPending = false;
    applied.showsAllDisplays = preferences->allDisplays();
    for (auto& dock : dockControllers)
        dock->close();
    dockControllers.clear();

    std::vector<QScreen*> screens = orderedScreens();
    if (!applied.showsAllDisplays && screens.size() > 1)
        screens.resize(1);

    const QPointer<AppDelegate> self(this);
    DockViewContext context;
    context.model = dockModel.get();
    context.preferences = preferences;
    context.minimizedWindows = [self] { return self ? self->minimized : std::vector<DockWindow>{}; };
    if (appearance) {
        DesktopAppearance* desktop = appearance.get();
        context.platformIsDark = [desktop] { return desktop->isDark(); };
        context.reduceMotion = [desktop] { return desktop->reduceMotion(); };
    }
    for (QScreen* screen : screens) {
        for (const bool overlay : {false, true}) {
            auto dock = std::make_unique<DockWindowController>(screen, context, overlay, windowSystem.get());
            dock->dockView().onFrameRendered = [this](int) {
                if (++frames == 1) {
                    // Benchmarks compare this with the time they started the process.
                    timespec now{};
                    clock_gettime(CLOCK_REALTIME, &now);
                    qCDebug(lcLifecycle, "First frame at %lld us", static_cast<long long>(now.tv_sec) * 1000000
                                                                        + now.tv_nsec / 1000);
                }
            };
            dockControllers.push_back(std::move(dock));
        }
    }
    updateWindowAvoidance();
}

void AppDelegate::integrationError(const QString& message)
{
    if (!message.isEmpty())
        presentAlert(QStringLiteral("Wharf"), message);
}

void AppDelegate::focusDock()
{
    if (dockControllers.empty())
        return;
    const QPoint pointer = QCursor::pos();
    DockWindowController* target = dockControllers.front().get();
    for (auto& dock : dockControllers) {
        // Full-screen spaces are not tracked yet, so the normal dock is the active one.
        const bool fullScreen = false;
        if (dock->screen() && dock->screen()->geometry().contains(pointer)
            && dock->dockView().isFullScreenOverlay() == fullScreen) {
            target = dock.get();
            break;
        }
    }
    target->panel().setKeyboardMode(true);
}

std::vector<DockSnapshot> AppDelegate::dockSnapshots() const
{
    std::vector<DockSnapshot> out;
    for (const auto& dock : dockControllers) {
        const DockView& view = dock->dockView();
        DockSnapshot snapshot;
        snapshot.display = dock->displayName();
        snapshot.overlay = view.isFullScreenOverlay();
        snapshot.mapped = dock->isMapped();
        snapshot.frame = dock->panel().geometry();
        for (const DockEntry& entry : view.entries())
            snapshot.entryIDs.push_back(entry.identifier());
        for (const QRectF& frame : view.tileFrames())
            snapshot.tiles.push_back(frame.translated(view.pos()));
        snapshot.hoveredIndex = view.hoveredIndex();
        out.push_back(std::move(snapshot));
    }
    return out;
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

void AppDelegate::relayoutDocks()
{
    for (auto& dock : dockControllers) {
        DockView& view = dock->dockView();
        view.markLayoutDirty();
        view.tick();
        view.update();
    }
}

void AppDelegate::scheduleRebuild()
{
    // Display changes arrive in bursts (one per screen and property); rebuild once.
    if (rebuildPending || !launched || terminated)
        return;
    rebuildPending = true;
    QTimer::singleShot(0, this, [this] {
        if (rebuildPending)
            rebuildDocks();
    });
}

void AppDelegate::watchScreen(QScreen* screen)
{
    connect(screen, &QScreen::geometryChanged, this, &AppDelegate::scheduleRebuild, Qt::UniqueConnection);
    connect(screen, &QScreen::availableGeometryChanged, this, &AppDelegate::updateWindowAvoidance,
            Qt::UniqueConnection);
}

int AppDelegate::run(QApplication& app, const std::function<Parts()>& makeParts)
{
    // Single instance: the bus name decides, before anything is touched.
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
        std::fprintf(stderr, "wharf: no session bus (%s); running without single-instance check or D-Bus API.\n",
                     qPrintable(bus.lastError().message()));
    }

    AppDelegate delegate(makeParts());

    service.source.items = [&delegate] { return delegate.model().items(); };
    service.source.docks = [&delegate] { return delegate.dockSnapshots(); };
    service.source.framesRendered = [&delegate] { return delegate.framesRendered(); };
    service.source.focusDock = [&delegate] { delegate.focusDock(); };
    service.source.activate = [&delegate](const QString& id) { return delegate.activateEntry(id); };
    service.source.quit = [] { QCoreApplication::quit(); };

    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate, &AppDelegate::applicationWillTerminate);
    delegate.applicationDidFinishLaunching();
    const int status = app.exec();
    delegate.applicationWillTerminate();
    service.source = {};
    return status;
}

} // namespace wharf
