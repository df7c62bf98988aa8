#include "windows/window_manager.h"

#include <QHash>
#include <QLoggingCategory>
#include <QPixmap>
#include <QPointer>

Q_LOGGING_CATEGORY(lcWindowControl, "wharf.windows", QtInfoMsg)

namespace wharf {

namespace {

QString ownerName(const QString& name) { return name.isEmpty() ? QStringLiteral("Application") : name; }

} // namespace

WindowManager::WindowManager(WindowControl& control, QObject* parent) : QObject(parent), control(control) {}

WindowManager::~WindowManager()
{
    // The scan reader's connection belongs to the worker's thread: it goes there, after any
    // running scan, and the thread is joined.
    if (worker)
        worker->post([reader = std::move(scanReader)]() mutable { reader.reset(); });
    worker.reset();
}

std::vector<DockWindow> WindowManager::readWindows(const std::vector<ClientWindow>& windows,
                                                   const std::vector<WindowOwner>& owners)
{
    QHash<std::uint32_t, const WindowOwner*> byWindow;
    QHash<pid_t, const WindowOwner*> byPid;
    for (const WindowOwner& owner : owners) {
        for (const std::uint32_t window : owner.windows)
            byWindow.insert(window, &owner);
        for (const pid_t pid : owner.pids)
            byPid.insert(pid, &owner);
    }
    QHash<QString, int> counts;
    std::vector<DockWindow> out;
    for (const ClientWindow& window : windows) {
        // As the desktop grouped it; its process stands in while the desktop has not seen it yet.
        const WindowOwner* owner = byWindow.value(window.id, window.pid > 0 ? byPid.value(window.pid) : nullptr);
        int& count = counts[owner ? owner->key : QString::number(window.pid)];
        if (count >= maxWindowsPerApplication)
            continue;
        ++count;
        const QString appName = ownerName(owner ? owner->name : window.className);
        const QString title = window.title ? window.title->trimmed() : QString();
        out.push_back({window.id, title.isEmpty() ? appName : title, owner ? owner->key : QString(), appName,
                       window.isMinimized});
    }
    return out;
}

QString WindowManager::description(const WindowControlFailure& failure)
{
    switch (failure.kind) {
    case WindowControlFailure::Kind::windowClosed:
        return QStringLiteral("the window has closed");
    case WindowControlFailure::Kind::unsupported:
        return QStringLiteral("the application does not support this window action");
    case WindowControlFailure::Kind::noResponse:
        return QStringLiteral("the application did not respond");
    case WindowControlFailure::Kind::other:
        break;
    }
    return QStringLiteral("the system reported a window error ") + QString::number(failure.code);
}

void WindowManager::scan(std::function<void(std::vector<DockWindow>)> callback)
{
    if (inFlight)
        return;
    inFlight = true;
    if (!worker) {
        scanReader = control.makeReader();
        worker = std::make_unique<SerialWorker>(scanQueueLabel);
    }
    std::vector<WindowOwner> known = owners ? owners() : std::vector<WindowOwner>{};
    const QPointer<WindowManager> self(this);
    worker->post([self, reader = scanReader, known = std::move(known), callback = std::move(callback)]() mutable {
        const std::vector<ClientWindow> clients = reader->clientWindows(maxWindowsPerApplication);
        QHash<std::uint32_t, QImage> images;
        for (const ClientWindow& client : clients) {
            if (!client.icon.isNull())
                images.insert(client.id, client.icon);
        }
        std::vector<DockWindow> minimized;
        for (DockWindow& window : readWindows(clients, known)) {
            if (window.isMinimized)
                minimized.push_back(std::move(window));
        }
        SerialWorker::postToMain([self, callback = std::move(callback), minimized = std::move(minimized),
                                  images = std::move(images)]() mutable {
            // Pixmaps belong to the main thread: icons are made here.
            if (self) {
                self->inFlight = false;
                self->attachIcons(minimized, images);
            }
            callback(std::move(minimized));
        });
    });
}

void WindowManager::attachIcons(std::vector<DockWindow>& windows, const QHash<std::uint32_t, QImage>& images)
{
    QHash<std::uint32_t, QIcon> kept;
    for (DockWindow& window : windows) {
        if (const auto cached = icons.constFind(window.id); cached != icons.constEnd())
            window.icon = *cached;
        else if (const auto image = images.constFind(window.id); image != images.constEnd())
            window.icon = QIcon(QPixmap::fromImage(*image));
        if (!window.icon.isNull())
            kept.insert(window.id, window.icon);
    }
    icons = std::move(kept);
}

std::vector<DockWindow> WindowManager::windows(const QString& appKey)
{
    if (!mainReader)
        mainReader = control.makeReader();
    std::vector<DockWindow> all = readWindows(mainReader->clientWindows(maxWindowsPerApplication),
                                              owners ? owners() : std::vector<WindowOwner>{});
    std::erase_if(all, [&](const DockWindow& window) { return window.appKey != appKey; });
    return all;
}

void WindowManager::focus(const DockWindow& window)
{
    const Result<bool, WindowControlFailure> minimized = control.isMinimized(window.id);
    if (!minimized.ok() && minimized.error().kind == WindowControlFailure::Kind::windowClosed) {
        report(QStringLiteral("“") + window.appName + QStringLiteral("” has closed. Its window is no longer available."));
        return;
    }
    const bool restore = minimized.ok() ? minimized.value() : window.isMinimized;
    // One request restores, raises and focuses; its failure is named after the first step it had to take.
    if (const auto failure = control.activate(window.id).failure()) {
        report((restore ? QStringLiteral("Could not restore “") : QStringLiteral("Could not bring “")) + window.title
               + (restore ? QStringLiteral("”: ") : QStringLiteral("” forward: ")) + description(*failure)
               + QStringLiteral("."));
        return;
    }
    lastError.reset();
}

void WindowManager::minimize(const DockWindow& window)
{
    if (const auto failure = control.minimize(window.id).failure()) {
        report(QStringLiteral("Could not minimize “") + window.title + QStringLiteral("”: ") + description(*failure)
               + QStringLiteral("."));
        return;
    }
    lastError.reset();
}

void WindowManager::report(const QString& message)
{
    lastError = message;
    qCWarning(lcWindowControl, "Wharf window control: %s", qUtf8Printable(message));
    if (onIntegrationError)
        onIntegrationError(message);
}

} // namespace wharf
