#pragma once

#include "platform/native_dock.h"
#include "takeover/dock_integration_error.h"
#include "takeover/dock_preference_backup.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace wharf {

// The guarded change of the native dock's settings: the backup file written before anything is
// hidden, restored on the way back, and the lock file that serializes every process touching them.
class DockPreferenceTransaction {
public:
    // `directory` holds the backup and lock files; empty = $XDG_DATA_HOME/wharf.
    DockPreferenceTransaction(NativeDock& dock, QString directory = {});

    static QString defaultDirectory();
    static DockIntegrationError unsavedPreferencesError();

    QStringList keys() const;
    QString directory() const { return folder; }
    QString backupPath() const;
    QString lockPath() const;

    // Runs `body` while holding the exclusive lock on the lock file; blocks while another process holds it.
    Status withLock(const std::function<Status()>& body) const;

    // Call these inside withLock(); the recovery helper's watch alone reads without it.
    Result<DockPreferenceBackup> capture() const;
    Status writeBackup(const DockPreferenceBackup& backup) const;
    // nullopt when there is no backup file.
    Result<std::optional<DockPreferenceBackup>> readBackup() const;
    Status setHidden();
    Status restore(const DockPreferenceBackup& backup);
    // Restores a backup whose owner no longer runs; takes the lock itself.
    Status recoverStaleBackup();

    static bool isOwnerAlive(const DockPreferenceBackup& backup);

    // The recovery helper: watches the owner and restores its backup when it ends without doing so.
    // Writes "READY\n" to `readyFd` once watching. Returns quietly when there is nothing to watch.
    void runWatchdog(qint32 ownerPID, const QString& backupPath, int readyFd);

private:
    NativeDock& dock;
    QString folder;
};

} // namespace wharf
