#pragma once

#include "platform/folder_watcher.h"

namespace wharf {

// Folder watches through GIO file monitors (inotify on local disks).
class GioFolderWatcher : public FolderWatcher {
public:
    std::unique_ptr<FolderWatch> watch(const QString& folder, std::function<void()> onChange) override;
};

} // namespace wharf
