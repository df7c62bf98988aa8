#pragma once

#include "platform/result.h"
#include "trash/trash_state.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QThread>

#include <chrono>
#include <functional>
#include <memory>

namespace wharf {

class TrashObservationWorker;

// Whether any Trash of the user holds items, kept up to date from file-system events on a
// worker thread of its own. Each Trash folder is watched (a missing one through its nearest
// existing parent, so that its creation is seen); a poll runs only while some folder has no
// live watch, so an idle dock wakes nothing.
class TrashStateMonitor : public QObject {
public:
    struct Options {
        // The Trash `files` folders to examine; called on the worker thread.
        std::function<Result<QStringList>()> directories;
        // Triggers within this interval share one scan.
        std::chrono::milliseconds coalescing{80};
        // The safety-net poll while a folder has no live watch.
        std::chrono::milliseconds pollInterval{2000};
        // Whether a path may be watched at all; empty: every path.
        std::function<bool(const QString&)> watchable;
    };

    explicit TrashStateMonitor(Options options, QObject* parent = nullptr);
    ~TrashStateMonitor() override;

    // Starts the worker: the first scan follows after the coalescing interval.
    void start();
    // Asks for a scan soon (mounts, wake, or any other reason to look again).
    void refresh();
    // Stops the worker, its watches and its timers; later results are dropped.
    void stop();

    TrashState currentState() const { return state; }
    QString currentSource() const { return source; }

    // Called on the main thread when the state (not merely its source) changes.
    std::function<void(TrashState)> onChange;

private:
    void receive(TrashState newState, const QString& newSource);

    QThread thread;
    std::unique_ptr<TrashObservationWorker> worker;
    TrashState state = TrashState::unknown;
    QString source = QStringLiteral("unavailable");
};

} // namespace wharf
