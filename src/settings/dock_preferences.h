#pragma once

#include "platform/callback_list.h"
#include "settings/dock_appearance.h"

#include <QHash>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <memory>

namespace wharf {

// The user's dock settings in ~/.config/wharf/wharf.conf. Readers ask whenever they need a
// value; every writer announces the change through `onChange`. Values read are kept until a
// write, here or through `defaults()`: a dock step reads several, sixty times a second.
class DockPreferences {
public:
    // Keys of the plain settings.
    static inline const QString iconSizeKey = QStringLiteral("iconSize");
    static inline const QString dockWidthFractionKey = QStringLiteral("dockWidthFraction");
    static inline const QString magnificationKey = QStringLiteral("magnification");
    static inline const QString autoHideKey = QStringLiteral("autoHide");
    static inline const QString allDisplaysKey = QStringLiteral("allDisplays");
    static inline const QString replaceSystemDockKey = QStringLiteral("replaceSystemDock");
    static inline const QString alwaysEmptyTrashIconKey = QStringLiteral("alwaysEmptyTrashIcon");
    static inline const QString keepWindowsAboveDockKey = QStringLiteral("keepWindowsAboveDock");
    static inline const QString liveCalendarIconKey = QStringLiteral("liveCalendarIcon");
    static inline const QString dockAppearanceKey = QStringLiteral("dockAppearance");
    static inline const QString darkDockAppearanceKey = QStringLiteral("darkDockAppearance");
    static inline const QString restingIconSizeKey = QStringLiteral("restingIconSize");

    // Registered defaults: a stored value always wins.
    static constexpr double defaultIconSize = 58.0;
    static constexpr double defaultDockWidthFraction = 0.86;
    static constexpr double defaultMagnification = 1.65;
    static constexpr bool defaultAutoHide = false;
    static constexpr bool defaultAllDisplays = true;
    static constexpr bool defaultReplaceSystemDock = true;
    static constexpr bool defaultAlwaysEmptyTrashIcon = false;
    static constexpr bool defaultKeepWindowsAboveDock = true;
    static constexpr double maximumDockWidthFraction = 0.98;
    // The ranges of the controls; hand-edited values outside them are clamped when read.
    static constexpr double minimumIconSize = 16.0;
    static constexpr double maximumIconSize = 96.0;
    static constexpr double minimumMagnification = 1.0;
    static constexpr double maximumMagnification = 2.2;

    static QString defaultStorePath();

    // `readOnly` is for one-shot readers: they must never touch the file.
    enum class Access { readWrite, readOnly };

    // A store that fails to parse is copied aside and replaced by an empty one (read-only: left
    // alone, and the defaults apply).
    explicit DockPreferences(std::shared_ptr<QSettings> store, Access access = Access::readWrite);

    QSettings& defaults()
    {
        values.clear(); // whatever the caller writes there is read afresh
        return *store;
    }
    const QSettings& defaults() const { return *store; }

    double iconSize() const;
    double dockWidthFraction() const;
    double magnification() const;
    bool autoHide() const;
    bool allDisplays() const;
    bool replaceSystemDock() const;
    bool alwaysEmptyTrashIcon() const;
    bool keepWindowsAboveDock() const;
    bool liveCalendarIcon() const;

    double restingIconSize() const;          // 0 when absent
    void setRestingIconSize(double size);    // the view's derived value; no onChange

    DockAppearance dockAppearance() const;
    void setDockAppearance(DockAppearance appearance);
    void setDockWidthFraction(double fraction);

    // A plain setting write, then onChange.
    void setValue(const QString& key, const QVariant& value);

    // Typed reads of any key; a value of the wrong type reads as false or 0.
    bool boolValue(const QString& key, bool fallback) const;
    double doubleValue(const QString& key, double fallback) const;

    // Path of the copy of an unreadable store, when one was made.
    const QString& corruptCopyPath() const { return corruptCopy; }

    // Every writer but setRestingIconSize announces here.
    CallbackList<> onChange;

private:
    void notify() const;
    QVariant stored(const QString& key) const;

    std::shared_ptr<QSettings> store;
    mutable QHash<QString, QVariant> values; // read from the store, invalid where absent
    QString corruptCopy;
};

// Strict readings of stored values shared by everything that reads the store.
bool storedBool(const QVariant& value);
double storedDouble(const QVariant& value);

} // namespace wharf
