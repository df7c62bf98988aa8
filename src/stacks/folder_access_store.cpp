#include "stacks/folder_access_store.h"

#include "settings/dock_preferences.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace wharf {

namespace {

QString standardized(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QStringList components(const QString& path)
{
    return path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
}

} // namespace

FolderAccessStore::FolderAccessStore(DockPreferences& preferences) : preferences(preferences)
{
    const QJsonObject stored = QJsonDocument::fromJson(preferences.defaults().value(bookmarksKey).toByteArray()).object();
    for (auto it = stored.begin(); it != stored.end(); ++it) {
        if (it.value().isString())
            saved[it.key()] = QByteArray::fromBase64(it.value().toString().toLatin1());
    }
}

Status FolderAccessStore::remember(const QString& folder)
{
    if (folder.isEmpty() || !QDir::isAbsolutePath(folder))
        return Error{invalidFolderMessage};
    const QString path = standardized(folder);
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (canonical.isEmpty() || !QFileInfo(canonical).isDir())
        return Error{QStringLiteral("The folder “%1” does not exist.").arg(path)};
    const std::lock_guard guard(lock);
    saved[path] = canonical.toUtf8();
    return persist();
}

std::optional<std::pair<QString, QByteArray>> FolderAccessStore::savedAncestor(const QString& path) const
{
    const QStringList wanted = components(standardized(path));
    const std::lock_guard guard(lock);
    std::optional<std::pair<QString, QByteArray>> best;
    for (const auto& [folder, bookmark] : saved) {
        const QStringList own = components(folder);
        if (own.size() > wanted.size() || wanted.mid(0, own.size()) != own)
            continue;
        if (!best || folder.size() > best->first.size())
            best = std::pair{folder, bookmark};
    }
    return best;
}

Result<QString> FolderAccessStore::resolve(const std::pair<QString, QByteArray>& saved, const QString& requested) const
{
    QString url = QString::fromUtf8(saved.second);
    if (!QFileInfo(url).isDir())
        return Error{QStringLiteral("The folder “%1” no longer exists.").arg(url)};
    // The rest of the requested path below the folder's canonical path.
    const QStringList requestedParts = components(standardized(requested));
    for (qsizetype i = components(saved.first).size(); i < requestedParts.size(); ++i)
        url += QLatin1Char('/') + requestedParts[i];
    return url;
}

Result<QString> FolderAccessStore::access(const QString& path) const
{
    if (const auto ancestor = savedAncestor(path))
        return resolve(*ancestor, path);
    return standardized(path);
}

std::map<QString, QByteArray> FolderAccessStore::bookmarks() const
{
    const std::lock_guard guard(lock);
    return saved;
}

Status FolderAccessStore::persist()
{
    QJsonObject object;
    for (const auto& [path, bookmark] : saved)
        object.insert(path, QString::fromLatin1(bookmark.toBase64()));
    preferences.defaults().setValue(bookmarksKey, QJsonDocument(object).toJson(QJsonDocument::Compact));
    return {};
}

} // namespace wharf
