#include "takeover/recovery_helper.h"

#include "takeover/process_identity.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QMetaObject>
#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <cstring>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace wharf {
namespace {

const DockIntegrationError helperDidNotStart{
    QStringLiteral("The Dock recovery helper could not start. Your system Dock has not been hidden.")};

// Through the pidfd rather than waitid(), which fails when SIGCHLD is ignored and children are reaped at once.
bool isRunning(const UniqueFd& pidfd)
{
    pollfd ended{pidfd.get(), POLLIN, 0};
    return pidfd.valid() && ::poll(&ended, 1, 0) == 0;
}

// Only async-signal-safe calls: the parent may have other threads.
[[noreturn]] void execHelper(const char* executable, char* const* argv, int readyFd)
{
    // Wharf may run with its standard descriptors closed, so the pipe may sit on 0 to 2: move it away first.
    const int ready = ::fcntl(readyFd, F_DUPFD, 3);
    const int null = ::open("/dev/null", O_RDWR);
    if (ready < 0 || null < 0 || ::dup2(null, STDIN_FILENO) < 0 || ::dup2(null, STDERR_FILENO) < 0
        || ::dup2(ready, STDOUT_FILENO) < 0)
        ::_exit(127);
    ::syscall(SYS_close_range, 3U, ~0U, 0U);
    // Out of the terminal's session, so closing the terminal or Ctrl+C does not take the helper along.
    ::setsid();
    // Wharf may block or ignore signals it handles itself; the helper must stay stoppable.
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal)
        ::sigaction(signal, &standard, nullptr);
    ::execv(executable, argv);
    ::_exit(127);
}

} // namespace

RecoveryHelper::RecoveryHelper(pid_t child, UniqueFd pidfd) : child(child), pidfd(std::move(pidfd)) {}

RecoveryHelper::~RecoveryHelper()
{
    notifier.reset();
    reap();
}

void RecoveryHelper::reap()
{
    if (!reaped && ::waitpid(child, nullptr, WNOHANG) == child)
        reaped = true;
}

Result<std::unique_ptr<RecoveryHelper>> RecoveryHelper::start(qint32 ownerPID, const QString& backupPath)
{
    std::array<char, PATH_MAX> path{};
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size() - 1);
    if (length <= 0)
        return DockIntegrationError{QStringLiteral("Could not locate the Wharf recovery helper executable.")};

    QByteArray owner = QByteArray::number(ownerPID);
    QByteArray backup = QFile::encodeName(backupPath);
    QByteArray mode("--dock-watchdog");
    std::array<char*, 5> argv{path.data(), mode.data(), owner.data(), backup.data(), nullptr};

    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return DockIntegrationError{QStringLiteral("Could not start the Dock recovery helper: %1.")
                                        .arg(QString::fromLocal8Bit(std::strerror(errno)))};
    UniqueFd readEnd(ends[0]);
    UniqueFd writeEnd(ends[1]);

    const pid_t child = ::fork();
    if (child < 0)
        return DockIntegrationError{QStringLiteral("Could not start the Dock recovery helper: %1.")
                                        .arg(QString::fromLocal8Bit(std::strerror(errno)))};
    // /proc/self/exe rather than the path: it still works when the installed binary was replaced.
    if (child == 0)
        execHelper("/proc/self/exe", argv.data(), writeEnd.get());

    // Without our copy of the writing end, the helper's exit ends the wait at once.
    writeEnd.reset();
    auto helper = std::make_unique<RecoveryHelper>(child, openPidfd(child));

    pollfd readable{readEnd.get(), POLLIN, 0};
    const QDeadlineTimer deadline(readyTimeoutMs);
    int polled;
    do
        polled = ::poll(&readable, 1, static_cast<int>(deadline.remainingTime()));
    while (polled < 0 && errno == EINTR);
    std::array<char, 16> answer{};
    ssize_t received = 0;
    if (polled > 0) {
        do
            received = ::read(readEnd.get(), answer.data(), answer.size());
        while (received < 0 && errno == EINTR);
    }
    if (received > 0 && QByteArray(answer.data(), received) == "READY\n" && isRunning(helper->pidfd))
        return helper;

    if (isRunning(helper->pidfd)) {
        ::kill(child, SIGTERM);
        pollfd ended{helper->pidfd.get(), POLLIN, 0};
        if (::poll(&ended, 1, 1000) <= 0)
            ::kill(child, SIGKILL);
    }
    ::waitpid(child, nullptr, 0);
    helper->reaped = true;
    return helperDidNotStart;
}

void RecoveryHelper::onTerminated(std::function<void()> callback)
{
    if (!pidfd.valid())
        return;
    notifier = std::make_unique<QSocketNotifier>(pidfd.get(), QSocketNotifier::Read);
    QSocketNotifier* watch = notifier.get();
    QObject::connect(watch, &QSocketNotifier::activated, watch, [this, watch, callback = std::move(callback)] {
        watch->setEnabled(false);
        reap();
        // Queued, so the callback may replace or drop this helper; deleting the notifier cancels it.
        QMetaObject::invokeMethod(watch, callback, Qt::QueuedConnection);
    });
}

} // namespace wharf
