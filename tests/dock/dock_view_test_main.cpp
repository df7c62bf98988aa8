#include <QApplication>
#include <QStandardPaths>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Settings tests write GNOME's settings: keep them in memory, and keep off any bus.
    qputenv("GSETTINGS_BACKEND", "memory");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
