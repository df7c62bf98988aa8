#pragma once

#include "platform/unique_fd.h"

#include <QString>

#include <sys/types.h>

#include <optional>

namespace wharf {

// The kernel's start time of a live process as "seconds:microseconds" since boot, or nullopt when
// no such process runs. A zombie counts as gone: it has ended, only its entry remains.
std::optional<QString> processStart(pid_t pid);

// The start time field of a /proc/PID/stat text, or nullopt when the text is malformed or names
// an ended process. `ticksPerSecond` is the kernel's clock tick rate.
std::optional<QString> processStartFromStat(const QByteArray& stat, long ticksPerSecond);

// A descriptor that polls readable once the process has ended; invalid when there is no such process.
UniqueFd openPidfd(pid_t pid);

} // namespace wharf
