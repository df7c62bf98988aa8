// The Trash: the state monitor that keeps the Trash tile current, and the operations behind
// "Empty Trash…" and drops onto the Trash.
#include "shell/app_delegate.h"

#include "trash/trash_directories.h"

#include <QLoggingCategory>
#include <QPointer>

Q_LOGGING_CATEGORY(lcTrash, "wharf.trash", QtInfoMsg)

namespace wharf {

namespace {

Result<QStringList> userTrash(const TrashVolumes* volumes)
{
    if (!volumes)
        return QStringList{TrashDirectories::homeTrash()};
    return TrashDirectories::userTrashDirectories(*volumes);
}

} // namespace

std::unique_ptr<TrashStateMonitor> AppDelegate::makeTrashMonitor(const TrashVolumes* volumes)
{
    TrashStateMonitor::Options options;
    options.directories = [volumes]() -> Result<QStringList> {
        auto directories = userTrash(volumes);
        if (!directories)
            return directories.error();
        return TrashDirectories::filesFolders(directories.value());
    };
    return std::make_unique<TrashStateMonitor>(std::move(options));
}

std::unique_ptr<TrashOperations> AppDelegate::makeTrashOperations(std::unique_ptr<FileTrash> fileTrash,
                                                                  const TrashVolumes* volumes)
{
    if (!fileTrash)
        return nullptr;
    return std::make_unique<TrashOperations>(std::move(fileTrash), [volumes] { return userTrash(volumes); });
}

TrashState AppDelegate::trashState() const
{
    return trashMonitor ? trashMonitor->currentState() : TrashState::unknown;
}

void AppDelegate::stopTrash()
{
    if (trashMonitor)
        trashMonitor->stop();
}

void AppDelegate::wireTrash()
{
    const QPointer<AppDelegate> self(this);
    trashMonitor->onChange = [self](TrashState) {
        if (self)
            self->dockModel->refresh();
    };
    // A volume that comes or goes, or a machine that wakes, may have changed any Trash.
    trashSubscriptions.push_back(workspace->notifications.add([self](WorkspaceNotification notification) {
        if (self && (notification == WorkspaceNotification::didMount || notification == WorkspaceNotification::didUnmount
                     || notification == WorkspaceNotification::didWake))
            self->trashMonitor->refresh();
    }));
    if (trashVolumes) {
        volumeSubscription = trashVolumes->changed.add([self] {
            if (self)
                self->trashMonitor->refresh();
        });
    }
    trashMonitor->start();
}

void AppDelegate::recycle(const QStringList& paths, TrashOperations::Done done)
{
    if (!trashOperations) {
        if (done)
            done(Error{QStringLiteral("Moving to the Trash is not available.")});
        return;
    }
    const QPointer<AppDelegate> self(this);
    trashOperations->recycle(paths, [self, done = std::move(done)](std::optional<Error> failure) {
        if (failure)
            qCWarning(lcTrash, "Move to Trash failed: %s", qUtf8Printable(failure->message));
        if (self)
            self->trashMonitor->refresh();
        if (done)
            done(std::move(failure));
    });
}

void AppDelegate::emptyTrash(TrashOperations::Done done)
{
    if (!trashOperations) {
        if (done)
            done(Error{QStringLiteral("Files couldn’t empty the Trash.")});
        return;
    }
    const QPointer<AppDelegate> self(this);
    trashOperations->emptyTrash([self, done = std::move(done)](std::optional<Error> failure) {
        if (failure)
            qCWarning(lcTrash, "Empty Trash failed: %s", qUtf8Printable(failure->message));
        if (self)
            self->trashMonitor->refresh();
        if (done)
            done(std::move(failure));
    });
}

} // namespace wharf
