#pragma once

#include "platform/x11/app_matcher.h"

#include <QByteArray>

#include <optional>

namespace wharf {

// What /proc says about one process; missing files (another user's process, a
// process that just exited) leave fields empty.
struct ProcessInfo {
    std::vector<pid_t> ancestors;
    QString launchedDesktopFile;
    pid_t launchedDesktopFilePid = 0;
    QString flatpakId;
    QString snapName;
    QString snapApp;
    QString executable;
    QStringList commandLine;
    std::optional<quint64> startTime;   // clock ticks after boot; orders programs by age
};

ProcessInfo readProcessInfo(pid_t pid);
// The process a window names in _NET_WM_PID, unless it names none (0) or the window's WM_CLIENT_MACHINE
// is another host than `host`: a program shown over ssh -X names a process of its own machine.
std::optional<pid_t> localProcess(std::optional<quint32> pid, const QString& clientMachine, const QString& host);
void applyProcessInfo(const ProcessInfo& info, WindowMetadata& metadata);

// Parsers over file contents, kept apart so odd contents can be tested.
std::optional<pid_t> parentFromStat(const QByteArray& stat);   // field 4, read after the last ')'
std::optional<quint64> startTimeFromStat(const QByteArray& stat); // field 22
QStringList splitNulSeparated(const QByteArray& data);
std::pair<QString, QString> snapFromCgroup(const QByteArray& cgroup); // snap name and app
QString flatpakIdFromInfo(const QByteArray& flatpakInfo);

} // namespace wharf
