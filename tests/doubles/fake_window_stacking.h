#pragma once

// A stacking order that tests set by hand; counts how often it is read.
#include "platform/window_stacking.h"

#include <vector>

namespace wharf {

class FakeWindowStacking : public WindowStacking {
public:
    std::vector<StackedWindow> stackingOrder() override
    {
        ++reads;
        return windows;
    }

    std::vector<StackedWindow> windows; // bottom to top
    int reads = 0;
};

} // namespace wharf
