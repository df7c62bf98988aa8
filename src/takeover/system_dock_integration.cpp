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
        const auto failure = transaction.withLock([&]() -> DockFailure {
            auto read = transaction.readBackup();
            if (!read.ok())
                return read.error();
            return read.value() ? transaction.restore(*read.value()) : std::nullopt;
        });
        if (failure) {
            std::fprintf(stderr, "Wharf restoration failed: %s\n", qUtf8Printable(failure->message));
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
    if (const auto failure = transaction.recoverStaleBackup()) {
        lastError = failure->message;
        qCWarning(lcTakeover, "Wharf recovery: %s", qUtf8Printable(failure->message));
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

std::optional<DockIntegrationError> SystemDockIntegration::enable()
{
    if (enabled)
        return std::nullopt;
    if (!dock->isInstalled()) {
        // Success, but nothing was hidden, so there is nothing to protect or give back.
        qCInfo(lcTakeover, "%s", qUtf8Printable(noNativeDockMessage()));
        lastError.reset();
        return std::nullopt;
    }
    auto failure = transaction.withLock([this] { return lockedEnable(); });
    if (failure)
        lastError = failure->message;
    return failure;
}

DockFailure SystemDockIntegration::lockedEnable()
{
    auto read = transaction.readBackup();
    if (!read.ok())
        return read.error();
    if (const auto& existing = read.value()) {
        if (DockPreferenceTransaction::isOwnerAlive(*existing))
            return DockIntegrationError{QStringLiteral("Another Wharf session already manages the system Dock.")};
        // Left by a session that ended without restoring: put the user's values back before capturing.
        if (auto failure = transaction.restore(*existing))
            return failure;
    }
    auto captured = transaction.capture();
    if (!captured.ok())
        return captured.error();
    const DockPreferenceBackup& backup = captured.value();
    if (auto failure = transaction.writeBackup(backup))
        return failure;
    sessionToken = backup.token;

    auto started = RecoveryHelper::start(backup.ownerPID, transaction.backupPath());
    DockFailure hidingFailure = started.failure();
    if (started.ok()) {
        std::erase_if(retiredWatchdogs, [](const auto& helper) { return helper->hasEnded(); });
        if (watchdog) {
            // An earlier session's helper leaves by itself; its end means nothing for this session.
            watchdog->onTerminated([] {});
            retiredWatchdogs.push_back(std::move(watchdog));
        }
        watchdog = std::move(started.value());
        watchdog->onTerminated([this] { watchdogEnded(); });
        hidingFailure = transaction.setHidden();
    }
    if (!hidingFailure) {
        enabled = true;
        lastError.reset();
        return std::nullopt;
    }
    const auto rollback = transaction.restore(backup);
    if (!rollback)
        return hidingFailure;
    return DockIntegrationError{QStringLiteral("Could not enable Wharf: ") + hidingFailure->message
                                + QStringLiteral(" Restoration also needs attention: ") + rollback->message
                                + QStringLiteral(" The original preferences remain saved at ") + transaction.backupPath()
                                + QLatin1Char('.')};
}

std::optional<DockIntegrationError> SystemDockIntegration::restore()
{
    auto failure = transaction.withLock([this] { return lockedRestore(); });
    if (failure) {
        lastError = failure->message;
        return failure;
    }
    enabled = false;
    sessionToken.reset();
    lastError.reset();
    return std::nullopt;
}

DockFailure SystemDockIntegration::lockedRestore()
{
    auto read = transaction.readBackup();
    if (!read.ok())
        return read.error();
    const auto& backup = read.value();
    if (!backup)
        return std::nullopt;
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
    if (const auto failure = restore()) {
        lastError = QStringLiteral("The recovery helper stopped: ") + failure->message;
        qCWarning(lcTakeover, "%s", qUtf8Printable(*lastError));
        onIntegrationError.notify(*lastError);
    }
}

} // namespace wharf
