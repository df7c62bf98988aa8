// The stacks' wiring: their settings refresh the model and open stacks, and a folder tile's
// stack opens over that tile.
#include "shell/app_delegate.h"

#include "dock/dock_view.h"
#include "dock/dock_window_controller.h"
#include "platform/dock_window_platform.h"
#include "stacks/folder_access_store.h"
#include "stacks/stack_artwork.h"
#include "stacks/stack_controller.h"
#include "stacks/stack_preferences.h"
#include "stacks/stack_thumbnail_cache.h"

#include <QCursor>
#include <QDir>
#include <QJsonArray>
#include <QScreen>
#include <QTimer>

#include <algorithm>

namespace wharf {

void AppDelegate::wireStacks()
{
    Workspace* desktop = workspace.get();
    thumbnails = std::make_unique<StackThumbnailCache>([desktop](const StackEntry& entry) {
        return desktop->iconForFile(entry.path()).pixmap(StackThumbnailCache::side).toImage();
    });
    const QPointer<AppDelegate> self(this);
    // A new pile is a new tile icon: the model notices and the docks reload.
    artworkSubscription = artwork->artworkChanged.add([self](const QString&) {
        if (self)
            self->dockModel->refresh();
    });
    stackSettings->onChange = [self](const QString& folder) {
        if (!self)
            return;
        self->artwork->preferencesChanged(folder);
        self->dockModel->refresh();
    };
    // Piles follow their folders while no stack is open (a new download tops the Downloads pile),
    // once for a burst of changes, as an open stack does.
    auto* piles = new QTimer(this);
    piles->setSingleShot(true);
    piles->setInterval(200);
    connect(piles, &QTimer::timeout, this, [this] {
        for (const DockItem& item : dockModel->items()) {
            if (item.kind == DockItem::Kind::folder)
                artwork->folderChanged(item.url);
        }
    });
    subscriptions.push_back(workspace->notifications.add([piles](WorkspaceNotification notification) {
        if (notification == WorkspaceNotification::didChangeLocations)
            piles->start();
    }));
    // Piles of the folders already in the dock, for those Wharf may read without asking.
    for (const DockItem& item : dockModel->items()) {
        if (item.kind == DockItem::Kind::folder)
            artwork->preferencesChanged(item.url);
    }
}

std::unique_ptr<StackArtwork> AppDelegate::makeStackArtwork() const
{
    Workspace* desktop = workspace.get();
    return std::make_unique<StackArtwork>(*stackSettings, *folderAccess, [desktop](const StackEntry& entry) {
        return desktop->iconForFile(entry.path()).pixmap(350).toImage();
    });
}

std::function<std::optional<QIcon>(const QString&)> AppDelegate::stackArtworkProvider() const
{
    return [this](const QString& folder) -> std::optional<QIcon> {
        return artwork ? artwork->image(folder) : std::nullopt;
    };
}

bool AppDelegate::isFolderTile(const QString& id) const
{
    const QString wanted = QDir::cleanPath(id);
    const auto items = dockModel->items();
    return std::any_of(items.begin(), items.end(), [&](const DockItem& item) {
        return item.kind == DockItem::Kind::folder && QDir::cleanPath(item.id) == wanted;
    });
}

bool AppDelegate::openStack(const QString& id, QString* error)
{
    const auto fail = [error](const QString& reason) {
        if (error)
            *error = reason;
        return false;
    };
    const QString wanted = QDir::cleanPath(id);
    std::optional<DockItem> folder;
    for (const DockItem& item : dockModel->items()) {
        if (item.kind == DockItem::Kind::folder && QDir::cleanPath(item.id) == wanted)
            folder = item;
    }
    if (!folder)
        return fail(QStringLiteral("No folder tile has the id “%1”.").arg(id));

    // Over the tile in the dock under the pointer (where the click was), else in the first dock.
    std::optional<QRectF> anchor;
    QPointer<DockView> view;
    bool underPointer = false;
    const QPoint pointer = QCursor::pos();
    const std::vector<DockSnapshot> snapshots = dockSnapshots();
    for (std::size_t d = 0; d < snapshots.size() && !underPointer; ++d) {
        const DockSnapshot& dock = snapshots[d];
        const bool here = dock.frame.contains(pointer);
        if (dock.overlay || !dock.mapped || (anchor && !here))
            continue;
        for (std::size_t i = 0; i < dock.entryIDs.size() && i < dock.tiles.size(); ++i) {
            if (dock.entryIDs[i] == folder->id) {
                anchor = dock.tiles[i].translated(dock.frame.topLeft());
                view = &dockControllers[d]->dockView();
                underPointer = here;
                break;
            }
        }
    }
    if (!anchor)
        return fail(QStringLiteral("The folder “%1” has no tile on screen.").arg(folder->title));

    // A second open of the same folder toggles its stack off.
    const bool same = stack && !stack->isDismissed() && stack->rootURL == QDir::cleanPath(folder->url);
    closeStack();
    if (same)
        return true;

    StackController::Services services;
    services.workspace = workspace.get();
    services.preferences = stackSettings.get();
    services.access = folderAccess.get();
    services.watcher = folderWatcher.get();
    services.thumbnails = thumbnails.get();
    StackArtwork* piles = artwork.get();
    services.onListing = [piles](const QString& root, const std::vector<StackEntry>& entries,
                                 const StackSettings& settings) {
        if (piles)
            piles->update(root, entries, settings);
    };
    auto* controller = new StackController(folder->url, std::move(services), this);
    const QPointer<StackController> weak(controller);
    controller->onClose = [weak, view] {
        // The dock that showed it lets its row move again.
        if (view)
            view->setStack(nullptr);
        if (weak)
            weak->deleteLater();
    };
    if (view) {
        view->setStack([weak] {
            if (weak)
                weak->close();
        });
    }
    if (DockWindowSystem* system = windowSystem.get()) {
        controller->setBelow([system](const QRect& area) -> std::optional<QImage> {
            if (system->isCompositing())
                return std::nullopt;
            return system->desktopBackground(area);
        });
    }
    stack = controller;
    controller->open(*anchor);
    return true;
}

void AppDelegate::closeStack()
{
    if (stack)
        stack->close();
    stack = nullptr;
}

QJsonObject AppDelegate::stackSnapshot() const
{
    if (!stack || stack->isDismissed())
        return QJsonObject{{QStringLiteral("open"), false}};
    QJsonObject out = stack->snapshot();
    if (artwork) {
        out.insert(QStringLiteral("pile"), QJsonArray::fromStringList(artwork->documents(stack->rootURL)));
        out.insert(QStringLiteral("pileRenders"), artwork->renderCount());
    }
    return out;
}

bool AppDelegate::setStackViewMode(const QString& id, const QString& mode, QString* error)
{
    const auto viewMode = stackViewMode(mode);
    if (!viewMode) {
        if (error)
            *error = QStringLiteral("“%1” is not a view mode (automatic, fan, grid or list).").arg(mode);
        return false;
    }
    StackSettings settings = stackSettings->settings(id);
    settings.viewMode = *viewMode;
    stackSettings->setSettings(settings, id);
    return true;
}

} // namespace wharf
