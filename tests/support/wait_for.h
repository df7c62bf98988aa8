#pragma once

// Runs the event loop until `condition` holds, asking again every `pollMs`; false once `timeoutMs`
// pass without it.
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

#include <functional>

namespace wharf {

inline bool waitFor(const std::function<bool()>& condition, int timeoutMs = 5000, int pollMs = 2)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(pollMs); // leave the workers the tests wait on a core
    }
    return true;
}

} // namespace wharf
