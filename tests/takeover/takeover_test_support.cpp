#define G_SETTINGS_ENABLE_BACKEND
#include <gio/gio.h>
#include <gio/gsettingsbackend.h>

#include "crash_recovery_support.h"

#include "platform/x11/dash_to_dock_native_dock.h"
#include "takeover/process_identity.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace wharf::test {
namespace {

// The Dash to Dock settings over the keyfile at `keyfile`, through a fresh backend; null without the
// schema. The settings hold the schema and the backend.
GSettings* openSettings(const QString& keyfile)
{
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    g_autoptr(GSettingsSchema) schema =
        source ? g_settings_schema_source_lookup(source, DashToDockNativeDock::schemaId, TRUE) : nullptr;
    g_autoptr(GSettingsBackend) backend =
        g_keyfile_settings_backend_new(QFile::encodeName(keyfile).constData(), "/", nullptr);
    return schema ? g_settings_new_full(schema, backend, nullptr) : nullptr;
}

} // namespace

DockValues readKeyfileValues(const QString& keyfile, const QStringList& keys)
{
    DockValues values;
    g_autoptr(GSettings) settings = openSettings(keyfile);
    for (const QString& key : keys) {
        g_autoptr(GVariant) value = settings ? g_settings_get_user_value(settings, key.toUtf8().constData()) : nullptr;
        if (!value) {
            values.insert(key, std::nullopt);
            continue;
        }
        g_autofree gchar* text = g_variant_print(value, TRUE);
        values.insert(key, NativeDockValue{QString::fromUtf8(g_variant_get_type_string(value)), QString::fromUtf8(text)});
    }
    return values;
}

void writeKeyfileValues(const QString& keyfile, const DockValues& values)
{
    g_autoptr(GSettings) settings = openSettings(keyfile);
    if (!settings)
        return;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        const QByteArray key = it.key().toUtf8();
        if (!it.value()) {
            g_settings_reset(settings, key.constData());
            continue;
        }
        const QByteArray type = it.value()->type.toUtf8();
        g_autoptr(GVariant) parsed = g_variant_parse(reinterpret_cast<const GVariantType*>(type.constData()),
                                           it.value()->text.toUtf8().constData(), nullptr, nullptr, nullptr);
        if (parsed)
            g_settings_set_value(settings, key.constData(), parsed);
    }
    g_settings_sync();
}

QList<qint64> recoveryHelpers(const QString& backupPath)
{
    QList<qint64> found;
    const QByteArray path = QFile::encodeName(backupPath);
    for (const QString& entry : QDir("/proc").entryList(QDir::Dirs)) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        if (!numeric)
            continue;
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (!cmdline.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> args = cmdline.readAll().split('\0');
        if (args.size() >= 4 && args[1] == "--dock-watchdog" && args[3] == path && processStart(static_cast<pid_t>(pid)))
            found.append(pid);
    }
    return found;
}

QString defaultKeyfile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/glib-2.0/settings/keyfile";
}

QStringList dashToDockKeys()
{
    QStringList keys;
    for (const NativeDockKey& key : DashToDockNativeDock::hidingKeys())
        keys.append(key.name);
    return keys;
}

bool dashToDockSchemaAvailable()
{
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    g_autoptr(GSettingsSchema) schema = source ? g_settings_schema_source_lookup(source, DashToDockNativeDock::schemaId, TRUE) : nullptr;
    return schema != nullptr;
}

// Driver homes for the crash test and the restore benchmark.

DriverHome::DriverHome()
{
    QDir().mkpath(dataHome());
    QDir().mkpath(dir.filePath("config"));
}

DockValues DriverHome::userValues()
{
    return {{"dock-fixed", NativeDockValue{"b", "true"}},
            {"autohide", std::nullopt},
            {"intellihide", NativeDockValue{"b", "false"}},
            {"show-delay", NativeDockValue{"d", "1.5"}},
            {"require-pressure-to-show", std::nullopt}};
}

std::unique_ptr<QProcess> DriverHome::start() const
{
    auto driver = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("XDG_DATA_HOME", dataHome());
    env.insert("XDG_CONFIG_HOME", dir.filePath("config"));
    env.insert("GSETTINGS_BACKEND", "keyfile");
    driver->setProcessEnvironment(env);
    driver->setProgram(QStringLiteral(WHARF_TAKEOVER_DRIVER));
    driver->start();
    driver->waitForStarted();
    return driver;
}

std::optional<QString> DriverHome::readLine(QProcess& driver, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!driver.canReadLine()) {
        if (deadline.hasExpired() || !driver.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            return std::nullopt;
    }
    return QString::fromUtf8(driver.readLine()).trimmed();
}

} // namespace wharf::test
