#pragma once

#include "platform/launcher_entries.h"
#include "platform/x11/gobject_ptr.h"

#include <QObject>
#include <QString>

#include <functional>
#include <map>
#include <memory>

class QTimer;

namespace wharf {

// Launcher entries over the Unity LauncherEntry D-Bus API: applications broadcast
// com.canonical.Unity.LauncherEntry.Update(s app_uri, a{sv} properties) with the properties that
// changed, and answer Query(), on their libunity path, with all of them.
//
// A flood of updates must cost the dock next to nothing. The bus daemon delivers only the
// updates of watched applications (one arg0 match rule each), on a private connection whose
// messages are read on GIO's D-Bus thread: an update is taken there, without waking the main
// thread unless a value changed, and the main thread hears of changes at most once a frame.
class UnityLauncherEntries : public QObject, public LauncherEntries {
    Q_OBJECT

public:
    static constexpr const char* interfaceName = "com.canonical.Unity.LauncherEntry";
    // How often a stream of changes reaches the dock: one frame.
    static constexpr int framePeriodMs = 16;

    UnityLauncherEntries();
    ~UnityLauncherEntries() override;

    std::optional<LauncherEntry> entry(const QString& desktopID) const override;
    void watch(const std::vector<Application>& applications) override;

    // "application://org.gnome.Calculator.desktop" -> "org.gnome.Calculator"; none for anything else.
    static std::optional<QString> desktopID(const QString& appURI);
    // libunity's object path for an application: its URI's djb hash.
    static QString objectPath(const QString& appURI);
    // Takes the known properties of an a{sv} into `entry`; a value of the wrong type is
    // skipped. True when the entry changed.
    static bool apply(LauncherEntry& entry, GVariant* properties);

private:
    struct Inbox;

    void deliver();
    void frameEnded();
    void query(const std::vector<Application>& applications);
    void queryName(const QString& name, const std::vector<Application>& applications);
    void match(const QString& desktopID, bool add);
    // An asynchronous call on the bus; `done` gets the reply, and never runs once the object is gone.
    void call(const QString& destination, const QString& path, const char* interface, const char* method,
              GVariant* parameters, std::function<void(GVariant*)> done);

    std::shared_ptr<Inbox> inbox;
    GObjectPtr<GDBusConnection> bus;
    GObjectPtr<GCancellable> cancellable;
    unsigned filterID = 0;
    unsigned nameID = 0;
    QTimer* frameTimer = nullptr;
    std::map<QString, std::vector<pid_t>> watched; // desktop id -> its processes when last asked
};

} // namespace wharf
