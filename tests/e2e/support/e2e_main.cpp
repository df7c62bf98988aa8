#include <QGuiApplication>

#include <gtest/gtest.h>

// End-to-end tests need an event loop for QProcess and QtDBus, and a GUI application for the icons
// the live workspace makes; they make no windows of their own.
int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
