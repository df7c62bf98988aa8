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
    // timer's own wakeup: true when one is due at `now`.
    bool frameDueOnInput(double now, double lastFrame) const { return now - lastFrame >= 0.8 * framePeriod; }
    // A frame was drawn on input at `now`: the cadence restarts there, and the timer waits a
    // little over a frame, so input arriving each frame keeps it from firing at all.
    int drewOnInput(double now);
    double period() const { return framePeriod; }

private:
    double framePeriod = 1.0 / 60;
    double deadline = 0;
};

} // namespace wharf
