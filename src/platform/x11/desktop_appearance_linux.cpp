// GLib first: its headers use `signals` as an identifier.
#include <gio/gio.h>

#include "platform/x11/desktop_appearance_linux.h"

#include "platform/x11/icon_theme_setup.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QLoggingCategory>

#include <cstring>

namespace wharf {

Q_LOGGING_CATEGORY(appearanceLog, "wharf.appearance")

namespace {

const char* const interfaceSchema = "org.gnome.desktop.interface";
const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearanceGroup = QStringLiteral("org.freedesktop.appearance");
const QString colorSchemeKey = QStringLiteral("color-scheme");

// The portal wraps its answer in one or two variants depending on its version.
QVariant unwrap(QVariant value)
{
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

struct GObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};

} // namespace

struct DesktopAppearanceLinux::Gnome {
    std::unique_ptr<GSettings, GObjectDeleter> settings;
    bool hasColorScheme = false;
    bool hasAnimations = false;
    bool hasIconTheme = false;
    gulong handler = 0;
};

DesktopAppearanceLinux::DesktopAppearanceLinux() : gnome(std::make_unique<Gnome>())
{
    // g_settings_new aborts on a missing schema: look it up first.
    if (GSettingsSchemaSource* source = g_settings_schema_source_get_default()) {
        g_autoptr(GSettingsSchema) schema = g_settings_schema_source_lookup(source, interfaceSchema, TRUE);
        if (schema) {
            gnome->settings.reset(g_settings_new(interfaceSchema));
            gnome->hasColorScheme = g_settings_schema_has_key(schema, "color-scheme");
            gnome->hasAnimations = g_settings_schema_has_key(schema, "enable-animations");
            gnome->hasIconTheme = g_settings_schema_has_key(schema, "icon-theme");
            gnome->handler = g_signal_connect(gnome->settings.get(), "changed",
                                              G_CALLBACK(+[](GSettings*, const char* key, gpointer self) {
                                                  auto* appearance = static_cast<DesktopAppearanceLinux*>(self);
                                                  if (key && std::strcmp(key, "icon-theme") == 0)
                                                      appearance->iconThemeChanged();
                                                  else
                                                      appearance->readGnome();
                                              }),
                                              this);
        }
    }

    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, portalInterface,
                                                           QStringLiteral("Read"));
        call << appearanceGroup << colorSchemeKey;
        const QDBusMessage reply = bus.call(call, QDBus::Block, 1000);
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
            portalDark = darkFromPortalValue(unwrap(reply.arguments().constFirst()).toUInt());
        bus.connect(portalService, portalPath, portalInterface, QStringLiteral("SettingChanged"), this,
                    SLOT(portalSettingChanged(QString, QString, QDBusVariant)));
    }
    readGnome();
}

DesktopAppearanceLinux::~DesktopAppearanceLinux()
{
    if (gnome->settings && gnome->handler)
        g_signal_handler_disconnect(gnome->settings.get(), gnome->handler);
}

std::optional<bool> DesktopAppearanceLinux::darkFromPortalValue(unsigned value)
{
    if (value == 1)
        return true;
    if (value == 2)
        return false;
    return std::nullopt;
}

bool DesktopAppearanceLinux::darkFromGnomeScheme(const QString& nick) { return nick == QLatin1String("prefer-dark"); }

bool DesktopAppearanceLinux::isDark() const { return dark; }

bool DesktopAppearanceLinux::reduceMotion() const { return reduce; }

void DesktopAppearanceLinux::portalSettingChanged(const QString& group, const QString& key, const QDBusVariant& value)
{
    if (group != appearanceGroup || key != colorSchemeKey)
        return;
    portalDark = darkFromPortalValue(unwrap(value.variant()).toUInt());
    readGnome();
}

void DesktopAppearanceLinux::readGnome()
{
    bool gnomeDark = false;
    bool gnomeReduce = false;
    if (gnome->settings) {
        if (gnome->hasColorScheme) {
            g_autofree gchar* nick = g_settings_get_string(gnome->settings.get(), "color-scheme");
            gnomeDark = nick && darkFromGnomeScheme(QString::fromUtf8(nick));
        }
        if (gnome->hasAnimations)
            gnomeReduce = !g_settings_get_boolean(gnome->settings.get(), "enable-animations");
    }
    update(portalDark.value_or(gnomeDark), gnomeReduce);
}

void DesktopAppearanceLinux::iconThemeChanged()
{
    if (!gnome->hasIconTheme)
        return;
    g_autofree gchar* name = g_settings_get_string(gnome->settings.get(), "icon-theme");
    // Every icon is drawn anew: the dock's icons come from the theme.
    if (name && followIconTheme(QString::fromUtf8(name)))
        onChange.notify();
}

void DesktopAppearanceLinux::update(bool newDark, bool newReduce)
{
    if (newDark == dark && newReduce == reduce)
        return;
    dark = newDark;
    reduce = newReduce;
    qCInfo(appearanceLog, "Desktop appearance: dark %s, reduce motion %s", dark ? "true" : "false",
           reduce ? "true" : "false");
    onChange.notify();
}

} // namespace wharf
