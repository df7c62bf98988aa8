#pragma once

#include "platform/window_mover.h"
#include "windows/dock_avoidance_permit.h"
#include "windows/dock_avoidance_region.h"

#include <QString>

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

namespace wharf {

// The worker's delays, in milliseconds and seconds.
struct DockAvoidanceTiming {
    int drainDelayMs = 100;
    double confirmedCooldown = 0.8;
    double rejectedCooldown = 4.0;
    double telemetryInterval = 10.0;
};

// Moves windows out of the dock's resting band. Every member runs on the avoidance worker's
// thread; the controller posts to it. Window changes are gathered for a short delay and handled
// by one drain, which reads the window list once.
class DockAvoidanceWorker : public std::enable_shared_from_this<DockAvoidanceWorker> {
public:
    using Timing = DockAvoidanceTiming;
    static constexpr int maxWindowsPerProcess = 64;
    static constexpr std::size_t cooldownPruneThreshold = 512;

    DockAvoidanceWorker(std::shared_ptr<DockAvoidancePermit> permit,
                        std::function<std::unique_ptr<WindowMover>()> makeMover, Timing timing = {});

    void configure(std::vector<DockAvoidanceRegion> regions, bool active, bool fullScan);
    // A window changed; looked at in the next drain.
    void receive();
    void drain();

    // Seconds on a steady clock; replaceable in tests.
    std::function<double()> now;
    // Runs `job` on this thread after `ms` milliseconds; replaceable in tests.
    std::function<void(int ms, std::function<void()> job)> schedule;

    bool isPending() const { return pending; }
    std::size_t cooldownCount() const { return cooldowns.size(); }

private:
    struct Cooldown {
        QRectF frame;
        double until = 0;
    };

    void scheduleDrain();
    void scheduleRetry(double at);
    void correct(const MovableWindow& window);

    std::shared_ptr<DockAvoidancePermit> permit;
    std::function<std::unique_ptr<WindowMover>()> makeMover;
    Timing timing;
    std::unique_ptr<WindowMover> mover;
    CallbackList<>::Subscription moverEvents;
    std::vector<DockAvoidanceRegion> regions;
    bool pending = false;
    bool drainScheduled = false;
    double retryAt = 0;
    std::unordered_map<std::uint32_t, Cooldown> cooldowns;
    double lastTelemetryTime = -1e18;
    long correctedSinceLog = 0;
    long rejectedSinceLog = 0;
};

} // namespace wharf
