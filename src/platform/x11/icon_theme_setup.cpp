// GLib first: its headers use `signals` as an identifier.
#include <gio/gio.h>

#include "platform/x11/icon_theme_setup.h"

#include <QDir>
#include <QFileInfo>
#include <QIcon>
#include <QLoggingCategory>

namespace wharf {

Q_LOGGING_CATEGORY(iconThemeLog, "wharf.appearance")

namespace {

const QString adwaita = QStringLiteral("Adwaita");
const QString hicolor = QStringLiteral("hicolor");

QString gnomeIconTheme()
{
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    if (!source)
        return {};
    g_autoptr(GSettingsSchema) schema = g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE);
    if (!schema || !g_settings_schema_has_key(schema, "icon-theme"))
        return {};
    g_autoptr(GSettings) settings = g_settings_new("org.gnome.desktop.interface");
    g_autofree gchar* name = g_settings_get_string(settings, "icon-theme");
    return name ? QString::fromUtf8(name) : QString();
}

QStringList installedThemes()
{
    QStringList themes;
    for (const QString& path : QIcon::themeSearchPaths()) {
        const QDir dir(path);
        for (const QString& name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            if (QFileInfo::exists(dir.filePath(name + QStringLiteral("/index.theme"))) && !themes.contains(name))
                themes.append(name);
        }
    }
    return themes;
}

} // namespace

std::pair<QString, QString> chooseIconThemes(const QString& current, const QString& gnomeTheme,
                                             const QStringList& installed)
{
    QString theme;
    if (!current.isEmpty() && current != hicolor && installed.contains(current))
        theme = current; // a desktop session already chose one
    else if (!gnomeTheme.isEmpty() && installed.contains(gnomeTheme))
        theme = gnomeTheme;
    else if (installed.contains(adwaita))
        theme = adwaita;
    else
        theme = hicolor;
    const QString fallback = theme != adwaita && installed.contains(adwaita) ? adwaita : hicolor;
    return {theme, fallback};
}

QString setUpIconTheme()
{
    const auto [theme, fallback] = chooseIconThemes(QIcon::themeName(), gnomeIconTheme(), installedThemes());
    if (theme != QIcon::themeName())
        QIcon::setThemeName(theme);
    QIcon::setFallbackThemeName(fallback);
    qCInfo(iconThemeLog, "Icon theme %s, fallback %s", qPrintable(theme), qPrintable(fallback));
    return theme;
}

bool followIconTheme(const QString& gnomeTheme)
{
    if (gnomeTheme.isEmpty() || gnomeTheme == QIcon::themeName())
        return false;
    const QStringList installed = installedThemes();
    if (!installed.contains(gnomeTheme))
        return false;
    const auto [theme, fallback] = chooseIconThemes({}, gnomeTheme, installed);
    QIcon::setThemeName(theme);
    QIcon::setFallbackThemeName(fallback);
    qCInfo(iconThemeLog, "Icon theme %s, fallback %s", qPrintable(theme), qPrintable(fallback));
    return true;
}

} // namespace wharf
