#pragma once

#include <functional>

namespace wharf {

// The folder stack opened from a tile. While one is shown the row keeps its frames; stopping
// the view closes it.
class DockStackPresenter {
public:
    bool freezesRow() const { return bool(closeStack); }
    void close();

    // Set by the stack's owner while a stack is open over this dock; closes it.
    std::function<void()> closeStack;
};

} // namespace wharf
