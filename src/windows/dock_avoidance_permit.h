#pragma once

#include <mutex>

namespace wharf {

// Whether keeping windows clear may touch windows right now. The main thread switches it; the
// worker checks it before every step, so that switching off takes effect without waiting for
// the worker's queue.
class DockAvoidancePermit {
public:
    bool active() const
    {
        const std::lock_guard guard(lock);
        return on;
    }
    void setActive(bool value)
    {
        const std::lock_guard guard(lock);
        on = value;
    }

private:
    mutable std::mutex lock;
    bool on = false;
};

} // namespace wharf
