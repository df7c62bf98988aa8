#include "trash/trash_operations.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace wharf {

namespace {

QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

} // namespace

Status removeTrashEntry(const QString& path)
{
    const QFileInfo info(path);
    if (info.isDir() && !info.isSymLink()) {
        if (QDir(path).removeRecursively())
            return {};
        return Error{QStringLiteral("“%1” couldn’t be removed completely.").arg(info.fileName())};
    }
    QFile file(path);
    if (file.remove() || (!info.exists() && !info.isSymLink()))
        return {};
    return Error{QStringLiteral("“%1” couldn’t be removed: %2").arg(info.fileName(), file.errorString())};
}

std::optional<Error> emptyTrashDirectories(const QStringList& trashDirectories,
                                           const std::function<Status(const QString& path)>& remove)
{
    std::optional<Error> first;
    const auto note = [&first](const Status& status) {
        if (!status && !first)
            first = status.error();
        return status.ok();
    };
    for (const QString& directory : trashDirectories) {
        const QString files = directory + QStringLiteral("/files");
        const QString info = directory + QStringLiteral("/info");
        QSet<QString> kept;
        for (const QString& name : entries(files)) {
            if (!note(remove(files + QLatin1Char('/') + name)))
                kept.insert(name + QStringLiteral(".trashinfo"));
        }
        for (const QString& name : entries(info)) {
            if (!kept.contains(name))
                note(remove(info + QLatin1Char('/') + name));
        }
        const QString sizes = directory + QStringLiteral("/directorysizes");
        if (QFileInfo::exists(sizes))
            note(remove(sizes));
    }
    return first;
}

TrashOperations::TrashOperations(std::unique_ptr<FileTrash> fileTrash,
                                 std::function<Result<QStringList>()> trashDirectories, QObject* parent)
    : QObject(parent), fileTrash(std::move(fileTrash)), trashDirectories(std::move(trashDirectories))
{
    // One at a time, in order: a recycle asked for after "Empty Trash" must survive it.
    pool.setMaxThreadCount(1);
    pool.setObjectName(QStringLiteral("com.tamberly.Wharf.trash-operations"));
}

TrashOperations::~TrashOperations()
{
    pool.waitForDone();
}

void TrashOperations::recycle(const QStringList& paths, Done done)
{
    FileTrash* trash = fileTrash.get();
    run([trash, paths] {
        std::optional<Error> first;
        for (const QString& path : paths) {
            // A relative path would name a file in Wharf's own working folder.
            const Status status = QDir::isAbsolutePath(path)
                ? trash->moveToTrash(path)
                : Status(Error{path + QStringLiteral(": not an absolute path")});
            if (!status && !first)
                first = status.error();
        }
        return first;
    }, std::move(done));
}

void TrashOperations::emptyTrash(Done done)
{
    run([directories = trashDirectories]() -> std::optional<Error> {
        const Result<QStringList> list = directories();
        if (!list)
            return list.error();
        return emptyTrashDirectories(list.value(), removeTrashEntry);
    }, std::move(done));
}

void TrashOperations::run(std::function<std::optional<Error>()> work, Done done)
{
    pool.start([this, work = std::move(work), done = std::move(done)] {
        const std::optional<Error> failure = work();
        // Delivered through this object: dropped if it is gone by then.
        QMetaObject::invokeMethod(this, [done, failure] {
            if (done)
                done(failure);
        }, Qt::QueuedConnection);
    });
}

} // namespace wharf
