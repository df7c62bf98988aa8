#include "platform/x11/process_reader.h"

#include <QRegularExpression>

#include <fcntl.h>
#include <unistd.h>

namespace wharf {

namespace {

// Plain reads: this runs for every new window, and /proc files are small.
QByteArray readSmallFile(const QByteArray& path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    QByteArray data;
    char buffer[4096];
    ssize_t n = 0;
    while (data.size() < 256 * 1024 && (n = ::read(fd, buffer, sizeof buffer)) > 0)
        data.append(buffer, n);
    ::close(fd);
    return data;
}

QByteArray procPath(pid_t pid, const char* name)
{
    return "/proc/" + QByteArray::number(pid) + '/' + name;
}

// The stat fields after "pid (comm) ", which may itself hold spaces and parentheses.
QList<QByteArray> fieldsAfterCommand(const QByteArray& stat)
{
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0)
        return {};
    return stat.mid(close + 1).simplified().split(' ');
}

} // namespace

std::optional<pid_t> parentFromStat(const QByteArray& stat)
{
    const auto fields = fieldsAfterCommand(stat);
    if (fields.size() < 2)
        return std::nullopt;
    bool ok = false;
    const long parent = fields.at(1).toLong(&ok);
    return ok && parent >= 0 ? std::optional<pid_t>(static_cast<pid_t>(parent)) : std::nullopt;
}

std::optional<quint64> startTimeFromStat(const QByteArray& stat)
{
    const auto fields = fieldsAfterCommand(stat);
    if (fields.size() < 20)
        return std::nullopt;
    bool ok = false;
    const quint64 ticks = fields.at(19).toULongLong(&ok);
    return ok ? std::optional<quint64>(ticks) : std::nullopt;
}

std::optional<pid_t> localProcess(std::optional<quint32> pid, const QString& clientMachine, const QString& host)
{
    // Host names come with and without their domain.
    const auto shortName = [](const QString& name) { return name.section(QLatin1Char('.'), 0, 0); };
    if (!pid || *pid == 0
        || (!clientMachine.isEmpty() && clientMachine != QLatin1String("localhost")
            && shortName(clientMachine).compare(shortName(host), Qt::CaseInsensitive) != 0))
        return std::nullopt;
    return static_cast<pid_t>(*pid);
}

QStringList splitNulSeparated(const QByteArray& data)
{
    QStringList parts;
    for (const QByteArray& part : data.split('\0')) {
        if (!part.isEmpty())
            parts << QString::fromLocal8Bit(part);
    }
    return parts;
}

std::pair<QString, QString> snapFromCgroup(const QByteArray& cgroup)
{
    // snap.<snap>.<app>[-|.]<unique id>.scope; app names may hold hyphens themselves.
    static const QRegularExpression scope(QStringLiteral(
        "/snap\\.([a-z0-9-]+(?:_[a-z0-9]+)?)\\.([A-Za-z0-9-]+?)(?:[.-][0-9a-f-]{4,})?\\.(?:scope|service)"));
    const auto match = scope.match(QString::fromLatin1(cgroup));
    if (!match.hasMatch())
        return {};
    return {match.captured(1), match.captured(2)};
}

QString flatpakIdFromInfo(const QByteArray& flatpakInfo)
{
    bool inApplication = false;
    for (const QByteArray& rawLine : flatpakInfo.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.startsWith('[')) {
            inApplication = line == "[Application]";
        } else if (inApplication && line.startsWith("name=")) {
            return QString::fromUtf8(line.mid(5).trimmed());
        }
    }
    return {};
}

ProcessInfo readProcessInfo(pid_t pid)
{
    ProcessInfo info;
    if (pid <= 0)
        return info;
    char target[4096];
    const ssize_t length = ::readlink(procPath(pid, "exe").constData(), target, sizeof target - 1);
    if (length > 0)
        info.executable = QString::fromLocal8Bit(target, length);
    // A replaced binary reads as "/usr/bin/foo (deleted)".
    if (info.executable.endsWith(QLatin1String(" (deleted)")))
        info.executable.chop(10);
    info.commandLine = splitNulSeparated(readSmallFile(procPath(pid, "cmdline")));
    info.startTime = startTimeFromStat(readSmallFile(procPath(pid, "stat")));
    for (const QByteArray& variable : readSmallFile(procPath(pid, "environ")).split('\0')) {
        if (variable.startsWith("GIO_LAUNCHED_DESKTOP_FILE="))
            info.launchedDesktopFile = QString::fromLocal8Bit(variable.mid(26));
        else if (variable.startsWith("GIO_LAUNCHED_DESKTOP_FILE_PID="))
            info.launchedDesktopFilePid = static_cast<pid_t>(variable.mid(30).toLong());
    }
    const QByteArray cgroup = readSmallFile(procPath(pid, "cgroup"));
    std::tie(info.snapName, info.snapApp) = snapFromCgroup(cgroup);
    // Flatpak runs every app in an "app-flatpak-<id>-<n>.scope"; only those have the info file.
    if (cgroup.contains("app-flatpak-"))
        info.flatpakId = flatpakIdFromInfo(readSmallFile(procPath(pid, "root/.flatpak-info")));

    // The launch hint may belong to a shell that started this process.
    if (info.launchedDesktopFilePid > 0 && info.launchedDesktopFilePid != pid) {
        pid_t current = pid;
        for (int depth = 0; depth < 16; ++depth) {
            const auto parent = parentFromStat(readSmallFile(procPath(current, "stat")));
            if (!parent || *parent <= 1)
                break;
            info.ancestors.push_back(*parent);
            if (*parent == info.launchedDesktopFilePid)
                break;
            current = *parent;
        }
    }
    return info;
}

void applyProcessInfo(const ProcessInfo& info, WindowMetadata& metadata)
{
    metadata.ancestors = info.ancestors;
    metadata.launchedDesktopFile = info.launchedDesktopFile;
    metadata.launchedDesktopFilePid = info.launchedDesktopFilePid;
    metadata.flatpakId = info.flatpakId;
    metadata.snapName = info.snapName;
    metadata.snapApp = info.snapApp;
    metadata.executable = info.executable;
    metadata.commandLine = info.commandLine;
}

} // namespace wharf
