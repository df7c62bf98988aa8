#pragma once

#include "platform/launcher_entries.h"
#include "platform/x11/launcher_entry_receiver.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <map>
#include <memory>

class QTimer;

namespace wharf {

// Launcher entries over the Unity LauncherEntry D-Bus API: applications broadcast
// com.canonical.Unity.LauncherEntry.Update(s app_uri, a{sv} properties) with the properties that
// changed, and answer Query(), on their libunity path, with all of them.
//
// A flood of updates must cost the dock next to nothing. The bus daemon delivers only the
// updates of watched applications (one arg0 match rule each); a receiver of their own takes them
// on its thread, without waking the main thread unless a value changed, and the main thread hears
// of changes at most once a frame. The service name, and the search for the connection that
// publishes for an application, go over `bus`; the receiver asks that connection after its rule.
class UnityLauncherEntries : public QObject, public LauncherEntries {
    Q_OBJECT

public:
    static inline const QString interfaceName = QStringLiteral("com.canonical.Unity.LauncherEntry");
    // How often a stream of changes reaches the dock: one frame. A change after a quiet spell is
    // shown in the next frame; one that changes every frame for longer than `floodAfterFrames` is
    // shown every `floodPeriodMs` until it pauses, as nobody reads a count that changes faster.
    static constexpr int framePeriodMs = 16;
    static constexpr int floodAfterFrames = 6;
    static constexpr int floodPeriodMs = 100;

    explicit UnityLauncherEntries(QDBusConnection bus = QDBusConnection::sessionBus());
    ~UnityLauncherEntries() override;

    std::optional<LauncherEntry> entry(const QString& desktopID) const override;
    void watch(const std::vector<Application>& applications) override;

    // "application://org.gnome.Calculator.desktop" -> "org.gnome.Calculator"; none for anything else.
    static std::optional<QString> desktopID(const QString& appURI);
    // libunity's object path for an application: its URI's djb hash.
    static QString objectPath(const QString& appURI);
    // True when the entry changed.
    static bool apply(LauncherEntry& entry, const LauncherEntryChanges& changes);

    struct Inbox;

private:
    void deliver();
    void frameEnded();
    void listen(const QString& desktopID, bool on);
    void query(const std::vector<Application>& applications);
    void queryName(const QString& name, const std::vector<Application>& applications);

    QDBusConnection bus;
    std::shared_ptr<Inbox> inbox;
    std::unique_ptr<LauncherEntryReceiver> receiver; // none without a bus
    QTimer* frameTimer = nullptr;
    int busyFrames = 0; // frames in a row that ended with a change
    std::map<QString, std::vector<pid_t>> watched; // desktop id -> its processes when last asked
};

} // namespace wharf
