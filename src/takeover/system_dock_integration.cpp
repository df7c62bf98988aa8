#include "takeover/system_dock_integration.h"

#include "takeover/recovery_helper.h"

#include <QFile>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <unistd.h>

namespace wharf {

Q_DECLARE_LOGGING_CATEGORY(lcTakeover)

namespace {

// A signed 32-bit decimal: an optional sign, then digits only.
std::optional<qint32> parsePid(const char* text)
{
    const QByteArray digits = QByteArray(text).mid(text[0] == '+' || text[0] == '-' ? 1 : 0);
    if (digits.isEmpty() || !std::all_of(digits.cbegin(), digits.cend(), [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    bool ok = false;
    const qint64 value = QByteArray(text).toLongLong(&ok);
    if (!ok || value < std::numeric_limits<qint32>::min() || value > std::numeric_limits<qint32>::max())
        return std::nullopt;
    return static_cast<qint32>(value);
}

} // namespace

bool SystemDockIntegration::handleWatchdogModeIfNeeded(int argc, char** argv,
                                                       const std::function<std::unique_ptr<NativeDock>()>& makeDock)
{
    if (argc == 2 && qstrcmp(argv[1], "--restore-system-dock") == 0) {
        const auto dock = makeDock();
        DockPreferenceTransaction transaction(*dock);
        const Status restored = transaction.withLock([&]() -> Status {
            auto read = transaction.readBackup();
            if (!read.ok())
                return read.error();
            return read.value() ? transaction.restore(*read.value()) : Status();
        });
        if (!restored) {
            std::fprintf(stderr, "Wharf restoration failed: %s\n", qUtf8Printable(restored.error().message));
            std::fflush(stderr);
            std::_Exit(1);
        }
        std::printf("Original system Dock preferences restored.\n");
        std::fflush(stdout);
        return true;
    }
    if (argc == 4 && qstrcmp(argv[1], "--dock-watchdog") == 0) {
        const auto owner = parsePid(argv[2]);
        if (!owner)
            return false;
        const auto dock = makeDock();
        DockPreferenceTransaction(*dock).runWatchdog(*owner, QFile::decodeName(argv[3]), STDOUT_FILENO);
        return true;
    }
    return false;
}

SystemDockIntegration::SystemDockIntegration(std::unique_ptr<NativeDock> nativeDock, QString directory)
    : dock(std::move(nativeDock)), transaction(*dock, std::move(directory))
{
    if (!QFile::exists(transaction.backupPath()))
        return;
    if (const Status recovered = transaction.recoverStaleBackup(); !recovered) {
        lastError = recovered.error().message;
        qCWarning(lcTakeover, "Wharf recovery: %s", qUtf8Printable(recovered.error().message));
    }
}

// A running helper is left alone: it ends by itself once the backup is gone, and restores the
// native dock if this process ends without doing so.
SystemDockIntegration::~SystemDockIntegration() = default;

bool SystemDockIntegration::nativeDockAvailable() const { return dock->isInstalled(); }

QString SystemDockIntegration::noNativeDockMessage()
{
    return QStringLiteral("No dock of the desktop was found (such as Dash to Dock or Ubuntu Dock), so Wharf has nothing to hide.");
}

qint64 SystemDockIntegration::watchdogPid() const { return watchdog ? watchdog->pid() : 0; }

Status SystemDockIntegration::enable()
{
    if (enabled)
        return {};
    if (!dock->isInstalled()) {
        // Success, but nothing was hidden, so there is nothing to protect or give back.
        qCInfo(lcTakeover, "%s", qUtf8Printable(noNativeDockMessage()));
        lastError.reset();
        return {};
    }
    Status enabling = transaction.withLock([this] { return lockedEnable(); });
    if (!enabling)
        lastError = enabling.error().message;
    return enabling;
}

Status SystemDockIntegration::lockedEnable()
{
    auto read = transaction.readBackup();
    if (!read.ok())
        return read.error();
    if (const auto& existing = read.value()) {
        if (DockPreferenceTransaction::isOwnerAlive(*existing))
            return DockIntegrationError{QStringLiteral("Another Wharf session already manages the system Dock.")};
        // Left by a session that ended without restoring: put the user's values back before capturing.
        if (auto restored = transaction.restore(*existing); !restored)
            return restored;
    }
    auto captured = transaction.capture();
    if (!captured.ok())
        return captured.error();
    const DockPreferenceBackup& backup = captured.value();
    if (auto written = transaction.writeBackup(backup); !written)
        return written;
    sessionToken = backup.token;

    auto started = RecoveryHelper::start(backup.ownerPID, transaction.backupPath());
    Status hiding = started.ok() ? Status() : Status(started.error());
    if (started.ok()) {
        std::erase_if(retiredWatchdogs, [](const auto& helper) { return helper->hasEnded(); });
        if (watchdog) {
            // An earlier session's helper leaves by itself; its end means nothing for this session.
            watchdog->onTerminated([] {});
            retiredWatchdogs.push_back(std::move(watchdog));
        }
        watchdog = std::move(started.value());
        watchdog->onTerminated([this] { watchdogEnded(); });
        hiding = transaction.setHidden();
    }
    if (hiding) {
        enabled = true;
        lastError.reset();
        return {};
    }
    const Status rollback = transaction.restore(backup);
    if (rollback)
        return hiding;
    return DockIntegrationError{QStringLiteral("Could not enable Wharf: ") + hiding.error().message
                                + QStringLiteral(" Restoration also needs attention: ") + rollback.error().message
                                + QStringLiteral(" The original preferences remain saved at ") + transaction.backupPath()
                                + QLatin1Char('.')};
}

Status SystemDockIntegration::restore()
{
    Status restoring = transaction.withLock([this] { return lockedRestore(); });
    if (!restoring) {
        lastError = restoring.error().message;
        return restoring;
    }
    enabled = false;
    sessionToken.reset();
    lastError.reset();
    return {};
}

Status SystemDockIntegration::lockedRestore()
{
    auto read = transaction.readBackup();
    if (!read.ok())
        return read.error();
    const auto& backup = read.value();
    if (!backup)
        return {};
    const bool own = sessionToken && *sessionToken == backup->token;
    if (!own && DockPreferenceTransaction::isOwnerAlive(*backup))
        return DockIntegrationError{QStringLiteral("The system Dock is managed by another running Wharf session.")};
    return transaction.restore(*backup);
}

void SystemDockIntegration::watchdogEnded()
{
    // Nothing protects the hidden dock any more, so give it back now.
    if (!enabled)
        return;
    if (const Status restored = restore(); !restored) {
        lastError = QStringLiteral("The recovery helper stopped: ") + restored.error().message;
        qCWarning(lcTakeover, "%s", qUtf8Printable(*lastError));
        onIntegrationError.notify(*lastError);
    }
}

} // namespace wharf
