// The takeover tests' entry point. It is also the recovery helper the tests' integrations start,
// since a helper is always Wharf's own executable run with "--dock-watchdog".
#include "platform/x11/dash_to_dock_native_dock.h"
#include "takeover/system_dock_integration.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv)
{
    if (wharf::SystemDockIntegration::handleWatchdogModeIfNeeded(
            argc, argv, [] { return std::make_unique<wharf::DashToDockNativeDock>(); }))
        return 0;
    // A helper command line the entry point turned down starts the application normally; here
    // that is reported instead of running the tests again.
    if (argc > 1 && std::strcmp(argv[1], "--dock-watchdog") == 0) {
        std::printf("NORMAL START\n");
        return 3;
    }

    // Every test process gets its own data and settings, so tests can run in parallel; helpers
    // started from here inherit them.
    QTemporaryDir home;
    if (!home.isValid())
        return 2;
    setenv("XDG_DATA_HOME", qPrintable(home.filePath("data")), 1);
    setenv("XDG_CONFIG_HOME", qPrintable(home.filePath("config")), 1);
    setenv("GSETTINGS_BACKEND", "keyfile", 1);

    QCoreApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
