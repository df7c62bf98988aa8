#pragma once

#include "platform/result.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace wharf {

class DockPreferences;

// Access to a folder for as long as the lease is kept; `stop` (when set) ends it.
class FolderAccessLease {
public:
    FolderAccessLease(QString url, std::function<void()> stop = {}) : url(std::move(url)), stop(std::move(stop)) {}
    ~FolderAccessLease()
    {
        if (stop)
            stop();
    }
    FolderAccessLease(const FolderAccessLease&) = delete;
    FolderAccessLease& operator=(const FolderAccessLease&) = delete;

    const QString url; // the path to use while the lease is held
    const std::function<void()> stop;
};

// How bookmarks are made and turned back into folders; replaceable so the store runs in tests.
// Linux has no sandbox: the live bookmark is the folder's canonical path, resolving checks the
// folder still exists, and starting or stopping access does nothing.
struct BookmarkOperations {
    std::function<Result<QByteArray>(const QString& path)> create;
    std::function<Result<std::pair<QString, bool>>(const QByteArray& bookmark)> resolve; // (path, stale)
    std::function<bool(const QString& path)> start;
    std::function<void(const QString& path)> stop;

    static BookmarkOperations live();
};

// Remembered folders ("Wharf.folderBookmarks.v1"), and leases for them and their contents.
// Safe to call from the background loaders: the map is locked.
class FolderAccessStore {
public:
    static inline const QString bookmarksKey = QStringLiteral("Wharf.folderBookmarks.v1");
    static inline const QString invalidFolderMessage =
        QStringLiteral("Choose the requested folder to allow Wharf to remember access.");

    FolderAccessStore(DockPreferences& preferences, BookmarkOperations operations = BookmarkOperations::live());

    Status remember(const QString& folder);
    // The remembered folder that is `path` or its nearest ancestor, with its bookmark.
    std::optional<std::pair<QString, QByteArray>> savedAncestor(const QString& path) const;
    Result<std::shared_ptr<FolderAccessLease>> resolve(const std::pair<QString, QByteArray>& saved,
                                                       const QString& requested);
    // Every client's way in: a remembered ancestor resolved, else the path itself.
    Result<std::shared_ptr<FolderAccessLease>> access(const QString& path);

    std::map<QString, QByteArray> bookmarks() const;

private:
    Status persist(); // called with the lock held

    DockPreferences& preferences;
    BookmarkOperations operations;
    mutable std::mutex lock;
    std::map<QString, QByteArray> saved;
};

} // namespace wharf
