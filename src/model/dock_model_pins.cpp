// The pinned items: their stored form, loading, saving, and the import of the desktop's dock.
#include "model/dock_model.h"

#include "settings/dock_preferences.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QStandardPaths>

#include <algorithm>

Q_DECLARE_LOGGING_CATEGORY(lcModel)

namespace wharf {

QByteArray DockModel::encodePins(const std::vector<Pin>& pins)
{
    QJsonArray array;
    for (const auto& pin : pins) {
        QJsonObject object{{QStringLiteral("path"), pin.path},
                           {QStringLiteral("kind"), rawValue(pin.kind)}};
        if (pin.title)
            object.insert(QStringLiteral("title"), *pin.title);
        array.append(object);
    }
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<std::vector<DockModel::Pin>> DockModel::decodePins(const QByteArray& data)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;
    std::vector<Pin> pins;
    for (const QJsonValue& element : document.array()) {
        if (!element.isObject())
            return std::nullopt;
        const QJsonObject object = element.toObject();
        const QJsonValue path = object.value(QStringLiteral("path"));
        const QJsonValue kindText = object.value(QStringLiteral("kind"));
        const QJsonValue title = object.value(QStringLiteral("title"));
        if (!path.isString() || !kindText.isString())
            return std::nullopt;
        const auto kind = dockItemKind(kindText.toString());
        if (!kind)
            return std::nullopt;
        Pin pin{path.toString(), *kind, std::nullopt};
        if (title.isString())
            pin.title = title.toString();
        else if (!title.isUndefined() && !title.isNull())
            return std::nullopt;
        pins.push_back(std::move(pin));
    }
    return pins;
}

void DockModel::loadPins()
{
    const QVariant stored = preferences.defaults().value(pinnedItemsKey);
    std::optional<std::vector<Pin>> decoded;
    if (stored.typeId() == QMetaType::QByteArray || stored.typeId() == QMetaType::QString)
        decoded = decodePins(stored.toByteArray());
    if (decoded) {
        pinList = sanitized(*decoded);
        return;
    }
    if (stored.isValid())
        qCWarning(lcModel, "Stored pinned items in %s could not be read; importing the desktop's "
                           "dock items instead",
                  qUtf8Printable(pinnedItemsKey));
    pinList = systemPins();
    persist();
}

void DockModel::persist() const
{
    // A snapshot (`wharf --list-items`) only reads: it never rewrites what it was shown.
    if (mode == Mode::snapshot)
        return;
    preferences.defaults().setValue(pinnedItemsKey, encodePins(pinList));
}

void DockModel::watchPins()
{
    if (mode == Mode::snapshot)
        return;
    QStringList paths;
    for (const auto& pin : pinList)
        paths.append(pin.path);
    workspace.watchLocations(paths);
}

void DockModel::setPins(std::vector<Pin> pins)
{
    pinList = std::move(pins);
    persist();
    watchPins();
    refresh();
}

std::vector<DockModel::Pin> DockModel::systemPins()
{
    std::vector<Pin> pins;
    if (providers.systemPinsProvider)
        pins = providers.systemPinsProvider();
    if (pins.empty()) {
        if (const auto browser = workspace.webBrowserLocation())
            pins.push_back({*browser, DockItem::Kind::application, std::nullopt});
        const QString applications = QStringLiteral("/usr/share/applications");
        if (QFileInfo(applications).isDir())
            pins.push_back({applications, DockItem::Kind::folder, std::nullopt});
        const QString downloads = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
        if (!downloads.isEmpty() && QFileInfo(downloads).isDir())
            pins.push_back({downloads, DockItem::Kind::folder, std::nullopt});
    }
    return sanitized(pins);
}

void DockModel::restoreSystemPins()
{
    pinList = systemPins();
    iconCache.clear();
    clearIdentityCaches();
    persist();
    watchPins();
    refresh();
}

std::vector<DockModel::Pin> DockModel::sanitized(const std::vector<Pin>& pins)
{
    QSet<QString> taken{trashID, itemID(workspace.ownBundleLocation())};
    if (fileManagerID)
        taken.insert(*fileManagerID);
    std::vector<Pin> result;
    for (const auto& pin : pins) {
        // An empty path names no file (and would resolve to the working directory).
        if (pin.kind == DockItem::Kind::trash || pin.path.isEmpty())
            continue;
        const QString id = itemID(pin.path);
        if (taken.contains(id))
            continue;
        taken.insert(id);
        result.push_back(pin);
    }
    return result;
}

// --- Pinning, moving and unpinning ---

void DockModel::changePins()
{
    persist();
    watchPins();
    refresh();
}

void DockModel::insert(const Pin& pin, std::optional<int> displayedIndex)
{
    const QString id = itemID(pin.path);
    const int count = static_cast<int>(itemList.size());
    std::optional<int> own;
    for (int i = 0; i < count; ++i) {
        if (itemList[static_cast<std::size_t>(i)].id == id)
            own = i;
    }
    int target = std::clamp(displayedIndex.value_or(count), 0, count);
    if (own && *own < target)
        --target;

    // Pinned items of the pin's own section in front of the target, the pin's own item aside.
    const bool application = pin.kind == DockItem::Kind::application;
    int sectionPosition = 0;
    int passed = 0;
    for (int i = 0; i < count && passed < target; ++i) {
        if (own && i == *own)
            continue;
        ++passed;
        const DockItem& other = itemList[static_cast<std::size_t>(i)];
        if (other.isPinned && !isFileManager(other) && other.kind != DockItem::Kind::trash
            && (other.kind == DockItem::Kind::application) == application)
            ++sectionPosition;
    }

    std::erase_if(pinList, [&](const Pin& existing) { return itemID(existing.path) == id; });
    std::vector<Pin> applications;
    std::vector<Pin> others;
    for (auto& existing : pinList)
        (existing.kind == DockItem::Kind::application ? applications : others).push_back(std::move(existing));
    std::vector<Pin>& section = application ? applications : others;
    section.insert(section.begin() + std::min<std::ptrdiff_t>(sectionPosition, std::ssize(section)), pin);
    pinList = std::move(applications);
    pinList.insert(pinList.end(), std::make_move_iterator(others.begin()), std::make_move_iterator(others.end()));
}

void DockModel::pin(const QUrl& url, std::optional<int> displayedIndex)
{
    if (!url.isLocalFile())
        return;
    const QString path = QDir::cleanPath(QFileInfo(url.toLocalFile()).absoluteFilePath());
    const QString id = itemID(path);
    // The file manager, the Trash and Wharf itself have places of their own.
    const QString trashFiles = trashLocation();
    if ((fileManagerID && id == *fileManagerID) || id == itemID(trashFiles)
        || id == itemID(QFileInfo(trashFiles).path()) || id == itemID(workspace.ownBundleLocation()))
        return;
    const DockItem::Kind kind = QFileInfo(path).suffix().toLower() == QLatin1String("desktop")
        ? DockItem::Kind::application
        : (QFileInfo(path).isDir() ? DockItem::Kind::folder : DockItem::Kind::file);

    const auto existing = std::find_if(pinList.begin(), pinList.end(),
                                       [&](const Pin& pin) { return itemID(pin.path) == id; });
    if (existing != pinList.end()) {
        if (!displayedIndex)
            return;
        insert(Pin(*existing), displayedIndex);
    } else {
        insert(Pin{path, kind, std::nullopt}, displayedIndex);
    }
    changePins();
}

std::optional<DockModel::Pin> DockModel::pinForProgram(const DockItem& item)
{
    if (item.kind != DockItem::Kind::application || item.url.endsWith(QLatin1String(".desktop"))
        || !item.runningApplication)
        return Pin{item.url, item.kind, std::nullopt};
    // A program without a desktop entry gets one, so that the pin can start it again.
    auto entry = workspace.writeDesktopEntry(*item.runningApplication);
    if (!entry) {
        presentError(QStringLiteral("Keep ") + item.title + QStringLiteral(" in Dock"), entry.error());
        return std::nullopt;
    }
    return Pin{entry.value(), DockItem::Kind::application, std::nullopt};
}

void DockModel::move(const DockItem& item, int displayedIndex)
{
    if (isFileManager(item) || item.kind == DockItem::Kind::trash)
        return;
    const auto existing = std::find_if(pinList.begin(), pinList.end(),
                                       [&](const Pin& pin) { return itemID(pin.path) == item.id; });
    std::optional<Pin> pin;
    if (existing != pinList.end())
        pin = *existing;
    else
        pin = pinForProgram(item);
    if (!pin)
        return;
    insert(*pin, displayedIndex);
    changePins();
}

void DockModel::remove(const DockItem& item)
{
    if (!item.isPinned || isFileManager(item) || item.kind == DockItem::Kind::trash)
        return;
    std::erase_if(pinList, [&](const Pin& pin) { return itemID(pin.path) == item.id; });
    changePins();
}

} // namespace wharf
