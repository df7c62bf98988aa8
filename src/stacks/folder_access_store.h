#pragma once

#include "platform/result.h"

#include <QByteArray>
#include <QString>

#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace wharf {

class DockPreferences;

// Remembered folders ("Wharf.folderBookmarks.v1"). Linux has no sandbox: a folder's bookmark is its
// canonical path, and using it only checks that the folder is still there.
// Safe to call from the background loaders: the map is locked.
class FolderAccessStore {
public:
    static inline const QString bookmarksKey = QStringLiteral("Wharf.folderBookmarks.v1");
    static inline const QString invalidFolderMessage =
        QStringLiteral("Choose the requested folder to allow Wharf to remember access.");

    explicit FolderAccessStore(DockPreferences& preferences);

    Status remember(const QString& folder);
    // The remembered folder that is `path` or its nearest ancestor, with its bookmark.
    std::optional<std::pair<QString, QByteArray>> savedAncestor(const QString& path) const;
    // The path to read `requested` by under the remembered folder `saved`; fails when it is gone.
    Result<QString> resolve(const std::pair<QString, QByteArray>& saved, const QString& requested) const;
    // Every client's way in: a remembered ancestor resolved, else the path itself.
    Result<QString> access(const QString& path) const;

    std::map<QString, QByteArray> bookmarks() const;

private:
    Status persist(); // called with the lock held

    DockPreferences& preferences;
    mutable std::mutex lock;
    std::map<QString, QByteArray> saved;
};

} // namespace wharf
