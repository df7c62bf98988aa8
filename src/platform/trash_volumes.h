#pragma once

#include "platform/callback_list.h"
#include "platform/result.h"

#include <QString>

#include <vector>

namespace wharf {

// One entry of the mount table.
struct MountedVolume {
    QString root;           // the mount point
    QString fileSystemType; // "ext4", "tmpfs", "nfs4", "fuse.sshfs", …

    bool operator==(const MountedVolume&) const = default;
};

// The mounted file systems, where each volume's Trash lives.
class TrashVolumes {
public:
    virtual ~TrashVolumes() = default;

    // Every mounted file system in mount order. Safe to call from any thread.
    virtual Result<std::vector<MountedVolume>> mountedVolumes() const = 0;

    // The mount table changed (a volume came or went); on the main thread.
    CallbackList<> changed;
};

} // namespace wharf
