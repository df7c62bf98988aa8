#include "platform/x11/dash_to_dock_native_dock.h"

#include <gio/gio.h>

#include <cmath>

namespace wharf {
namespace {

// Seconds; long enough that the dock never shows by accident, short enough for its millisecond timer.
constexpr double longestShowDelay = 1000.0;

GVariant* parseValue(GSettingsSchema* schema, const QString& key, const NativeDockValue& value)
{
    const QByteArray name = key.toUtf8();
    if (!schema || !g_settings_schema_has_key(schema, name.constData()))
        return nullptr;
    const QByteArray type = value.type.toUtf8();
    g_autoptr(GSettingsSchemaKey) schemaKey = g_settings_schema_get_key(schema, name.constData());
    if (!g_variant_type_string_is_valid(type.constData())
        || !g_variant_type_equal(g_settings_schema_key_get_value_type(schemaKey),
                                 reinterpret_cast<const GVariantType*>(type.constData())))
        return nullptr;
    const QByteArray text = value.text.toUtf8();
    g_autoptr(GVariant) parsed = g_variant_parse(reinterpret_cast<const GVariantType*>(type.constData()),
                                                 text.constData(), nullptr, nullptr, nullptr);
    if (!parsed || !g_settings_schema_key_range_check(schemaKey, parsed))
        return nullptr;
    return g_steal_pointer(&parsed);
}

bool isSaneHidingValue(GVariant* value)
{
    if (!g_variant_is_of_type(value, G_VARIANT_TYPE_DOUBLE))
        return true;
    const double number = g_variant_get_double(value);
    return std::isfinite(number) && number >= 0 && number <= longestShowDelay;
}

} // namespace

void DashToDockNativeDock::SchemaUnref::operator()(_GSettingsSchema* schema) const { g_settings_schema_unref(schema); }

void DashToDockNativeDock::SettingsUnref::operator()(_GSettings* settings) const { g_object_unref(settings); }

std::vector<NativeDockKey> DashToDockNativeDock::hidingKeys()
{
    const auto boolean = [](bool on) { return NativeDockValue{QStringLiteral("b"), on ? QStringLiteral("true") : QStringLiteral("false")}; };
    return {
        {QStringLiteral("dock-fixed"), boolean(false)},
        {QStringLiteral("autohide"), boolean(true)},
        {QStringLiteral("intellihide"), boolean(false)},
        {QStringLiteral("show-delay"), {QStringLiteral("d"), QString::number(longestShowDelay, 'f', 1)}},
        {QStringLiteral("require-pressure-to-show"), boolean(true)},
    };
}

DashToDockNativeDock::DashToDockNativeDock()
{
    // g_settings_new() aborts on a schema that is not installed, so look it up first.
    if (GSettingsSchemaSource* source = g_settings_schema_source_get_default())
        schema.reset(g_settings_schema_source_lookup(source, schemaId, TRUE));
    // The schema declares no ranges; a version whose keys no longer take these values is not one we know.
    for (const NativeDockKey& key : hidingKeys()) {
        g_autoptr(GVariant) parsed = parseValue(schema.get(), key.name, key.hidingValue);
        if (!parsed || !isSaneHidingValue(parsed)) {
            schema.reset();
            break;
        }
    }
}

DashToDockNativeDock::~DashToDockNativeDock() = default;

bool DashToDockNativeDock::isInstalled() const { return schema != nullptr; }

QString DashToDockNativeDock::name() const { return QStringLiteral("Dash to Dock"); }

std::vector<NativeDockKey> DashToDockNativeDock::managedKeys() const { return hidingKeys(); }

bool DashToDockNativeDock::hasKey(const QString& key) const
{
    return schema && g_settings_schema_has_key(schema.get(), key.toUtf8().constData());
}

GSettings* DashToDockNativeDock::settings() const
{
    if (!lazySettings && schema) {
        lazySettings.reset(g_settings_new_full(schema.get(), nullptr, nullptr));
        // Writes are held until synchronize(), so the dock sees each change set at once, not key by key.
        g_settings_delay(lazySettings.get());
    }
    return lazySettings.get();
}

std::optional<NativeDockValue> DashToDockNativeDock::userValue(const QString& key) const
{
    if (!hasKey(key))
        return std::nullopt;
    g_autoptr(GVariant) value = g_settings_get_user_value(settings(), key.toUtf8().constData());
    if (!value)
        return std::nullopt;
    g_autofree gchar* text = g_variant_print(value, TRUE);
    return NativeDockValue{QString::fromUtf8(g_variant_get_type_string(value)), QString::fromUtf8(text)};
}

bool DashToDockNativeDock::accepts(const QString& key, const NativeDockValue& value) const
{
    g_autoptr(GVariant) parsed = parseValue(schema.get(), key, value);
    return parsed != nullptr;
}

bool DashToDockNativeDock::write(const QString& key, const NativeDockValue& value)
{
    g_autoptr(GVariant) parsed = parseValue(schema.get(), key, value);
    return parsed && g_settings_set_value(settings(), key.toUtf8().constData(), parsed);
}

bool DashToDockNativeDock::reset(const QString& key)
{
    if (!hasKey(key))
        return false;
    g_settings_reset(settings(), key.toUtf8().constData());
    return true;
}

bool DashToDockNativeDock::synchronize()
{
    if (!schema)
        return false;
    if (lazySettings)
        g_settings_apply(lazySettings.get());
    g_settings_sync();
    return true;
}

QStringList DashToDockNativeDock::favoriteApplications() const
{
    // Looked up first: g_settings_new() on a missing schema aborts the process.
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    g_autoptr(GSettingsSchema) shell = source ? g_settings_schema_source_lookup(source, shellSchemaId, TRUE) : nullptr;
    if (!shell || !g_settings_schema_has_key(shell, "favorite-apps"))
        return {};
    g_autoptr(GSettingsSchemaKey) key = g_settings_schema_get_key(shell, "favorite-apps");
    if (!g_variant_type_equal(g_settings_schema_key_get_value_type(key), G_VARIANT_TYPE_STRING_ARRAY))
        return {};
    g_autoptr(GSettings) settings = g_settings_new_full(shell, nullptr, nullptr);
    g_auto(GStrv) ids = g_settings_get_strv(settings, "favorite-apps");
    QStringList out;
    for (gchar** id = ids; id && *id; ++id)
        out << QString::fromUtf8(*id);
    return out;
}

QStringList DashToDockNativeDock::settingsCommand() const
{
    g_autofree gchar* program = g_find_program_in_path("gnome-extensions");
    if (!program || !isInstalled())
        return {};
    return {QString::fromUtf8(program), QStringLiteral("prefs"), QString::fromLatin1(extensionUuid)};
}

} // namespace wharf
