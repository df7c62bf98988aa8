// Whole processes: a Wharf stand-in that takes over the real Dash to Dock settings, its recovery
// helper, and kill -9 at any moment. Nothing the user had may ever be lost.
#include "crash_recovery_support.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <random>

namespace wharf::test {
namespace {

class CrashRecoveryTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dashToDockSchemaAvailable()) << missingSchemaHint;
        home.seed(DriverHome::userValues());
        ASSERT_EQ(home.values(), DriverHome::userValues());
    }
    // Starts a driver and waits for it to hide the dock; returns its helper's pid.
    qint64 startEnabled(std::unique_ptr<QProcess>& driver)
    {
        driver = home.start();
        const auto line = DriverHome::readLine(*driver);
        EXPECT_TRUE(line && line->startsWith(QStringLiteral("ENABLED "))) << (line ? line->toStdString() : "no answer");
        return line ? line->section(QLatin1Char(' '), 1).toLongLong() : 0;
    }
    DriverHome home;
};

TEST_F(CrashRecoveryTest, QuitGivesBackTheUsersValuesAndUnsetKeysStayUnset)
{
    std::unique_ptr<QProcess> driver;
    ASSERT_GT(startEnabled(driver), 0);
    EXPECT_EQ(home.values(), DriverHome::hidingValues());
    driver->write("quit\n");
    EXPECT_EQ(DriverHome::readLine(*driver), QStringLiteral("RESTORED"));
    EXPECT_TRUE(driver->waitForFinished());
    EXPECT_EQ(home.values(), DriverHome::userValues());
    EXPECT_FALSE(home.backupExists());
    EXPECT_TRUE(home.waitForNoHelpers());
}

TEST_F(CrashRecoveryTest, KilledWharfIsRepairedByItsHelper)
{
    std::unique_ptr<QProcess> driver;
    ASSERT_GT(startEnabled(driver), 0);
    driver->kill();
    EXPECT_TRUE(millisecondsUntilBackupGone(home, monotonicNs()));
    EXPECT_EQ(home.values(), DriverHome::userValues());
    EXPECT_TRUE(home.waitForNoHelpers());
    driver->waitForFinished();
}

TEST_F(CrashRecoveryTest, KilledHelperMakesWharfRestoreAtOnce)
{
    std::unique_ptr<QProcess> driver;
    const qint64 helper = startEnabled(driver);
    ASSERT_GT(helper, 0);
    ASSERT_EQ(::kill(static_cast<pid_t>(helper), SIGKILL), 0);
    EXPECT_TRUE(millisecondsUntilBackupGone(home, monotonicNs()));
    EXPECT_EQ(home.values(), DriverHome::userValues());
    EXPECT_EQ(driver->state(), QProcess::Running);
    driver->write("quit\n");
    EXPECT_EQ(DriverHome::readLine(*driver), QStringLiteral("RESTORED"));
    EXPECT_TRUE(driver->waitForFinished());
}

TEST_F(CrashRecoveryTest, SecondWharfIsTurnedAwayButTheCommandLineRestores)
{
    std::unique_ptr<QProcess> first;
    ASSERT_GT(startEnabled(first), 0);
    const auto second = home.start();
    EXPECT_EQ(DriverHome::readLine(*second), QStringLiteral("ERROR Another Wharf session already manages the system Dock."));
    second->write("restore\n");
    EXPECT_EQ(DriverHome::readLine(*second), QStringLiteral("ERROR The system Dock is managed by another running Wharf session."));
    EXPECT_EQ(home.values(), DriverHome::hidingValues());

    const auto restore = home.start({QStringLiteral("--restore-system-dock")});
    ASSERT_TRUE(restore->waitForFinished());
    EXPECT_EQ(restore->exitCode(), 0);
    EXPECT_EQ(restore->readAllStandardOutput(), QByteArray("Original system Dock preferences restored.\n"));
    EXPECT_EQ(home.values(), DriverHome::userValues());
    EXPECT_FALSE(home.backupExists());
    // The first session's helper sees its backup gone and leaves without restoring anything.
    EXPECT_TRUE(home.waitForNoHelpers());
    EXPECT_EQ(home.values(), DriverHome::userValues());
    for (QProcess* driver : {first.get(), second.get()}) {
        driver->write("quit\n");
        driver->waitForFinished();
    }
}

// Start, enable, kill -9 after a random delay; the user's values must be back after every round.
TEST_F(CrashRecoveryTest, FiftyCrashesLoseNothing)
{
    std::mt19937 random(20261123);
    std::uniform_int_distribution<int> delayMs(0, 150);
    std::vector<double> restoreMs;
    for (int round = 1; round <= 50; ++round) {
        std::unique_ptr<QProcess> driver;
        ASSERT_GT(startEnabled(driver), 0) << "round " << round;
        QThread::msleep(static_cast<unsigned long>(delayMs(random)));
        const qint64 killedAt = monotonicNs();
        driver->kill();
        const auto took = millisecondsUntilBackupGone(home, killedAt);
        ASSERT_TRUE(took) << "round " << round << ": the backup was not restored";
        restoreMs.push_back(*took);
        ASSERT_TRUE(home.waitForNoHelpers()) << "round " << round;
        ASSERT_EQ(home.values(), DriverHome::userValues()) << "round " << round;
        driver->waitForFinished();
    }
    std::sort(restoreMs.begin(), restoreMs.end());
    std::printf("death to restore over %zu rounds: median %.1f ms, worst %.1f ms\n", restoreMs.size(),
                (restoreMs[24] + restoreMs[25]) / 2, restoreMs.back());
}

// Kills at any moment of the start, also halfway through enabling: whatever was left behind is
// put right by the helper or by the next start.
TEST_F(CrashRecoveryTest, CrashesDuringEnableLoseNothing)
{
    std::mt19937 random(7);
    std::uniform_int_distribution<int> delayMs(0, 250);
    for (int round = 1; round <= 25; ++round) {
        const auto driver = home.start();
        QThread::msleep(static_cast<unsigned long>(delayMs(random)));
        driver->kill();
        driver->waitForFinished();
        ASSERT_TRUE(home.waitForNoHelpers()) << "round " << round;
        ASSERT_EQ(home.values(), DriverHome::userValues()) << "round " << round;
    }
    // A backup left by a kill before the helper was watching is restored by the next start.
    std::unique_ptr<QProcess> driver;
    ASSERT_GT(startEnabled(driver), 0);
    driver->write("quit\n");
    EXPECT_EQ(DriverHome::readLine(*driver), QStringLiteral("RESTORED"));
    EXPECT_FALSE(home.backupExists());
    EXPECT_EQ(home.values(), DriverHome::userValues());
    driver->waitForFinished();
}

} // namespace
} // namespace wharf::test

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
