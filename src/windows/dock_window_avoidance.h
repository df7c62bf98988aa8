#pragma once

#include "platform/window_mover.h"
#include "windows/dock_avoidance_permit.h"
#include "windows/dock_avoidance_region.h"
#include "windows/serial_worker.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace wharf {

class DockAvoidanceWorker;

// Keeps other programs' windows clear of the resting dock while "Keep windows above" is in force:
// reserves the band for maximized and newly placed windows, and has the avoidance worker move
// windows dragged or resized into it. Main thread only.
class DockWindowAvoidance {
public:
    static inline const QString queueLabel = QStringLiteral("com.tamberly.Wharf.window-avoidance");

    explicit DockWindowAvoidance(std::function<std::unique_ptr<WindowMover>()> makeMover);
    ~DockWindowAvoidance();
    DockWindowAvoidance(const DockWindowAvoidance&) = delete;
    DockWindowAvoidance& operator=(const DockWindowAvoidance&) = delete;

    // Reserves `restingHeight` along the bottom of a display for its dock (0: nothing); set by the shell.
    std::function<void(std::uint32_t displayID, double restingHeight)> reserveBand;

    // The shell's view of the docks: regions per display, whether the feature is on (the setting
    // is on and the dock does not hide itself), and each display's resting dock.
    void update(std::vector<DockAvoidanceRegion> regions, bool enabled, const std::vector<AvoidanceDock>& docks);
    void stop();

    bool isEnabled() const { return enabled; }
    bool isActive() const { return permit->active(); }

private:
    void reconcile(bool fullScan);

    std::function<std::unique_ptr<WindowMover>()> makeMover;
    std::shared_ptr<DockAvoidancePermit> permit = std::make_shared<DockAvoidancePermit>();
    std::shared_ptr<DockAvoidanceWorker> worker;
    std::unique_ptr<SerialWorker> queue;
    std::vector<DockAvoidanceRegion> regions;
    bool enabled = false;
    bool stopped = false;
};

} // namespace wharf
