#pragma once

#include "platform/window_control.h"
#include "windows/dock_window.h"
#include "windows/serial_worker.h"

#include <QHash>
#include <QIcon>
#include <QImage>
#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <sys/types.h>
#include <vector>

namespace wharf {

// A running program and what tells its windows apart: the windows the desktop grouped into it,
// else (for a window it has not seen yet) their process.
struct WindowOwner {
    QString key; // RunningApplication::key
    QString name;
    std::vector<pid_t> pids;
    std::vector<std::uint32_t> windows;
};

// Reads other programs' windows and acts on them: the minimized windows the dock shows, the
// window lists of context menus, restoring and minimizing. Failures of actions go to
// `onIntegrationError` in the user's words. Called on the main thread.
class WindowManager : public QObject {
    Q_OBJECT

public:
    static constexpr int maxWindowsPerApplication = 128;
    static inline const QString scanQueueLabel = QStringLiteral("com.tamberly.Wharf.window-scan");

    explicit WindowManager(WindowControl& control, QObject* parent = nullptr);
    ~WindowManager() override;

    // The running task-bar programs, for windows' owners; read on the main thread before every
    // scan and window list.
    std::function<std::vector<WindowOwner>()> owners;
    // Receives every reported failure.
    std::function<void(const QString& message)> onIntegrationError;

    // Reads the minimized windows on the scan worker and hands them to `callback` on the main
    // thread. A request while a scan runs is dropped; the running scan delivers its own result.
    void scan(std::function<void(std::vector<DockWindow>)> callback);
    bool scanInFlight() const { return inFlight; }

    // Every window of the program with this key, minimized or not, read now.
    std::vector<DockWindow> windows(const QString& appKey);
    void focus(const DockWindow& window);
    void minimize(const DockWindow& window);
    void report(const QString& message);

    std::optional<QString> lastError;

    // Turns raw client windows into records: owners, trimmed titles, at most
    // maxWindowsPerApplication per program.
    static std::vector<DockWindow> readWindows(const std::vector<ClientWindow>& windows,
                                               const std::vector<WindowOwner>& owners);
    static QString description(const WindowControlFailure& failure);

private:
    WindowControl& control;
    std::unique_ptr<WindowReader> mainReader;   // windows(for:), on this thread
    std::shared_ptr<WindowReader> scanReader;   // used only on the worker
    std::unique_ptr<SerialWorker> worker;       // joined before the readers go
    bool inFlight = false;
    // Window icons by window, kept while the window is listed so that its tile keeps the same icon.
    QHash<std::uint32_t, QIcon> icons;

    void attachIcons(std::vector<DockWindow>& windows, const QHash<std::uint32_t, QImage>& images);
};

} // namespace wharf
