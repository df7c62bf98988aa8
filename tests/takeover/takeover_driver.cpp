// Wharf's takeover without the rest of Wharf, for the crash tests and the benchmark. It enables
// the takeover at start and prints "ENABLED <helper pid>" or "ERROR <message>"; the line "quit"
// on standard input (or its end) restores like Wharf's termination does, prints "RESTORED" or
// "ERROR <message>", and exits.
#include "platform/x11/dash_to_dock_native_dock.h"
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
    const auto realDock = [] { return std::make_unique<wharf::DashToDockNativeDock>(); };
    if (SystemDockIntegration::handleWatchdogModeIfNeeded(argc, argv, realDock))
        return 0;
    QCoreApplication app(argc, argv);
    SystemDockIntegration integration(realDock());
    if (const auto enabled = integration.enable(); !enabled)
        say("ERROR " + enabled.error().message);
    else
        say(QStringLiteral("ENABLED %1").arg(integration.watchdogPid()));

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &app, [&] {
        char line[64];
        const ssize_t length = ::read(STDIN_FILENO, line, sizeof line);
        if (length > 0 && QByteArray(line, length).trimmed() != "quit")
            return;
        const auto restored = integration.restore();
        say(restored ? "RESTORED" : "ERROR " + restored.error().message);
        app.quit();
    });
    return app.exec();
}
