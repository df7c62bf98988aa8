#include <QCoreApplication>

#include <gtest/gtest.h>

// End-to-end tests need an event loop for QProcess and QtDBus; they make no windows of their own.
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
