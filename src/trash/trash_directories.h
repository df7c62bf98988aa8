#pragma once

#include "platform/result.h"
#include "platform/trash_volumes.h"
#include "trash/trash_state.h"

#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <vector>

namespace wharf {

// Where the user's Trash lives under the freedesktop.org Trash rules. A Trash directory holds
// files/, info/ and (optionally) directorysizes.
namespace TrashDirectories {

// $XDG_DATA_HOME/Trash.
QString homeTrash();

// Network and pseudo file systems hold no Trash worth watching.
bool skipsVolume(const MountedVolume& volume);

// The home Trash, then for every other local volume `$top/.Trash/$uid` (only when `.Trash` is a
// sticky directory that is not a symbolic link) and `$top/.Trash-$uid`. Volumes on the home
// Trash's own device are covered by the home Trash. No duplicates, in that order.
QStringList trashDirectories(const QString& homeTrash, const std::vector<MountedVolume>& volumes, uid_t uid);

// The same for the running user from the mount table; fails when the volumes cannot be read.
Result<QStringList> userTrashDirectories(const TrashVolumes& volumes);

// The `files` folder of each Trash directory.
QStringList filesFolders(const QStringList& trashDirectories);

// One folder: `empty` when it is missing or has no entries, `full` at the first entry, `unknown`
// when it cannot be listed.
TrashState directoryState(const QString& folder);

// The combined state of the folders: any full makes it full, else any unknown makes it unknown.
// No folders at all is unknown.
TrashState combinedState(const QStringList& folders);

} // namespace TrashDirectories

} // namespace wharf
