#include "shell/signal_listener.h"

#include <QLoggingCategory>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace wharf {

namespace {

// One pipe per process: a signal handler can reach nothing else.
int pipeFds[2] = {-1, -1};

void onSignal(int signal)
{
    const int saved = errno;
    const auto byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t n = ::write(pipeFds[1], &byte, 1);
    errno = saved;
}

} // namespace

SignalListener::SignalListener(std::initializer_list<int> signals, std::function<void(int)> handler, QObject* parent)
    : QObject(parent), handler(std::move(handler))
{
    if (pipeFds[0] < 0 && ::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        qWarning("wharf: cannot watch for termination signals: %s", std::strerror(errno));
        return;
    }
    notifier = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &SignalListener::drain);
    for (const int signal : signals) {
        struct sigaction action = {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        if (::sigaction(signal, &action, nullptr) == 0)
            watched.push_back(signal);
    }
}

SignalListener::~SignalListener()
{
    for (const int signal : watched)
        std::signal(signal, SIG_DFL);
}

void SignalListener::drain()
{
    unsigned char byte = 0;
    while (::read(pipeFds[0], &byte, 1) == 1) {
        if (handler)
            handler(byte);
    }
}

} // namespace wharf
