#include "model/dock_model.h"

#include "settings/dock_appearance.h"
#include "settings/dock_preferences.h"
#include "windows/serial_worker.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QStandardPaths>

#include <algorithm>

Q_LOGGING_CATEGORY(lcModel, "wharf.model")

namespace wharf {

namespace {

QString resolvedPath(const QString& path)
{
    const QFileInfo info(path);
    const QString canonical = info.canonicalFilePath();
    // A vanished file keeps its own, standardized path.
    return canonical.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : canonical;
}

QIcon genericIcon(DockItem::Kind kind)
{
    switch (kind) {
    case DockItem::Kind::application:
        return QIcon::fromTheme(QStringLiteral("application-x-executable"));
    case DockItem::Kind::folder: return QIcon::fromTheme(QStringLiteral("folder"));
    case DockItem::Kind::file:
    case DockItem::Kind::trash: return QIcon::fromTheme(QStringLiteral("text-x-generic"));
    }
    return {};
}

} // namespace

DockModel::DockModel(Workspace& workspace, DockPreferences& preferences, Providers providers, Mode mode)
    : workspace(workspace), preferences(preferences), providers(std::move(providers)), mode(mode)
{
    updateFileManager();
    loadPins();
    watchPins();
    if (mode == Mode::live) {
        subscription = workspace.notifications.add(
            [this](WorkspaceNotification notification) { workspaceChanged(notification); });
    }
    refresh();
}

DockModel::~DockModel() = default;

// --- Identity ---

void DockModel::updateFileManager()
{
    const auto location = workspace.fileManagerLocation();
    if (location == fileManagerLocation)
        return;
    fileManagerLocation = location;
    fileManagerPath = location ? resolvedPath(*location) : QString();
    fileManagerID = location ? workspace.bundleIdentifier(*location) : std::nullopt;
    // Ids of the old and new file manager change meaning.
    pathIDCache.clear();
}

QString DockModel::itemID(const QString& path)
{
    if (const auto cached = pathIDCache.constFind(path); cached != pathIDCache.constEnd())
        return *cached;
    const QString resolved = resolvedPath(path);
    const QString id = fileManagerID && resolved == fileManagerPath ? *fileManagerID : resolved;
    pathIDCache.insert(path, id);
    return id;
}

std::optional<QString> DockModel::bundleIdentifier(const QString& path, const QString& id)
{
    if (!bundleIDsRead.contains(id)) {
        bundleIDsRead.insert(id);
        bundleIDCache.insert(id, workspace.bundleIdentifier(path));
    }
    return bundleIDCache.value(id);
}

std::optional<QString> DockModel::desktopID(const DockItem& item) const
{
    if (item.kind != DockItem::Kind::application)
        return std::nullopt;
    if (item.runningApplication && item.runningApplication->bundleIdentifier)
        return item.runningApplication->bundleIdentifier;
    return bundleIDCache.value(item.id);
}

void DockModel::clearIdentityCaches()
{
    pathIDCache.clear();
    bundleIDCache.clear();
    bundleIDsRead.clear();
    titleCache.clear();
}

// --- Items ---

QIcon DockModel::baseIcon(const QString& id, const QString& path, DockItem::Kind kind)
{
    if (const auto cached = iconCache.constFind(id); cached != iconCache.constEnd())
        return *cached;
    QIcon icon;
    if (QFileInfo::exists(path))
        icon = workspace.iconForFile(path);
    // A pin whose file vanished stays, with a generic icon of its kind.
    if (icon.isNull())
        icon = genericIcon(kind);
    iconCache.insert(id, icon);
    return icon;
}

DockItem DockModel::makeItem(const QString& path, DockItem::Kind kind, bool pinned,
                             const std::optional<QString>& title)
{
    DockItem item;
    item.id = itemID(path);
    item.url = path;
    item.kind = kind;
    item.isPinned = pinned;
    item.icon = baseIcon(item.id, path, kind);
    if (kind == DockItem::Kind::folder && providers.stackArtworkProvider) {
        if (auto pile = providers.stackArtworkProvider(path))
            item.icon = std::move(*pile);
    }

    if (title) {
        item.title = *title;
    } else if (const auto cached = titleCache.constFind(item.id); cached != titleCache.constEnd()) {
        item.title = *cached;
    } else {
        item.title = workspace.displayName(path);
        if (item.title.isEmpty())
            item.title = QFileInfo(path).fileName();
    }
    titleCache.insert(item.id, item.title);

    std::optional<QString> bundleID;
    if (kind == DockItem::Kind::application) {
        if (item.title.endsWith(QLatin1String(".app"), Qt::CaseInsensitive))
            item.title.chop(4);
        bundleID = bundleIdentifier(path, item.id);
        item.runningApplication = runningByID.value(item.id);
        if (!item.runningApplication && bundleID)
            item.runningApplication = runningByBundleID.value(*bundleID);
        // A program without a desktop entry only has its window icon.
        if (item.runningApplication && !path.endsWith(QLatin1String(".desktop"))
            && !item.runningApplication->icon.isNull())
            item.icon = item.runningApplication->icon;
    }

    applyBadge(item, bundleID);
    item.icon = artwork.stableImage(item.icon, item.id);
    return item;
}

void DockModel::applyBadge(DockItem& item, const std::optional<QString>& bundleID) const
{
    item.badge.reset();
    item.progress.reset();
    item.urgent = false;
    if (!item.runningApplication)
        return;
    // Activating the application answers its request for attention. A window's own request
    // counts whatever the application may show on its tile.
    const bool inactive = !item.runningApplication->isActive;
    item.urgent = item.runningApplication->demandsAttention && inactive;
    const auto permission = badgePermissions.find(bundleID.value_or(QString()));
    if (permission != badgePermissions.end() && !permission->second)
        return;
    const QString identity = bundleID.value_or(item.id);
    if (providers.badgeLabelProvider)
        item.badge = DockBadge::label(providers.badgeLabelProvider(identity));
    if (providers.badgeStatusProvider) {
        const DockBadge::Status status = providers.badgeStatusProvider(identity);
        item.progress = status.progress;
        item.urgent = item.urgent || (status.urgent && inactive);
    }
}

void DockModel::refreshBadges()
{
    for (auto& item : itemList) {
        if (item.kind == DockItem::Kind::application)
            applyBadge(item, bundleIDCache.value(item.id));
    }
    if (stateChanged())
        onBadgesChange.notify();
}

bool DockModel::stateChanged()
{
    std::vector<ItemState> state;
    state.reserve(itemList.size());
    for (const auto& item : itemList)
        state.push_back(itemState(item));
    if (state == lastState)
        return false;
    lastState = std::move(state);
    return true;
}

QString DockModel::trashLocation()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/Trash/files");
}

