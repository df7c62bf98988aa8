#pragma once

#include <QApplication>

namespace wharf {

// Owns and wires every long-lived part of the running dock.
class AppDelegate {
public:
    // The launch sequence, the event loop and the shutdown sequence; returns the exit code.
    static int run(QApplication& app);
};

} // namespace wharf
