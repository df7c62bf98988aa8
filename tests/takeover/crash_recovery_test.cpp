// kill -9 over and over: a Wharf stand-in (takeover_driver) that takes over the real Dash to Dock
// settings, killed at random moments. The user's values must be back after every round.
#include "crash_recovery_support.h"
#include "support/wait_for.h"

#include <QFile>
#include <QThread>

#include <gtest/gtest.h>

#include <random>

namespace wharf::test {
namespace {

TEST(CrashRecovery, RepeatedCrashesLoseNothing)
{
    ASSERT_TRUE(dashToDockSchemaAvailable()) << missingSchemaHint;
    DriverHome home;
    home.seed(DriverHome::userValues());
    ASSERT_EQ(home.values(), DriverHome::userValues());
    std::mt19937 random(20261123);
    std::uniform_int_distribution<int> delayMs(0, 150);
    // Killed at any moment of the start, also halfway through enabling: whatever is left behind is
    // repaired by the helper or by the next start. (A kill once the dock is hidden is the takeover
    // end-to-end test's; restore latency is measured in bench/takeover_restore_bench.)
    for (int round = 1; round <= 14; ++round) {
        SCOPED_TRACE(round);
        const auto driver = home.start();
        QThread::msleep(static_cast<unsigned long>(delayMs(random)));
        driver->kill();
        driver->waitForFinished();
        ASSERT_TRUE(waitFor([&] { return home.noHelpers(); }, 10000));
        ASSERT_EQ(home.values(), DriverHome::userValues());
    }
    const auto last = home.start();
    ASSERT_TRUE(DriverHome::readLine(*last).value_or(QString()).startsWith("ENABLED "));
    last->write("quit\n");
    EXPECT_EQ(DriverHome::readLine(*last), "RESTORED");
    last->waitForFinished();
    EXPECT_FALSE(QFile::exists(home.backupPath()));
    EXPECT_EQ(home.values(), DriverHome::userValues());
}

} // namespace
} // namespace wharf::test
