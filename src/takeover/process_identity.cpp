#include "takeover/process_identity.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <sys/syscall.h>
#include <unistd.h>

namespace wharf {

std::optional<QString> processStartFromStat(const QByteArray& stat, long ticksPerSecond)
{
    // The command name may hold spaces and parentheses, so fields are counted after the last ')'.
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0 || ticksPerSecond <= 0)
        return std::nullopt;
    const QList<QByteArray> fields = stat.mid(close + 1).simplified().split(' ');
    // fields[0] is the state (field 3), fields[19] the start time (field 22).
    if (fields.size() < 20 || fields[0].isEmpty())
        return std::nullopt;
    const char state = fields[0].at(0);
    if (state == 'Z' || state == 'X' || state == 'x')
        return std::nullopt;
    bool ok = false;
    const qulonglong ticks = fields[19].toULongLong(&ok);
    if (!ok)
        return std::nullopt;
    const auto tps = static_cast<qulonglong>(ticksPerSecond);
    const qulonglong microseconds = (ticks % tps) * 1'000'000ULL / tps;
    return QString::number(ticks / tps) + QLatin1Char(':') + QString::number(microseconds);
}

std::optional<QString> processStart(pid_t pid)
{
    if (pid <= 0)
        return std::nullopt;
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return processStartFromStat(file.readAll(), sysconf(_SC_CLK_TCK));
}

UniqueFd openPidfd(pid_t pid)
{
    if (pid <= 0)
        return UniqueFd();
    // <sys/pidfd.h> of glibc 2.36 cannot be included from C++.
    return UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

} // namespace wharf
