#pragma once

namespace wharf {

// Spaces the tick at the display's refresh rate. A timer counts whole milliseconds, so a fixed
// interval cannot hold 60 Hz (16 ms is 62.5 Hz); each interval is measured to the next frame
// deadline instead, which keeps the average rate exact and absorbs a late tick.
class DockFrameClock {
public:
    // Rates below 60 Hz (or unknown) tick at 60.
    void start(double now, double refreshRate);
    // Milliseconds from `now` to the next frame deadline, at least 1.
    int nextInterval(double now);
    // Pointer motion comes about once a frame during a sweep, and a frame drawn on it saves the
    // timer's own wakeup. Input at `now`, the last frame drawn at `lastFrame`: whether to draw a
    // frame now, and the milliseconds until the timer's next frame.
    struct InputStep {
        bool draw = false;
        int interval = 1;
    };
    InputStep input(double now, double lastFrame);
    double period() const { return framePeriod; }

private:
    double framePeriod = 1.0 / 60;
    double deadline = 0;
};

} // namespace wharf
