#pragma once

namespace wharf {

// The folder stack opened from a tile. While one is shown the row keeps its frames; stopping
// the view closes it.
class DockStackPresenter {
public:
    bool freezesRow() const { return false; }
    void close();
};

} // namespace wharf
