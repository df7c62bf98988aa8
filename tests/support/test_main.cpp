// The unit tests' entry point: one QApplication on the offscreen platform, and no reach into the
// user's session (GNOME settings stay in memory, the session bus is off, Qt's paths are test paths).
#include <QApplication>
#include <QStandardPaths>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("GSETTINGS_BACKEND", "memory");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
