#include "platform/x11/gio_file_info.h"

#include "platform/x11/gobject_ptr.h"

#include <gio/gdesktopappinfo.h>

#include <QDir>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QStandardPaths>

namespace wharf {

namespace {

QIcon iconFromNames(const QStringList& names)
{
    for (const QString& name : names) {
        if (name.startsWith(QLatin1Char('/'))) {
            QIcon icon(name);
            if (!icon.isNull())
                return icon;
        } else if (QIcon::hasThemeIcon(name)) {
            return QIcon::fromTheme(name);
        }
    }
    return {};
}

QIcon iconFromGIcon(GIcon* icon)
{
    if (G_IS_THEMED_ICON(icon)) {
        QStringList names;
        for (const char* const* name = g_themed_icon_get_names(G_THEMED_ICON(icon)); name && *name; ++name)
            names << QString::fromUtf8(*name);
        return iconFromNames(names);
    }
    if (G_IS_FILE_ICON(icon)) {
        GCharPtr path(g_file_get_path(g_file_icon_get_file(G_FILE_ICON(icon))));
        if (path)
            return QIcon(QString::fromLocal8Bit(path.get()));
    }
    return {};
}

std::optional<QString> entryPath(GAppInfo* info)
{
    if (!info || !G_IS_DESKTOP_APP_INFO(info))
        return std::nullopt;
    const char* filename = g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(info));
    return filename ? std::optional<QString>(QString::fromLocal8Bit(filename)) : std::nullopt;
}

} // namespace

GioFileInfo::GioFileInfo(const MatchRules& rules, const DesktopEntryIndex& index) : rules_(rules), index_(index) {}

QIcon GioFileInfo::entryIcon(const DesktopEntryRecord& entry)
{
    if (entry.iconName.isEmpty())
        return {};
    return iconFromNames({entry.iconName});
}

QIcon GioFileInfo::iconForFile(const QString& path) const
{
    if (path.endsWith(QLatin1String(".desktop"))) {
        const DesktopEntryRecord* entry = index_.byPath(path);
        std::optional<DesktopEntryRecord> read;
        if (!entry && (read = DesktopEntryIndex::recordForFile(path, rules_)))
            entry = &*read;
        QIcon icon = entry ? entryIcon(*entry) : QIcon();
        return icon.isNull() ? QIcon::fromTheme(QStringLiteral("application-x-executable")) : icon;
    }
    GObjectPtr<GFile> file(g_file_new_for_path(path.toLocal8Bit().constData()));
    GObjectPtr<GFileInfo> info(g_file_query_info(file.get(), G_FILE_ATTRIBUTE_STANDARD_ICON, G_FILE_QUERY_INFO_NONE,
                                                 nullptr, nullptr));
    if (info) {
        if (GIcon* gicon = g_file_info_get_icon(info.get())) {
            QIcon icon = iconFromGIcon(gicon);
            if (!icon.isNull())
                return icon;
        }
    }
    if (QFileInfo(path).isDir())
        return QIcon::fromTheme(QStringLiteral("folder"));
    const QMimeType type = QMimeDatabase().mimeTypeForFile(path);
    return QIcon::fromTheme(type.iconName(), QIcon::fromTheme(type.genericIconName(),
                                                              QIcon::fromTheme(QStringLiteral("text-x-generic"))));
}

QString GioFileInfo::displayName(const QString& path) const
{
    if (path.endsWith(QLatin1String(".desktop"))) {
        if (const DesktopEntryRecord* entry = index_.byPath(path))
            return entry->name;
        if (const auto record = DesktopEntryIndex::recordForFile(path, rules_))
            return record->name;
    }
    GObjectPtr<GFile> file(g_file_new_for_path(path.toLocal8Bit().constData()));
    GObjectPtr<GFileInfo> info(g_file_query_info(file.get(), G_FILE_ATTRIBUTE_STANDARD_DISPLAY_NAME,
                                                 G_FILE_QUERY_INFO_NONE, nullptr, nullptr));
    if (info) {
        if (const char* name = g_file_info_get_display_name(info.get()))
            return QString::fromUtf8(name);
    }
    const QString name = QFileInfo(path).fileName();
    return name.isEmpty() ? path : name;
}

std::optional<QString> GioFileInfo::bundleIdentifier(const QString& path) const
{
    if (!path.endsWith(QLatin1String(".desktop")))
        return std::nullopt;
    if (const DesktopEntryRecord* entry = index_.byPath(path))
        return entry->id;
    // Outside the data dirs the id is the file name; below one it carries the subfolders.
    const QString canonical = QFileInfo(path).canonicalFilePath();
    const QString target = canonical.isEmpty() ? path : canonical;
    for (const QString& dir : QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation)) {
        const QString prefix = QDir(dir).canonicalPath() + QLatin1Char('/');
        if (prefix.size() > 1 && target.startsWith(prefix)) {
            QString id = target.mid(prefix.size());
            id.chop(8);
            return id.replace(QLatin1Char('/'), QLatin1Char('-'));
        }
    }
    QString id = QFileInfo(path).fileName();
    id.chop(8);
    return id;
}

std::optional<QString> GioFileInfo::fileManagerLocation() const
{
    if (!fileManager_) {
        GObjectPtr<GAppInfo> info(g_app_info_get_default_for_type("inode/directory", FALSE));
        fileManager_ = entryPath(info.get());
    }
    return *fileManager_;
}

std::optional<QString> GioFileInfo::webBrowserLocation() const
{
    GObjectPtr<GAppInfo> info(g_app_info_get_default_for_uri_scheme("https"));
    if (!info)
        info.reset(g_app_info_get_default_for_type("x-scheme-handler/https", FALSE));
    return entryPath(info.get());
}

} // namespace wharf
