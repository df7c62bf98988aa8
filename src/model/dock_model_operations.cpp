// What the user does to an item: opening or switching to it, its context menu, files dropped onto
// it, and emptying the Trash. Pins, moves and removals live in dock_model_pins.cpp.
#include "model/dock_model.h"

#include "settings/action_menu_item.h"
#include "windows/serial_worker.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMenu>

Q_DECLARE_LOGGING_CATEGORY(lcModel)

namespace wharf {

namespace {

QString lowerFirst(QString text)
{
    if (!text.isEmpty())
        text[0] = text[0].toLower();
    return text;
}

QString standardized(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// The home Trash's `files` folder and its siblings, made as the first trashing would make them
// (the Trash itself private to its user), so a Trash nothing was ever put in still opens.
void makeTrashFolders(const QString& files)
{
    const QString trash = QFileInfo(files).path();
    const QFileDevice::Permissions own = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    if (!QFileInfo(trash).isDir() && !QDir().mkdir(trash, own))
        return;
    QDir().mkdir(files, own);
    QDir().mkdir(trash + QStringLiteral("/info"), own);
}

} // namespace

std::optional<DockItem> DockModel::item(const QString& id) const
{
    for (const DockItem& candidate : itemList) {
        if (candidate.id == id)
            return candidate;
    }
    return std::nullopt;
}

bool DockModel::isFileManager(const DockItem& item) const
{
    return fileManagerID && item.id == *fileManagerID;
}

int DockModel::presentAlert(const Alert& alert) const
{
    qCWarning(lcModel, "%s %s", qUtf8Printable(alert.text), qUtf8Printable(alert.informativeText));
    if (!providers.alertPresenter)
        return alert.defaultButton;
    return providers.alertPresenter(alert);
}

void DockModel::presentError(const QString& actionText, const Error& error) const
{
    presentAlert({QStringLiteral("Couldn’t ") + lowerFirst(actionText), error.message});
}

// --- Activation ---

void DockModel::activate(const DockItem& item, std::uint32_t eventTime)
{
    if (item.kind != DockItem::Kind::application) {
        Status opened = Status();
        // The file manager's view of the Trash when it has one (gvfs), else the folder itself.
        if (item.kind == DockItem::Kind::trash) {
            opened = workspace.openLocation(QStringLiteral("trash:///"), eventTime);
            if (!opened)
                makeTrashFolders(item.url);
        }
        if (item.kind != DockItem::Kind::trash || !opened)
            opened = workspace.openLocation(item.url, eventTime);
        if (!opened) {
            qCWarning(lcModel, "Opening %s failed: %s", qUtf8Printable(item.url),
                      qUtf8Printable(opened.error().message));
            presentAlert({QStringLiteral("Couldn’t open ") + item.title,
                          QStringLiteral("The item may have been moved, deleted, or become unavailable.")});
        }
        return;
    }

    Status done;
    if (const auto& app = item.runningApplication) {
        // A running program comes forward; starting its entry again would open another instance.
        if (app->isHidden)
            done = workspace.unhide(*app);
        if (done)
            done = workspace.activate(*app, eventTime);
    } else {
        done = workspace.launchApplication(item.url, {}, eventTime);
    }
    if (!done)
        presentError(QStringLiteral("Open ") + item.title, done.error());
    refresh();
}

// --- Context menu ---

void DockModel::contextMenu(const DockItem& item, QMenu& menu)
{
    const std::weak_ptr<int> alive = lifetime;
    const auto add = [this, alive](QMenu& into, const QString& title, std::function<void(DockModel&)> action) {
        auto* entry = new ActionMenuItem(
            title, QString(),
            [this, alive, action = std::move(action)] {
                if (alive.lock())
                    action(*this);
            },
            &into);
        into.addAction(entry);
        return entry;
    };
    const auto showInFiles = [item](DockModel& model) {
        if (const Status shown = model.workspace.showInFiles(item.url); !shown)
            model.presentError(QStringLiteral("Show ") + item.title + QStringLiteral(" in Files"), shown.error());
    };
    const auto keepOrRemove = [&] {
        if (item.isPinned)
            add(menu, QStringLiteral("Remove from Dock"), [item](DockModel& model) { model.remove(item); });
        else
            add(menu, QStringLiteral("Keep in Dock"),
                [item](DockModel& model) { model.pin(QUrl::fromLocalFile(item.url)); });
    };

    switch (item.kind) {
    case DockItem::Kind::trash:
        add(menu, QStringLiteral("Open Trash"), [item](DockModel& model) { model.activate(item); });
        menu.addSeparator();
        add(menu, QStringLiteral("Empty Trash…"), [](DockModel& model) { model.emptyTrash(); });
        return;
    case DockItem::Kind::folder:
        add(menu, QStringLiteral("Open in Files"), [item](DockModel& model) { model.activate(item); });
        menu.addSeparator();
        keepOrRemove();
        add(menu, QStringLiteral("Show in Files"), showInFiles);
        return;
    case DockItem::Kind::file:
        add(menu, QStringLiteral("Open"), [item](DockModel& model) { model.activate(item); });
        menu.addSeparator();
        keepOrRemove();
        add(menu, QStringLiteral("Show in Files"), showInFiles);
        return;
    case DockItem::Kind::application: break;
    }

    const bool fileManager = isFileManager(item);
    const auto& app = item.runningApplication;
    const bool running = app != nullptr;
    QMenu* options = menu.addMenu(QStringLiteral("Options"));
    if (!fileManager) {
        QAction* keep = add(*options, QStringLiteral("Keep in Dock"), [item](DockModel& model) {
            if (item.isPinned) {
                model.remove(item);
            } else if (const auto pin = model.pinForProgram(item)) {
                model.pin(QUrl::fromLocalFile(pin->path));
            }
        });
        keep->setCheckable(true);
        keep->setChecked(item.isPinned);
    }
    add(*options, QStringLiteral("Show in Files"), showInFiles);
    menu.addSeparator();
    if (!running || fileManager)
        add(menu, QStringLiteral("Open"), [item](DockModel& model) { model.activate(item); });
    if (running && !fileManager) {
        if (app->isHidden) {
            add(menu, QStringLiteral("Show"), [app](DockModel& model) {
                Status shown = model.workspace.unhide(*app);
                if (shown)
                    shown = model.workspace.activate(*app);
                if (!shown)
                    qCWarning(lcModel, "Showing %s failed: %s", qUtf8Printable(app->localizedName),
                              qUtf8Printable(shown.error().message));
                model.refresh();
            });
        } else {
            add(menu, QStringLiteral("Hide"), [app](DockModel& model) {
                if (const Status hidden = model.workspace.hide(*app); !hidden)
                    qCWarning(lcModel, "Hiding %s failed: %s", qUtf8Printable(app->localizedName),
                              qUtf8Printable(hidden.error().message));
                model.refresh();
            });
        }
        add(menu, QStringLiteral("Quit"), [app](DockModel& model) {
            if (const Status asked = model.workspace.terminate(*app); !asked)
                qCWarning(lcModel, "Quitting %s failed: %s", qUtf8Printable(app->localizedName),
                          qUtf8Printable(asked.error().message));
        });
    }
}

// --- Drops ---

void DockModel::open(const QList<QUrl>& urls, const DockItem& target, bool copyFiles, std::uint32_t eventTime)
{
    if (urls.isEmpty())
        return;
    QStringList paths;
    for (const QUrl& url : urls) {
        if (url.isLocalFile())
            paths << url.toLocalFile();
    }

    switch (target.kind) {
    case DockItem::Kind::application: {
        QStringList uris;
        for (const QUrl& url : urls)
            uris << (url.isLocalFile() ? url.toLocalFile() : url.toString());
        if (const Status opened = workspace.launchApplication(target.url, uris, eventTime); !opened)
            presentError(QStringLiteral("Open with ") + target.title, opened.error());
        refresh();
        return;
    }
    case DockItem::Kind::folder: transfer(paths, target.url, copyFiles); return;
    case DockItem::Kind::file: workspace.beep(); return;
    case DockItem::Kind::trash: {
        if (paths.isEmpty())
            return;
        if (!providers.recycleProvider) {
            presentError(QStringLiteral("Move to Trash"), Error{QStringLiteral("Moving to the Trash is not available.")});
            return;
        }
        const std::weak_ptr<int> alive = lifetime;
        providers.recycleProvider(paths, [this, alive](std::optional<Error> failure) {
            if (!alive.lock())
                return;
            if (failure)
                presentError(QStringLiteral("Move to Trash"), *failure);
            refresh();
        });
        return;
    }
    }
}

void DockModel::transfer(const QStringList& paths, const QString& folder, bool copyFiles)
{
    std::vector<std::pair<QString, QString>> moves;
    for (const QString& source : paths) {
        const QString destination = folder + QLatin1Char('/') + QFileInfo(source).fileName();
        // A file dropped onto its own folder stays where it is.
        if (standardized(source) != standardized(destination))
            moves.emplace_back(source, destination);
    }
    if (moves.empty())
        return;
    // Copying a large folder takes as long as it takes; the dock keeps drawing meanwhile. One worker
    // keeps drops in the order they were made.
    if (!transferWorker)
        transferWorker = std::make_unique<SerialWorker>(QStringLiteral("Wharf.fileTransfers"));
    transferWorker->post([&files = workspace, this, alive = std::weak_ptr<int>(lifetime), moves = std::move(moves), copyFiles] {
        QStringList failures;
        for (const auto& [source, destination] : moves) {
            if (const Status moved = files.transferFile(source, destination, copyFiles); !moved)
                failures << QFileInfo(source).fileName() + QStringLiteral(": ") + moved.error().message;
        }
        SerialWorker::postToMain([this, alive, failures, copyFiles] {
            if (!alive.lock())
                return;
            if (!failures.isEmpty())
                presentAlert({QStringLiteral("Some items couldn’t be ")
                                  + (copyFiles ? QStringLiteral("copied") : QStringLiteral("moved")),
                              failures.join(QStringLiteral("\n\n"))});
            refresh();
        });
    });
}

// --- The Trash ---

void DockModel::emptyTrash()
{
    const Alert confirmation{
        QStringLiteral("Permanently erase the items in the Trash?"),
        QStringLiteral("You can’t undo this action. Files will empty the Trash on connected volumes."),
        {QStringLiteral("Cancel"), QStringLiteral("Empty Trash")},
        0};
    if (presentAlert(confirmation) != 1)
        return;
    const auto failed = [this](const std::optional<Error>& failure) {
        const QString text = failure && !failure->message.isEmpty() ? failure->message
                                                                     : QStringLiteral("Files couldn’t empty the Trash.");
        presentAlert({QStringLiteral("Couldn’t empty the Trash"), text});
    };
    if (!providers.emptyTrashProvider) {
        failed(std::nullopt);
        refresh();
        return;
    }
    const std::weak_ptr<int> alive = lifetime;
    providers.emptyTrashProvider([this, alive, failed](std::optional<Error> failure) {
        if (!alive.lock())
            return;
        if (failure)
            failed(failure);
        refresh();
    });
}

} // namespace wharf
