// How fast the native dock comes back after a crash, over real processes and the real Dash to Dock
// schema (keyfile backend):
//   wharf killed -> its recovery helper restores      (kill -9 of the Wharf stand-in)
//   helper killed -> Wharf restores                   (kill -9 of the helper)
//   enable                                            (backup, helper start and READY, hiding)
// Usage: GSETTINGS_SCHEMA_DIR=<build>/dash-to-dock/schemas takeover_restore_bench [rounds=50]
#include "takeover/crash_recovery_support.h"
#include "support/wait_for.h"

#include <QCoreApplication>
#include <QFile>
#include <QThread>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <random>
#include <vector>

#include <time.h>
#include <unistd.h>

using namespace wharf::test;

namespace {

qint64 monotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

// Milliseconds from `sinceNs` until the backup file is gone (polled every 0.2 ms); nullopt on timeout.
std::optional<double> millisecondsUntilBackupGone(const DriverHome& home, qint64 sinceNs, int timeoutMs = 10000)
{
    const QByteArray path = QFile::encodeName(home.backupPath());
    const qint64 deadline = sinceNs + qint64(timeoutMs) * 1'000'000;
    while (::access(path.constData(), F_OK) == 0) {
        if (monotonicNs() > deadline)
            return std::nullopt;
        ::usleep(200);
    }
    return double(monotonicNs() - sinceNs) / 1e6;
}

void report(const char* name, std::vector<double> ms)
{
    if (ms.empty()) {
        std::printf("%-32s no samples\n", name);
        return;
    }
    std::sort(ms.begin(), ms.end());
    const size_t n = ms.size();
    const double median = n % 2 ? ms[n / 2] : (ms[n / 2 - 1] + ms[n / 2]) / 2;
    std::printf("%-32s n=%zu  median %7.2f ms  p90 %7.2f ms  worst %7.2f ms\n", name, n, median,
                ms[std::min(n - 1, n * 9 / 10)], ms.back());
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 50;
    if (!dashToDockSchemaAvailable()) {
        std::fprintf(stderr, "%s\n", missingSchemaHint);
        return 1;
    }
    DriverHome home;
    home.seed(DriverHome::userValues());
    std::mt19937 random(1);
    std::uniform_int_distribution<int> delayMs(0, 150);
    std::vector<double> wharfKilled, helperKilled, enable;
    int lost = 0;

    for (int round = 0; round < rounds; ++round) {
        for (const bool killHelper : {false, true}) {
            const qint64 started = monotonicNs();
            const auto driver = home.start();
            const auto line = DriverHome::readLine(*driver);
            if (!line || !line->startsWith(QStringLiteral("ENABLED "))) {
                std::fprintf(stderr, "round %d: %s\n", round, line ? qPrintable(*line) : "no answer");
                return 1;
            }
            enable.push_back(double(monotonicNs() - started) / 1e6);
            QThread::msleep(static_cast<unsigned long>(delayMs(random)));
            const qint64 killedAt = monotonicNs();
            if (killHelper)
                ::kill(static_cast<pid_t>(line->section(QLatin1Char(' '), 1).toLongLong()), SIGKILL);
            else
                driver->kill();
            const auto took = millisecondsUntilBackupGone(home, killedAt);
            if (took)
                (killHelper ? helperKilled : wharfKilled).push_back(*took);
            wharf::waitFor([&] { return home.noHelpers(); }, 10000);
            if (!took || home.values() != DriverHome::userValues())
                ++lost;
            driver->write("quit\n");
            driver->waitForFinished();
        }
    }
    report("wharf killed -> helper restores", wharfKilled);
    report("helper killed -> wharf restores", helperKilled);
    report("start to enabled", enable);
    std::printf("rounds whose values were not the user's: %d of %d\n", lost, 2 * rounds);
    return lost == 0 ? 0 : 1;
}
