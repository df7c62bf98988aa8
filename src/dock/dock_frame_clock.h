#pragma once

namespace wharf {

// Spaces the frames at the display's refresh rate, drawn on pointer input or by a timer. A timer
// counts whole milliseconds, so a fixed interval cannot hold 60 Hz (16 ms is 62.5 Hz); each
// interval is measured to the next frame's slot instead, which keeps the average rate exact.
class DockFrameClock {
public:
    // Rates below 60 Hz (or unknown) tick at 60. The first frame is due at once.
    void start(double now, double refreshRate);
    // The timer drew a frame at `now`: milliseconds to the next one, at least 1.
    int nextInterval(double now);
    // Pointer motion comes about once a frame during a sweep, and a frame drawn on it saves the
    // timer's own wakeup. Input at `now`: whether to draw a frame now, and the milliseconds until
    // the timer's next frame.
    struct InputStep {
        bool draw = false;
        int interval = 1;
    };
    InputStep input(double now);
    double period() const { return framePeriod; }

private:
    void drewFrame(double now);

    double framePeriod = 1.0 / 60;
    double slot = 0; // when the next frame is due
    bool inputDrew = false;
};

} // namespace wharf