DockItem DockModel::makeTrashItem()
{
    const TrashState state =
        providers.trashStateProvider ? providers.trashStateProvider() : TrashState::unknown;
    if (state != TrashState::unknown)
        trashFull = state == TrashState::full;
    const bool alwaysEmpty = providers.alwaysEmptyTrashProvider
        ? providers.alwaysEmptyTrashProvider()
        : preferences.alwaysEmptyTrashIcon();
    const bool dark = providers.darkTrashProvider
        ? providers.darkTrashProvider()
        : isDark(preferences.dockAppearance(), false);
    const bool showEmpty = alwaysEmpty || !trashFull;

    const QString location = trashLocation();
    const QString iconName = showEmpty ? QStringLiteral("TrashIcon") : QStringLiteral("FullTrashIcon");
    const QString cacheKey = iconName + (dark ? QStringLiteral("-dark") : QStringLiteral("-light"));
    QIcon icon = iconCache.value(cacheKey);
    if (icon.isNull()) {
        icon = QIcon::fromTheme(showEmpty ? QStringLiteral("user-trash")
                                          : QStringLiteral("user-trash-full"));
        if (icon.isNull())
            icon = workspace.iconForFile(location);
        iconCache.insert(cacheKey, icon);
    }

    QString detail;
    if (alwaysEmpty) {
        detail = QStringLiteral("Always-empty appearance. Click to open Trash. Files remain in the Trash.");
    } else {
        switch (state) {
        case TrashState::full: detail = QStringLiteral("Trash contains items. Click to open Trash."); break;
        case TrashState::empty: detail = QStringLiteral("Trash is empty. Click to open Trash."); break;
        case TrashState::unknown:
            detail = QStringLiteral("Trash status is unavailable. Click to open Trash.");
            break;
        }
    }

    DockItem item;
    item.id = trashID;
    item.url = location;
    item.title = QStringLiteral("Trash");
    item.icon = artwork.stableImage(icon, trashID);
    item.kind = DockItem::Kind::trash;
    item.isPinned = true;
    item.detail = detail;
    return item;
}

