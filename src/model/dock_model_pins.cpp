// The pinned items: their stored form, loading, saving, and the import of the desktop's dock.
#include "model/dock_model.h"

#include "settings/dock_preferences.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QStandardPaths>

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

} // namespace wharf
