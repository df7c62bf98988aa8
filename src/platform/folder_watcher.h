#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace wharf {

// A live watch on one folder; dropping it stops the watch.
class FolderWatch {
public:
    virtual ~FolderWatch() = default;
};

// Tells when a folder's entries appear, vanish, are renamed or change. Main thread only.
class FolderWatcher {
public:
    virtual ~FolderWatcher() = default;
    // Null when the folder cannot be watched (then nothing refreshes by itself).
    virtual std::unique_ptr<FolderWatch> watch(const QString& folder, std::function<void()> onChange) = 0;
};

} // namespace wharf
