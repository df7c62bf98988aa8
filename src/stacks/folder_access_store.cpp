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

BookmarkOperations BookmarkOperations::live()
{
    BookmarkOperations operations;
    operations.create = [](const QString& path) -> Result<QByteArray> {
        const QString canonical = QFileInfo(path).canonicalFilePath();
        if (canonical.isEmpty() || !QFileInfo(canonical).isDir())
            return Error{QStringLiteral("The folder “%1” does not exist.").arg(path)};
        return canonical.toUtf8();
    };
    operations.resolve = [](const QByteArray& bookmark) -> Result<std::pair<QString, bool>> {
        const QString path = QString::fromUtf8(bookmark);
        if (!QFileInfo(path).isDir())
            return Error{QStringLiteral("The folder “%1” no longer exists.").arg(path)};
        return std::pair{path, false};
    };
    operations.start = [](const QString&) { return false; };
    operations.stop = [](const QString&) {};
    return operations;
}

FolderAccessStore::FolderAccessStore(DockPreferences& preferences, BookmarkOperations operations)
    : preferences(preferences), operations(std::move(operations))
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
    const bool started = operations.start(path);
    auto data = operations.create(path);
    Status status;
    if (data.ok()) {
        const std::lock_guard guard(lock);
        saved[path] = data.value();
        status = persist();
    } else {
        status = data.error();
    }
    if (started)
        operations.stop(path);
    return status;
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

Result<std::shared_ptr<FolderAccessLease>> FolderAccessStore::resolve(const std::pair<QString, QByteArray>& saved,
                                                                      const QString& requested)
{
    auto resolved = operations.resolve(saved.second);
    if (!resolved.ok())
        return resolved.error();
    const auto [resolvedPath, stale] = resolved.value();
    const bool started = operations.start(resolvedPath);

    // The same sub-path under the folder's new place when it was moved or renamed.
    const QStringList savedParts = components(saved.first);
    const QStringList requestedParts = components(standardized(requested));
    QString url = resolvedPath;
    for (qsizetype i = std::min(savedParts.size(), requestedParts.size()); i < requestedParts.size(); ++i)
        url += QLatin1Char('/') + requestedParts[i];

    std::function<void()> stop;
    if (started)
        stop = [stopAccess = operations.stop, resolvedPath] { stopAccess(resolvedPath); };
    auto lease = std::make_shared<FolderAccessLease>(url, std::move(stop));

    if (stale) {
        auto fresh = operations.create(resolvedPath);
        if (!fresh.ok())
            return fresh.error(); // the lease ends here, and with it the access
        const std::lock_guard guard(lock);
        this->saved[saved.first] = fresh.value();
        if (const auto failure = persist().failure())
            return *failure;
    }
    return lease;
}

Result<std::shared_ptr<FolderAccessLease>> FolderAccessStore::access(const QString& path)
{
    if (const auto ancestor = savedAncestor(path))
        return resolve(*ancestor, path);
    return std::make_shared<FolderAccessLease>(standardized(path));
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
