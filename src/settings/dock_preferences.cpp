#include "settings/dock_preferences.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QStandardPaths>

#include <algorithm>
#include <cmath>

Q_LOGGING_CATEGORY(lcPreferences, "wharf.preferences")

namespace wharf {

bool storedBool(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Bool: return value.toBool();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double: {
        const double number = value.toDouble();
        return std::isfinite(number) && number != 0;
    }
    case QMetaType::QString: {
        // The INI store keeps every value as text; only real boolean texts count.
        const QString text = value.toString().trimmed().toLower();
        if (text == QLatin1String("true"))
            return true;
        bool ok = false;
        const double number = text.toDouble(&ok);
        return ok && std::isfinite(number) && number != 0;
    }
    default: return false;
    }
}

double storedDouble(const QVariant& value)
{
    bool ok = false;
    double number = 0;
    switch (value.typeId()) {
    case QMetaType::Bool: return value.toBool() ? 1 : 0;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double: number = value.toDouble(&ok); break;
    case QMetaType::QString: number = value.toString().trimmed().toDouble(&ok); break;
    default: return 0;
    }
    return ok && std::isfinite(number) ? number : 0;
}

QString DockPreferences::defaultStorePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/wharf/wharf.conf");
}

DockPreferences::DockPreferences(std::shared_ptr<QSettings> store, Access access) : store(std::move(store))
{
    if (!this->store)
        this->store = std::make_shared<QSettings>(defaultStorePath(), QSettings::IniFormat);
    if (this->store->status() != QSettings::FormatError || access == Access::readOnly)
        return;

    // QSettings would overwrite the unreadable file on its next write: keep a copy first.
    const QString path = this->store->fileName();
    const QString copy = path + QStringLiteral(".corrupt-")
        + QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"));
    if (QFile::copy(path, copy)) {
        corruptCopy = copy;
        qCWarning(lcPreferences, "Settings file %s could not be read; kept it as %s and started "
                                 "from the default settings",
                  qUtf8Printable(path), qUtf8Printable(copy));
        this->store->clear();
    } else {
        qCWarning(lcPreferences, "Settings file %s could not be read and could not be copied to "
                                 "%s; using the default settings and leaving the file alone",
                  qUtf8Printable(path), qUtf8Printable(copy));
        // Without a copy the file must not be overwritten: write to a sibling instead.
        this->store = std::make_shared<QSettings>(path + QStringLiteral(".unsaved"),
                                                  QSettings::IniFormat);
        this->store->clear();
    }
}

QVariant DockPreferences::stored(const QString& key) const
{
    auto found = values.constFind(key);
    if (found == values.constEnd())
        found = values.insert(key, store->value(key));
    return *found;
}

bool DockPreferences::boolValue(const QString& key, bool fallback) const
{
    const QVariant value = stored(key);
    return value.isValid() ? storedBool(value) : fallback;
}

double DockPreferences::doubleValue(const QString& key, double fallback) const
{
    const QVariant value = stored(key);
    return value.isValid() ? storedDouble(value) : fallback;
}

double DockPreferences::iconSize() const
{
    return std::clamp(doubleValue(iconSizeKey, defaultIconSize), minimumIconSize, maximumIconSize);
}

double DockPreferences::dockWidthFraction() const
{
    return doubleValue(dockWidthFractionKey, defaultDockWidthFraction);
}

double DockPreferences::magnification() const
{
    return std::clamp(doubleValue(magnificationKey, defaultMagnification), minimumMagnification,
                      maximumMagnification);
}

bool DockPreferences::autoHide() const { return boolValue(autoHideKey, defaultAutoHide); }
bool DockPreferences::allDisplays() const { return boolValue(allDisplaysKey, defaultAllDisplays); }

bool DockPreferences::replaceSystemDock() const
{
    return boolValue(replaceSystemDockKey, defaultReplaceSystemDock);
}

bool DockPreferences::alwaysEmptyTrashIcon() const
{
    return boolValue(alwaysEmptyTrashIconKey, defaultAlwaysEmptyTrashIcon);
}

bool DockPreferences::keepWindowsAboveDock() const
{
    return boolValue(keepWindowsAboveDockKey, defaultKeepWindowsAboveDock);
}

bool DockPreferences::liveCalendarIcon() const { return boolValue(liveCalendarIconKey, false); }

double DockPreferences::restingIconSize() const { return doubleValue(restingIconSizeKey, 0); }

void DockPreferences::setRestingIconSize(double size)
{
    const double value = std::isfinite(size) ? size : 0.0;
    store->setValue(restingIconSizeKey, value);
    values.insert(restingIconSizeKey, value);
}

DockAppearance DockPreferences::dockAppearance() const
{
    if (const auto appearance = wharf::dockAppearance(stored(dockAppearanceKey).toString()))
        return *appearance;
    if (const QVariant legacy = stored(darkDockAppearanceKey); legacy.isValid())
        return storedBool(legacy) ? DockAppearance::dark : DockAppearance::light;
    return DockAppearance::automatic;
}

void DockPreferences::setDockAppearance(DockAppearance appearance)
{
    values.clear();
    store->setValue(dockAppearanceKey, rawValue(appearance));
    store->remove(darkDockAppearanceKey);
    notify();
}

void DockPreferences::setDockWidthFraction(double fraction)
{
    const double value =
        std::isfinite(fraction) ? std::clamp(fraction, 0.0, maximumDockWidthFraction) : 0.0;
    values.clear();
    store->setValue(dockWidthFractionKey, value);
    store->remove(restingIconSizeKey);
    notify();
}

void DockPreferences::setValue(const QString& key, const QVariant& value)
{
    values.clear();
    store->setValue(key, value);
    notify();
}

void DockPreferences::notify() const
{
    onChange.notify();
}

} // namespace wharf
