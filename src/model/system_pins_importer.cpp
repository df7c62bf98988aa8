#include "model/system_pins_importer.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>
#include <QStandardPaths>
#include <QUrl>

Q_LOGGING_CATEGORY(lcImport, "wharf.import", QtInfoMsg)

namespace wharf {
namespace {

std::optional<DockModel::Pin> pinAt(const QString& location)
{
    QString path = location;
    if (!location.startsWith(QLatin1Char('/'))) {
        const QUrl url(location);
        if (!url.isValid() || !url.isLocalFile())
            return std::nullopt;
        path = url.toLocalFile();
    }
    const QFileInfo info(path);
    if (!info.exists())
        return std::nullopt;
    path = QDir::cleanPath(info.absoluteFilePath());
    DockItem::Kind kind = DockItem::Kind::file;
    if (info.suffix().toLower() == QLatin1String("desktop"))
        kind = DockItem::Kind::application;
    else if (info.isDir())
        kind = DockItem::Kind::folder;
    return DockModel::Pin{path, kind, std::nullopt};
}

} // namespace

SystemPinsImporter::SystemPinsImporter(std::unique_ptr<NativeDock> nativeDock,
                                       std::unique_ptr<DesktopEntryLocator> entries, QString plankLaunchers)
    : nativeDock(std::move(nativeDock)), entries(std::move(entries)), plankLaunchers(std::move(plankLaunchers))
{
}

QString SystemPinsImporter::defaultPlankLaunchers()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
           + QStringLiteral("/plank/dock1/launchers");
}

std::vector<DockModel::Pin> SystemPinsImporter::systemPins() const
{
    std::vector<DockModel::Pin> pins;
    const QStringList favorites = nativeDock->favoriteApplications();
    for (const QString& id : favorites) {
        const auto location = entries->entryLocation(id);
        const auto pin = location ? pinAt(*location) : std::nullopt;
        if (pin)
            pins.push_back(*pin);
        else
            qCInfo(lcImport, "Skipping the favourite %s: no installed entry", qUtf8Printable(id));
    }
    // Favourites of which none is installed any more count as none.
    if (!pins.empty())
        return pins;
    return plankPins(plankLaunchers);
}

std::vector<DockModel::Pin> SystemPinsImporter::plankPins(const QString& folder)
{
    std::vector<DockModel::Pin> pins;
    const QDir dir(folder);
    for (const QString& name : dir.entryList({QStringLiteral("*.dockitem")}, QDir::Files, QDir::Name)) {
        QSettings item(dir.filePath(name), QSettings::IniFormat);
        const QString launcher = item.value(QStringLiteral("PlankDockItemPreferences/Launcher")).toString();
        if (const auto pin = pinAt(launcher))
            pins.push_back(*pin);
    }
    return pins;
}

} // namespace wharf
