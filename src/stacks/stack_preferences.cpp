#include "stacks/stack_preferences.h"

#include "settings/dock_preferences.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QStandardPaths>

Q_LOGGING_CATEGORY(lcStackPreferences, "wharf.Stacks", QtInfoMsg)

namespace wharf {

namespace {

// The stored blob, or nothing at all when any folder's record is incomplete or unknown.
std::map<QString, StackSettings> decode(const QByteArray& data)
{
    std::map<QString, StackSettings> out;
    const QJsonDocument document = QJsonDocument::fromJson(data);
    if (!document.isObject())
        return {};
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QJsonObject record = it.value().toObject();
        const auto view = stackViewMode(record.value(QStringLiteral("viewMode")).toString());
        const auto sort = stackSortOrder(record.value(QStringLiteral("sortOrder")).toString());
        const auto display = stackDisplayMode(record.value(QStringLiteral("displayMode")).toString());
        if (!view || !sort || !display)
            return {};
        out[it.key()] = StackSettings{*view, *sort, *display};
    }
    return out;
}

} // namespace

StackPreferences::StackPreferences(DockPreferences& preferences, QString downloadsFolder)
    : preferences(preferences),
      downloads(downloadsFolder.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::DownloadLocation)
                                          : std::move(downloadsFolder))
{
    const QVariant value = preferences.defaults().value(settingsKey);
    if (value.isValid()) {
        stored = decode(value.toByteArray());
        if (stored.empty() && !value.toByteArray().isEmpty())
            qCWarning(lcStackPreferences, "Stored stack settings could not be read; using defaults");
    }
    if (!downloads.isEmpty())
        downloads = normalizedPath(downloads);
}

QString StackPreferences::normalizedPath(const QString& folder)
{
    if (const auto it = normalizedPaths.constFind(folder); it != normalizedPaths.cend())
        return *it;
    const QFileInfo info(folder);
    QString path = info.canonicalFilePath();
    if (path.isEmpty())
        path = QDir::cleanPath(info.absoluteFilePath());
    normalizedPaths.insert(folder, path);
    return path;
}

bool StackPreferences::isDownloads(const QString& normalized) const
{
    if (QFileInfo(normalized).fileName().compare(QLatin1String("Downloads"), Qt::CaseInsensitive) == 0)
        return true;
    return !downloads.isEmpty() && normalized.compare(downloads, Qt::CaseInsensitive) == 0;
}

StackSettings StackPreferences::settings(const QString& folder)
{
    const QString path = normalizedPath(folder);
    if (const auto it = stored.find(path); it != stored.end())
        return it->second;
    StackSettings result;
    if (isDownloads(path))
        result = {StackViewMode::automatic, StackSortOrder::dateAdded, StackDisplayMode::stack};
    stored[path] = result;
    persist();
    return result;
}

void StackPreferences::setSettings(const StackSettings& settings, const QString& folder)
{
    const QString path = normalizedPath(folder);
    if (const auto it = stored.find(path); it != stored.end() && it->second == settings)
        return;
    stored[path] = settings;
    persist();
    if (onChange)
        onChange(folder);
    preferencesChanged.notify(folder);
}

void StackPreferences::persist()
{
    QJsonObject object;
    for (const auto& [path, settings] : stored) {
        object.insert(path, QJsonObject{{QStringLiteral("viewMode"), rawValue(settings.viewMode)},
                                        {QStringLiteral("sortOrder"), rawValue(settings.sortOrder)},
                                        {QStringLiteral("displayMode"), rawValue(settings.displayMode)}});
    }
    preferences.defaults().setValue(settingsKey, QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace wharf
