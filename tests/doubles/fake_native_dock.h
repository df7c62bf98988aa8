#pragma once

#include "platform/native_dock.h"

#include <QMap>
#include <QStringList>

namespace wharf {

// A native dock in memory. Values are accepted when their type matches the key's; writes can be
// made to fail.
class FakeNativeDock : public NativeDock {
public:
    bool isInstalled() const override { return installed; }
    QString name() const override { return "Fake Dock"; }
    std::vector<NativeDockKey> managedKeys() const override { return keys; }
    std::optional<NativeDockValue> userValue(const QString& key) const override
    {
        return values.contains(key) ? std::optional(values.value(key)) : std::nullopt;
    }
    bool accepts(const QString& key, const NativeDockValue& value) const override
    {
        // As with the real dock, an uninstalled one knows no keys.
        if (!installed)
            return false;
        const auto known = std::ranges::find(keys, key, &NativeDockKey::name);
        return known != keys.end() && known->hidingValue.type == value.type && !value.text.isEmpty();
    }
    bool write(const QString& key, const NativeDockValue& value) override
    {
        writes.append(key);
        if (failWrites || !accepts(key, value))
            return false;
        values.insert(key, value);
        return true;
    }
    bool reset(const QString& key) override
    {
        writes.append(key);
        values.remove(key);
        return !failWrites;
    }
    bool synchronize() override { return true; }

    QStringList favoriteApplications() const override { return favorites; }

    std::vector<NativeDockKey> keys{{"autohide", {"b", "true"}}, {"show-delay", {"d", "1000.0"}}};
    QStringList favorites;
    QMap<QString, NativeDockValue> values;
    QStringList writes;  // every key written or reset, in order
    bool installed = true;
    bool failWrites = false;
};

} // namespace wharf
