#pragma once

#include "platform/desktop_appearance.h"

#include <QDBusVariant>
#include <QObject>

#include <memory>
#include <optional>

namespace wharf {

// The colour scheme from the settings portal (org.freedesktop.appearance color-scheme),
// else GNOME's `color-scheme` setting; reduce motion from GNOME's `enable-animations`.
// Both follow live changes, and so does GNOME's `icon-theme` (onChange once Qt's theme changed).
class DesktopAppearanceLinux : public QObject, public DesktopAppearance {
    Q_OBJECT

public:
    DesktopAppearanceLinux();
    ~DesktopAppearanceLinux() override;

    bool isDark() const override;
    bool reduceMotion() const override;

    // The portal's color-scheme value: 1 prefers dark, 2 prefers light, 0 no preference.
    static std::optional<bool> darkFromPortalValue(unsigned value);
    // GNOME's color-scheme enum nick: "prefer-dark", "prefer-light" or "default".
    static bool darkFromGnomeScheme(const QString& nick);

private Q_SLOTS:
    void portalSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    struct Gnome;
    void readGnome();
    void iconThemeChanged();
    void update(bool dark, bool reduce);

    std::unique_ptr<Gnome> gnome;
    std::optional<bool> portalDark;
    bool dark = false;
    bool reduce = false;
};

} // namespace wharf
