#pragma once

#include "platform/file_trash.h"
#include "platform/result.h"

#include <QObject>
#include <QStringList>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <optional>

namespace wharf {

// Moving files to the Trash and emptying every Trash of the user. Both run off the main thread,
// one after another in the order asked, so thousands of files never freeze the dock; each
// reports the first failure (or none) on the main thread.
class TrashOperations : public QObject {
public:
    using Done = std::function<void(std::optional<Error> firstFailure)>;

    // `trashDirectories` lists the Trash directories to empty (called off the main thread).
    TrashOperations(std::unique_ptr<FileTrash> fileTrash, std::function<Result<QStringList>()> trashDirectories,
                    QObject* parent = nullptr);
    ~TrashOperations() override;

    // Moves each path (absolute) to its volume's Trash; a failure does not stop the rest.
    void recycle(const QStringList& paths, Done done);
    // Permanently erases the contents of every Trash directory.
    void emptyTrash(Done done);

    // Waits for the work already asked for (tests and shutdown).
    void waitForDone() { pool.waitForDone(); }

private:
    void run(std::function<std::optional<Error>()> work, Done done);

    std::unique_ptr<FileTrash> fileTrash;
    std::function<Result<QStringList>()> trashDirectories;
    QThreadPool pool;
};

// Empties the `files` and `info` folders and the `directorysizes` cache of each Trash directory
// with `remove`. An entry that cannot be removed keeps its .trashinfo and does not stop the
// rest; the answer is the first failure, if any.
std::optional<Error> emptyTrashDirectories(const QStringList& trashDirectories,
                                           const std::function<Status(const QString& path)>& remove);

// Removes a file, a symbolic link (never its target) or a whole folder.
Status removeTrashEntry(const QString& path);

} // namespace wharf