DockModel::ItemState DockModel::itemState(const DockItem& item)
{
    ItemState state;
    state.id = item.id;
    state.title = item.title;
    state.kind = item.kind;
    state.pinned = item.isPinned;
    if (const auto& app = item.runningApplication) {
        state.processID = app->processIdentifier;
        state.active = app->isActive;
        state.hidden = app->isHidden;
    }
    state.icon = item.icon.cacheKey();
    state.detail = item.detail;
    state.badge = item.badge;
    state.badgeStatus = {item.progress, item.urgent};
    return state;
}

// --- Refresh ---

void DockModel::refresh()
{
    badgePermissions = providers.badgeSettingsProvider ? providers.badgeSettingsProvider()
                                                       : std::map<QString, bool>{};
    updateFileManager();
    runningByID.clear();
    runningByBundleID.clear();

    const pid_t self = workspace.currentProcessIdentifier();
    std::vector<QString> runningIDs;
    QSet<QString> seen;
    for (const auto& app : workspace.runningApplications()) {
        if (!app)
            continue;
        const bool isFileManager =
            fileManagerID && app->bundleIdentifier && *app->bundleIdentifier == *fileManagerID;
        if (!app->isRegular && !isFileManager)
            continue;
        if (app->processIdentifier == self || !app->bundleLocation)
            continue;
        const QString id = itemID(*app->bundleLocation);
        // Among several processes of one application the active one wins, else the first.
        if (!runningByID.contains(id) || app->isActive)
            runningByID.insert(id, app);
        if (app->bundleIdentifier
            && (!runningByBundleID.contains(*app->bundleIdentifier) || app->isActive))
            runningByBundleID.insert(*app->bundleIdentifier, app);
        if ((!fileManagerID || id != *fileManagerID) && !seen.contains(id)) {
            seen.insert(id);
            runningIDs.push_back(id);
        }
    }

    std::erase_if(order, [&](const QString& id) { return !seen.contains(id); });
    QSet<QString> ordered(order.begin(), order.end());
    for (const auto& id : runningIDs) {
        if (!ordered.contains(id)) {
            ordered.insert(id);
            order.push_back(id);
        }
    }

    std::vector<DockItem> list;
    list.reserve(pinList.size() + order.size() + 2);
    if (fileManagerLocation)
        list.push_back(makeItem(*fileManagerLocation, DockItem::Kind::application, true,
                                fileManagerTitle));
    for (const auto& pin : pinList) {
        if (pin.kind == DockItem::Kind::application)
            list.push_back(makeItem(pin.path, pin.kind, true, pin.title));
    }

    QSet<QString> takenIDs;
    QSet<pid_t> takenProcesses;
    for (const auto& item : list) {
        takenIDs.insert(item.id);
        // No pid is no process: programs without one share nothing.
        if (item.runningApplication && item.runningApplication->processIdentifier)
            takenProcesses.insert(*item.runningApplication->processIdentifier);
    }
    for (const auto& id : order) {
        if (takenIDs.contains(id))
            continue;
        const auto app = runningByID.value(id);
        // Pinned under another path but matched by its desktop-file id: already shown.
        if (!app || !app->bundleLocation
            || (app->processIdentifier && takenProcesses.contains(*app->processIdentifier)))
            continue;
        const auto title = app->localizedName.isEmpty() ? std::nullopt
                                                        : std::optional(app->localizedName);
        list.push_back(makeItem(*app->bundleLocation, DockItem::Kind::application, false, title));
    }

    for (const auto& pin : pinList) {
        if (pin.kind != DockItem::Kind::application)
            list.push_back(makeItem(pin.path, pin.kind, true, pin.title));
    }
    list.push_back(makeTrashItem());

    QSet<QString> shown;
    for (const auto& item : list)
        shown.insert(item.id);
    artwork.retain(shown);
    itemList = std::move(list);
    if (stateChanged())
        onChange.notify();
}

void DockModel::workspaceChanged(WorkspaceNotification notification)
{
    // A new volume can put other files behind the same paths.
    if (notification == WorkspaceNotification::didMount
        || notification == WorkspaceNotification::didUnmount)
        clearIdentityCaches();
    // A pinned file came, went or changed, or a desktop entry was installed: look again.
    if (notification == WorkspaceNotification::didChangeLocations) {
        clearIdentityCaches();
        iconCache.clear();
    }
    refresh();
}

} // namespace wharf
