#include "takeover/dock_preference_transaction.h"

#include "takeover/process_identity.h"
#include "platform/unique_fd.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>
#include <QStandardPaths>
#include <QThread>
#include <QUuid>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wharf {

Q_LOGGING_CATEGORY(lcTakeover, "wharf.takeover")

namespace {

DockIntegrationError systemError(const QString& what, int error)
{
    return {what + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(error)) + QLatin1Char('.')};
}

// Creates the folder and any missing parents, owner-only.
Status makeFolder(const QString& path)
{
    const QString clean = QDir::cleanPath(QDir(path).absolutePath());
    QString partial;
    for (const QString& part : clean.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        partial += QLatin1Char('/') + part;
        const QByteArray native = QFile::encodeName(partial);
        if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST)
            return systemError(QStringLiteral("Could not create the folder %1").arg(partial), errno);
    }
    if (!QFileInfo(clean).isDir())
        return DockIntegrationError{QStringLiteral("Could not create the folder %1: it is not a folder.").arg(clean)};
    return {};
}

} // namespace

DockPreferenceTransaction::DockPreferenceTransaction(NativeDock& dock, QString directory)
    : dock(dock), folder(directory.isEmpty() ? defaultDirectory() : std::move(directory))
{
}

QString DockPreferenceTransaction::defaultDirectory()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/wharf");
}

DockIntegrationError DockPreferenceTransaction::unsavedPreferencesError()
{
    return {QStringLiteral("The system could not save the Dock preferences. Check that Wharf can write user preferences.")};
}

QStringList DockPreferenceTransaction::keys() const
{
    QStringList names;
    for (const NativeDockKey& key : dock.managedKeys())
        names.append(key.name);
    return names;
}

QString DockPreferenceTransaction::backupPath() const { return folder + QStringLiteral("/system-dock-backup.plist"); }

QString DockPreferenceTransaction::lockPath() const { return folder + QStringLiteral("/system-dock.lock"); }

Status DockPreferenceTransaction::withLock(const std::function<Status()>& body) const
{
    if (auto made = makeFolder(folder); !made)
        return made;
    const UniqueFd lock(::open(QFile::encodeName(lockPath()).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock.valid())
        return systemError(QStringLiteral("Could not open the Dock recovery lock"), errno);
    int locked;
    do
        locked = ::flock(lock.get(), LOCK_EX);
    while (locked != 0 && errno == EINTR);
    if (locked != 0)
        return DockIntegrationError{QStringLiteral("Could not lock the Dock recovery preferences.")};
    Status result = body();
    ::flock(lock.get(), LOCK_UN);
    return result;
}

Result<DockPreferenceBackup> DockPreferenceTransaction::capture() const
{
    if (!dock.synchronize())
        return unsavedPreferencesError();
    const auto start = processStart(::getpid());
    if (!start)
        return DockIntegrationError{QStringLiteral("Could not identify this Wharf process for crash recovery.")};
    DockPreferenceBackup backup;
    for (const QString& key : keys()) {
        if (const auto value = dock.userValue(key))
            backup.values.insert(key, encodeDockValue(*value));
        else
            backup.missing.append(key);
    }
    backup.version = 1;
    backup.token = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    backup.ownerPID = static_cast<qint32>(::getpid());
    backup.ownerStart = *start;
    return backup;
}

Status DockPreferenceTransaction::writeBackup(const DockPreferenceBackup& backup) const
{
    if (auto made = makeFolder(folder); !made)
        return made;
    const QByteArray bytes = encodeBackup(backup);
    QSaveFile file(backupPath());
    // Owner-only from the start, not just once the file is in place.
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner)
        || file.write(bytes) != bytes.size() || !file.commit())
        return DockIntegrationError{QStringLiteral("Could not save the Dock preferences to %1: %2.")
                                        .arg(backupPath(), file.errorString())};
    if (::chmod(QFile::encodeName(backupPath()).constData(), 0600) != 0)
        return systemError(QStringLiteral("Could not protect %1").arg(backupPath()), errno);
    return {};
}

Result<std::optional<DockPreferenceBackup>> DockPreferenceTransaction::readBackup() const
{
    QFile file(backupPath());
    if (!file.exists())
        return std::optional<DockPreferenceBackup>();
    if (!file.open(QIODevice::ReadOnly))
        return DockIntegrationError{QStringLiteral("Could not read the saved Dock preferences at %1: %2.")
                                        .arg(backupPath(), file.errorString())};
    auto decoded = decodeBackup(file.readAll());
    if (const QString* why = std::get_if<QString>(&decoded))
        return DockIntegrationError{QStringLiteral("The saved Dock preferences at %1 could not be read: %2.")
                                        .arg(backupPath(), *why)};
    auto& backup = std::get<DockPreferenceBackup>(decoded);
    if (!isValidBackup(backup, keys()))
        return DockIntegrationError{QStringLiteral("The saved Dock preferences could not be validated; they have been preserved at ")
                                    + backupPath() + QLatin1Char('.')};
    return std::optional<DockPreferenceBackup>(std::move(backup));
}

