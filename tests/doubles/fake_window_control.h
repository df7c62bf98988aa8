#pragma once

#include "platform/window_control.h"

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace wharf {

// Window control over a list the test edits; readers may run on a worker.
class FakeWindowControl : public WindowControl {
public:
    struct State {
        std::mutex lock;
        std::vector<ClientWindow> windows;
        int reads = 0;
    };

    std::unique_ptr<WindowReader> makeReader() override
    {
        struct Reader : WindowReader {
            std::shared_ptr<State> state;
            std::vector<ClientWindow> clientWindows(int) override
            {
                const std::lock_guard guard(state->lock);
                ++state->reads;
                return state->windows;
            }
        };
        auto reader = std::make_unique<Reader>();
        reader->state = state;
        return reader;
    }
    std::unique_ptr<WindowMover> makeMover() override { return nullptr; }
    Result<bool, WindowControlFailure> isMinimized(std::uint32_t window) override
    {
        const std::lock_guard guard(state->lock);
        const auto found = std::ranges::find(state->windows, window, &ClientWindow::id);
        if (found != state->windows.end())
            return found->isMinimized;
        return WindowControlFailure{WindowControlFailure::Kind::windowClosed, 0};
    }
    Result<void, WindowControlFailure> activate(std::uint32_t window) override
    {
        activated.push_back(window);
        if (failure)
            return *failure;
        return {};
    }
    Result<void, WindowControlFailure> minimize(std::uint32_t) override
    {
        if (failure)
            return *failure;
        return {};
    }
    bool watchesChanges() const override { return true; }

    void setWindows(std::vector<ClientWindow> windows)
    {
        {
            const std::lock_guard guard(state->lock);
            state->windows = std::move(windows);
        }
        windowsChanged.notify();
    }

    std::shared_ptr<State> state = std::make_shared<State>();
    std::optional<WindowControlFailure> failure;
    std::vector<std::uint32_t> activated;
};

} // namespace wharf
