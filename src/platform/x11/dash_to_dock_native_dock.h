#pragma once

#include "platform/native_dock.h"

#include <memory>

struct _GSettings;
struct _GSettingsSchema;

namespace wharf {

// Dash to Dock and Ubuntu Dock, which share one GSettings schema. They apply setting changes
// live: nothing has to restart for the dock to hide or come back.
class DashToDockNativeDock final : public NativeDock {
public:
    static constexpr const char* schemaId = "org.gnome.shell.extensions.dash-to-dock";
    static constexpr const char* shellSchemaId = "org.gnome.shell";
    static constexpr const char* extensionUuid = "dash-to-dock@micxgx.gmail.com";

    // The keys and values that keep the dock out of sight: not fixed, auto-hidden, not dodging
    // windows, the longest show delay, and a push against the screen edge required to show it.
    static std::vector<NativeDockKey> hidingKeys();

    DashToDockNativeDock();
    ~DashToDockNativeDock() override;

    bool isInstalled() const override;
    QString name() const override;
    std::vector<NativeDockKey> managedKeys() const override;
    std::optional<NativeDockValue> userValue(const QString& key) const override;
    bool accepts(const QString& key, const NativeDockValue& value) const override;
    bool write(const QString& key, const NativeDockValue& value) override;
    bool reset(const QString& key) override;
    bool synchronize() override;
    // GNOME Shell's favourites, which Dash to Dock shows as its pinned tiles.
    QStringList favoriteApplications() const override;
    // Dash to Dock's preferences dialog, when gnome-extensions is installed.
    QStringList settingsCommand() const override;

private:
    struct SchemaUnref {
        void operator()(_GSettingsSchema* schema) const;
    };
    struct SettingsUnref {
        void operator()(_GSettings* settings) const;
    };

    bool hasKey(const QString& key) const;
    // Created on first use: the settings backend reads its state when the first object is made,
    // and the recovery helper must not hold a snapshot older than the moment it restores.
    _GSettings* settings() const;

    std::unique_ptr<_GSettingsSchema, SchemaUnref> schema;
    mutable std::unique_ptr<_GSettings, SettingsUnref> lazySettings;
};

} // namespace wharf
