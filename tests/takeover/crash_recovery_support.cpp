#include "crash_recovery_support.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>

#include <time.h>
#include <unistd.h>

namespace wharf::test {

DriverHome::DriverHome()
{
    QDir().mkpath(dataHome());
    QDir().mkpath(dir.filePath(QStringLiteral("config")));
}

bool DriverHome::backupExists() const { return QFile::exists(backupPath()); }

DockValues DriverHome::userValues()
{
    return {{QStringLiteral("dock-fixed"), NativeDockValue{QStringLiteral("b"), QStringLiteral("true")}},
            {QStringLiteral("autohide"), std::nullopt},
            {QStringLiteral("intellihide"), NativeDockValue{QStringLiteral("b"), QStringLiteral("false")}},
            {QStringLiteral("show-delay"), NativeDockValue{QStringLiteral("d"), QStringLiteral("1.5")}},
            {QStringLiteral("require-pressure-to-show"), std::nullopt}};
}

std::unique_ptr<QProcess> DriverHome::start(const QStringList& args) const
{
    auto driver = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), dataHome());
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("keyfile"));
    driver->setProcessEnvironment(env);
    driver->setProgram(QStringLiteral(WHARF_TAKEOVER_DRIVER));
    driver->setArguments(args);
    driver->start();
    driver->waitForStarted();
    return driver;
}

std::optional<QString> DriverHome::readLine(QProcess& driver, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!driver.canReadLine()) {
        if (deadline.hasExpired() || !driver.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            return std::nullopt;
    }
    return QString::fromUtf8(driver.readLine()).trimmed();
}

bool DriverHome::waitForNoHelpers(int timeoutMs) const
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!recoveryHelpers(backupPath()).isEmpty()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(10);
    }
    return true;
}

qint64 monotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return qint64(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

std::optional<double> millisecondsUntilBackupGone(const DriverHome& home, qint64 sinceNs, int timeoutMs)
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

} // namespace wharf::test