Status DockPreferenceTransaction::setHidden()
{
    bool written = true;
    for (const NativeDockKey& key : dock.managedKeys())
        written = dock.write(key.name, key.hidingValue) && written;
    if (!dock.synchronize() || !written)
        return unsavedPreferencesError();
    return {};
}

Status DockPreferenceTransaction::restore(const DockPreferenceBackup& backup)
{
    // Without the dock its keys accept nothing; say so rather than blame the saved values.
    if (!dock.isInstalled())
        return DockIntegrationError{QStringLiteral("The desktop's dock (%1) is no longer installed, so its settings "
                                                   "could not be restored. The backup was preserved at %2.")
                                        .arg(dock.name(), backupPath())};
    // Every saved value is checked before the first write, so a bad one changes nothing.
    QMap<QString, NativeDockValue> decoded;
    for (auto it = backup.values.cbegin(); it != backup.values.cend(); ++it) {
        const auto value = decodeDockValue(it.value());
        if (!value || !dock.accepts(it.key(), *value))
            return DockIntegrationError{QStringLiteral("The saved value for ") + it.key()
                                        + QStringLiteral(" is invalid. The backup was preserved.")};
        decoded.insert(it.key(), *value);
    }
    if (!dock.synchronize())
        return unsavedPreferencesError();
    bool written = true;
    for (const QString& key : keys()) {
        const auto value = decoded.constFind(key);
        // A key the user never set goes back to having no value, not to some default.
        written = (value != decoded.cend() ? dock.write(key, *value) : dock.reset(key)) && written;
    }
    if (!dock.synchronize() || !written)
        return unsavedPreferencesError();
    QFile file(backupPath());
    if (!file.remove())
        return DockIntegrationError{QStringLiteral("Could not remove the saved Dock preferences at %1: %2.")
                                        .arg(backupPath(), file.errorString())};
    return {};
}

bool DockPreferenceTransaction::isOwnerAlive(const DockPreferenceBackup& backup)
{
    const auto start = processStart(backup.ownerPID);
    return start && *start == backup.ownerStart;
}

Status DockPreferenceTransaction::recoverStaleBackup()
{
    return withLock([this]() -> Status {
        auto read = readBackup();
        if (!read.ok())
            return read.error();
        if (!read.value() || isOwnerAlive(*read.value()))
            return {};
        return restore(*read.value());
    });
}

void DockPreferenceTransaction::runWatchdog(qint32 ownerPID, const QString& path, int readyFd)
{
    const auto standardized = [](const QString& file) { return QDir::cleanPath(QFileInfo(file).absoluteFilePath()); };
    if (standardized(path) != standardized(backupPath()))
        return;
    const auto initial = readBackup();
    if (!initial.ok() || !initial.value())
        return;
    const QString token = initial.value()->token;
    const QString ownerStart = initial.value()->ownerStart;
    if (initial.value()->ownerPID != ownerPID || processStart(ownerPID) != ownerStart)
        return;
    const UniqueFd owner = openPidfd(ownerPID);
    // The owner may have ended between the checks; then its pid may already name another process.
    if (!owner.valid() || processStart(ownerPID) != ownerStart)
        return;

    static const char ready[] = "READY\n";
    if (::write(readyFd, ready, sizeof ready - 1) != static_cast<ssize_t>(sizeof ready - 1))
        return;

    for (;;) {
        pollfd watch{owner.get(), POLLIN, 0};
        const int waited = ::poll(&watch, 1, 1000);
        const int waitError = errno;
        const auto current = readBackup();
        if (!current.ok() || !current.value() || current.value()->token != token)
            return;  // the owner restored, another session took over, or the file went bad
        if (waited > 0 || processStart(ownerPID) != ownerStart || (waited < 0 && waitError != EINTR))
            break;
    }

    for (int attempt = 1; attempt <= 10; ++attempt) {
        const auto failure = withLock([&]() -> Status {
            auto read = readBackup();
            if (!read.ok())
                return read.error();
            if (!read.value() || read.value()->token != token)
                return {};
            return restore(*read.value());
        });
        if (failure.ok())
            return;
        qCWarning(lcTakeover, "Wharf crash recovery attempt %d: %s", attempt,
                  qUtf8Printable(failure.error().message));
        if (attempt < 10)
            QThread::msleep(500);
    }
}

} // namespace wharf
