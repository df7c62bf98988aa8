#include "shell/single_instance_lock.h"

#include <QFile>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>

namespace wharf {

QString SingleInstanceLock::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) + QStringLiteral("/wharf.lock");
}

SingleInstanceLock::SingleInstanceLock(const QString& path)
{
    // Close-on-exec: the recovery helper must not keep the lock after this process ends.
    fd.reset(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!fd.valid()) {
        why = QStringLiteral("cannot open %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    int result = 0;
    do
        result = ::flock(fd.get(), LOCK_EX | LOCK_NB);
    while (result != 0 && errno == EINTR);
    if (result == 0) {
        current = State::held;
        return;
    }
    if (errno == EWOULDBLOCK) {
        current = State::taken;
        return;
    }
    why = QStringLiteral("cannot lock %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
    fd.reset();
}

} // namespace wharf
