// Wharf's takeover without the rest of Wharf, for the crash tests: it enables the takeover at
// start and then follows commands on standard input, one per line:
//   restore  -> "RESTORED" or "ERROR <message>"
//   quit     -> restores like Wharf's termination does, then exits
// It prints "ENABLED <helper pid>" or "ERROR <message>" after enabling, and "INTEGRATION-ERROR
// <message>" for background failures.
#include "takeover/system_dock_integration.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cstdio>
#include <unistd.h>

using wharf::SystemDockIntegration;

namespace {

void say(const QString& line)
{
    std::printf("%s\n", qUtf8Printable(line));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    if (SystemDockIntegration::handleWatchdogModeIfNeeded(argc, argv))
        return 0;
    QCoreApplication app(argc, argv);
    SystemDockIntegration integration;
    if (integration.lastError)
        say(QStringLiteral("RECOVERY-ERROR ") + *integration.lastError);
    integration.onIntegrationError = [](const QString& message) { say(QStringLiteral("INTEGRATION-ERROR ") + message); };
    if (const auto failure = integration.enable())
        say(QStringLiteral("ERROR ") + failure->message);
    else
        say(QStringLiteral("ENABLED %1").arg(integration.watchdogPid()));

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &app, [&] {
        char line[256];
        const ssize_t length = ::read(STDIN_FILENO, line, sizeof line - 1);
        const QByteArray command = length > 0 ? QByteArray(line, length).trimmed() : QByteArray("quit");
        if (command == "restore" || command == "quit") {
            const auto failure = integration.restore();
            say(failure ? QStringLiteral("ERROR ") + failure->message : QStringLiteral("RESTORED"));
        }
        if (command == "quit")
            app.quit();
    });
    return app.exec();
}
