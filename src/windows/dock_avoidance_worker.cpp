#include "windows/dock_avoidance_worker.h"

#include "windows/dock_window_constraint.h"

#include <QLoggingCategory>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>

Q_LOGGING_CATEGORY(lcWindowAvoidance, "wharf.WindowAvoidance", QtInfoMsg)

namespace wharf {

DockAvoidanceWorker::DockAvoidanceWorker(std::shared_ptr<DockAvoidancePermit> permit,
                                         std::function<std::unique_ptr<WindowMover>()> makeMover, Timing timing)
    : now([] {
          return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
      }),
      schedule([](int ms, std::function<void()> job) { QTimer::singleShot(ms, std::move(job)); }),
      permit(std::move(permit)),
      makeMover(std::move(makeMover)),
      timing(timing)
{
}

void DockAvoidanceWorker::configure(std::vector<DockAvoidanceRegion> newRegions, bool active, bool fullScan)
{
    regions = std::move(newRegions);
    if (active && permit->active()) {
        if (!mover) {
            mover = makeMover ? makeMover() : nullptr;
            if (!mover || !mover->start()) {
                mover.reset();
                return;
            }
            const std::weak_ptr<DockAvoidanceWorker> weak = weak_from_this();
            moverEvents = mover->changed.add([weak] {
                if (const auto self = weak.lock())
                    self->receive();
            });
        }
        if (fullScan) {
            pending = true;
            scheduleDrain();
        }
        return;
    }
    // Off: forget everything and stop watching, so that nothing wakes while the feature is off.
    pending = false;
    cooldowns.clear();
    moverEvents.reset();
    mover.reset();
}

void DockAvoidanceWorker::receive()
{
    if (!permit->active())
        return;
    pending = true;
    scheduleDrain();
}

void DockAvoidanceWorker::scheduleDrain()
{
    if (drainScheduled || !pending)
        return;
    drainScheduled = true;
    const std::weak_ptr<DockAvoidanceWorker> weak = weak_from_this();
    schedule(timing.drainDelayMs, [weak] {
        if (const auto self = weak.lock())
            self->drain();
    });
}

void DockAvoidanceWorker::scheduleRetry(double at)
{
    // The window system tells nothing when a cooldown ends: wake once then, never periodically.
    const double t = now();
    if (retryAt > t && retryAt <= at)
        return;
    retryAt = at;
    const std::weak_ptr<DockAvoidanceWorker> weak = weak_from_this();
    schedule(int(std::ceil((at - t) * 1000)) + 10, [weak] {
        if (const auto self = weak.lock()) {
            self->retryAt = 0;
            self->receive();
        }
    });
}

void DockAvoidanceWorker::drain()
{
    drainScheduled = false;
    if (!permit->active() || regions.empty() || !mover) {
        pending = false;
        return;
    }
    // Nothing moves while the user drags or resizes: look again shortly.
    if (mover->leftButtonDown()) {
        scheduleDrain();
        return;
    }
    pending = false;
    std::vector<MovableWindow> windows = mover->visibleWindows();
    std::stable_sort(windows.begin(), windows.end(),
                     [](const MovableWindow& a, const MovableWindow& b) { return a.pid < b.pid; });
    std::unordered_map<pid_t, int> examined;
    for (const MovableWindow& window : windows) {
        if (!permit->active())
            break;
        if (++examined[window.pid] > maxWindowsPerProcess)
            continue;
        correct(window);
        if (pending)
            break; // the button went down
    }
    if (cooldowns.size() > cooldownPruneThreshold) {
        const double t = now();
        std::erase_if(cooldowns, [t](const auto& entry) { return entry.second.until <= t; });
    }
    const double t = now();
    if (correctedSinceLog + rejectedSinceLog >= 1 && t - lastTelemetryTime > timing.telemetryInterval) {
        qCInfo(lcWindowAvoidance, "Window clearance corrected=%ld rejected=%ld", correctedSinceLog, rejectedSinceLog);
        correctedSinceLog = 0;
        rejectedSinceLog = 0;
        lastTelemetryTime = t;
    }
    scheduleDrain();
}

void DockAvoidanceWorker::correct(const MovableWindow& window)
{
    if (!window.isStandard || window.isMinimized || window.isFullScreen)
        return;
    for (const DockAvoidanceRegion& region : regions) {
        if (DockWindowConstraint::approximatelyEqual(window.frame, region.screenFrame, 1.0))
            return; // fills a display
    }
    const std::optional<QRectF> target = DockWindowConstraint::adjustedFrame(window.frame, regions);
    if (!target)
        return;
    const double t = now();
    const auto cooldown = cooldowns.find(window.id);
    if (cooldown != cooldowns.end() && cooldown->second.until > t
        && DockWindowConstraint::approximatelyEqual(cooldown->second.frame, window.frame, 1.0)) {
        // Not moved since the last attempt. A coarse timer may have woken us a little early: look
        // again when the cooldown really ends.
        scheduleRetry(cooldown->second.until);
        return;
    }
    if (!permit->active())
        return;
    if (mover->leftButtonDown()) {
        pending = true;
        scheduleDrain();
        return;
    }
    qCDebug(lcWindowAvoidance) << "Moving window" << window.id << "from" << window.frame << "to" << *target;
    const bool written = mover->move(window.id, *target);
    const std::optional<QRectF> reread = mover->frame(window.id);
    if (!written && !reread) {
        cooldowns.erase(window.id); // closed between the read and the move
        return;
    }
    const QRectF after = reread.value_or(window.frame);
    const bool confirmed = written && DockWindowConstraint::approximatelyEqual(after, *target, 1.0);
    const double until = t + (confirmed ? timing.confirmedCooldown : timing.rejectedCooldown);
    cooldowns[window.id] = {after, until};
    if (confirmed) {
        ++correctedSinceLog;
    } else {
        ++rejectedSinceLog;
        scheduleRetry(until);
    }
}

} // namespace wharf
