#pragma once

// A window system that records what it was told about each dock window, for tests on the
// offscreen platform.
#include "platform/dock_window_platform.h"

#include <QRegion>
#include <QWidget>

#include <memory>
#include <vector>

namespace wharf {

// What the window system was told about each dock window.
struct FakeWindow {
    std::vector<QRegion> inputRegions;
    std::vector<std::pair<bool, std::uint32_t>> focus; // whether it takes the focus, and the event's time
    DockWindowPlatform* platform = nullptr; // to play the window system's focus changes
    std::vector<int> reservations;
};

class FakeDockWindowSystem : public DockWindowSystem {
public:
    std::vector<std::shared_ptr<FakeWindow>> windows;

    std::unique_ptr<DockWindowPlatform> attach(QWidget&, DockWindowRole) override
    {
        auto window = std::make_shared<FakeWindow>();
        windows.push_back(window);
        struct Platform : DockWindowPlatform {
            std::shared_ptr<FakeWindow> window;
            void setInputRegion(const QRegion& region) override { window->inputRegions.push_back(region); }
            bool setAcceptsFocus(bool accepts, std::uint32_t eventTime) override
            {
                window->focus.emplace_back(accepts, eventTime);
                return false;
            }
            void setVisibleRegion(const QRegion&) override {}
            void setLabelRegion(const QRegion&) override {}
            void setBottomReservation(int height) override { window->reservations.push_back(height); }
            std::optional<PointerReading> readPointer() const override { return std::nullopt; }
            bool paintDirectly(const QRegion&, const QRect&, const DirectPainter&) override { return false; }
            bool pauseMotionEvents(bool) override { return false; }
            std::optional<QPointF> followPointer() override { return std::nullopt; }
        };
        auto platform = std::make_unique<Platform>();
        platform->window = window;
        window->platform = platform.get();
        return platform;
    }
    bool isCompositing() const override { return true; }
    QImage desktopBackground(const QRect&) const override { return {}; }
    QRect availableArea(const QRect& display) const override { return display.intersected(area); }

    QRect area{-100000, -100000, 200000, 200000}; // what other programs leave
};

} // namespace wharf
