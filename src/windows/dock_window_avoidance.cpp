#include "windows/dock_window_avoidance.h"

#include "windows/dock_avoidance_worker.h"

#include <cmath>

namespace wharf {

DockWindowAvoidance::DockWindowAvoidance(std::function<std::unique_ptr<WindowMover>()> makeMover)
    : makeMover(std::move(makeMover))
{
}

DockWindowAvoidance::~DockWindowAvoidance()
{
    permit->setActive(false);
    if (queue) {
        // The worker's connection lives on the worker's thread: let it go there, then join.
        queue->post([worker = std::move(worker)]() mutable { worker.reset(); });
        queue.reset();
    }
}

void DockWindowAvoidance::update(std::vector<DockAvoidanceRegion> newRegions, bool newEnabled,
                                 const std::vector<AvoidanceDock>& docks)
{
    if (stopped)
        return;
    // The band is reserved only while corrections are in force, so that the two never disagree.
    if (reserveBand) {
        for (const AvoidanceDock& dock : docks) {
            const bool reserves = newEnabled && !dock.inFullScreenSpace && std::isfinite(dock.restingContentHeight);
            reserveBand(dock.displayID, reserves ? dock.restingContentHeight : 0);
        }
    }
    if (newRegions == regions && newEnabled == enabled)
        return;
    regions = std::move(newRegions);
    enabled = newEnabled;
    reconcile(true);
}

void DockWindowAvoidance::stop()
{
    if (stopped)
        return;
    stopped = true;
    enabled = false;
    permit->setActive(false);
    if (queue && worker)
        queue->post([worker = worker] { worker->configure({}, false, false); });
}

void DockWindowAvoidance::reconcile(bool fullScan)
{
    if (stopped)
        return;
    const bool active = enabled && !regions.empty();
    permit->setActive(active);
    if (!makeMover || (!active && !worker))
        return; // nothing to move windows with, or never started
    if (!worker) {
        worker = std::make_shared<DockAvoidanceWorker>(permit, makeMover);
        queue = std::make_unique<SerialWorker>(queueLabel);
    }
    queue->post([worker = worker, regions = regions, active, fullScan]() mutable {
        worker->configure(std::move(regions), active, fullScan);
    });
}

} // namespace wharf
