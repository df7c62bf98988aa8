#pragma once

#include "platform/launcher_entries.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QString>
#include <QVariantMap>

class QDBusMessage;

namespace wharf {

// Launcher entries over the Unity LauncherEntry D-Bus API: applications broadcast
// com.canonical.Unity.LauncherEntry.Update(s app_uri, a{sv} properties) with the properties that
// changed, and answer Query(), on their libunity path, with all of them.
class UnityLauncherEntries : public QObject, public LauncherEntries {
    Q_OBJECT

public:
    static inline const QString interfaceName = QStringLiteral("com.canonical.Unity.LauncherEntry");
    // Applications that publish at all are few; past this many ids, new ones are ignored.
    static constexpr int maximumEntries = 256;

    explicit UnityLauncherEntries(QDBusConnection bus = QDBusConnection::sessionBus());
    ~UnityLauncherEntries() override;

    std::optional<LauncherEntry> entry(const QString& desktopID) const override;
    void query(const std::vector<RunningApplication>& applications) override;

    // "application://org.gnome.Calculator.desktop" -> "org.gnome.Calculator"; none for anything else.
    static std::optional<QString> desktopID(const QString& appURI);
    // libunity's object path for an application: its URI's djb hash.
    static QString objectPath(const QString& appURI);
    // Takes the known properties of `properties` into `entry`; a value of the wrong type is
    // skipped. True when the entry changed.
    static bool apply(LauncherEntry& entry, const QVariantMap& properties);

private Q_SLOTS:
    void updated(const QDBusMessage& message);

private:
    void receive(const QString& appURI, const QVariantMap& properties);
    void queryName(const QString& name, const std::vector<RunningApplication>& applications);

    QDBusConnection bus;
    QHash<QString, LauncherEntry> entries;
};

} // namespace wharf
