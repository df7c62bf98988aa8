#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace wharf {

// One setting value of the native dock, carried without its toolkit: the value's type string
// ("b", "i", "d", "as", ...) and its text form with type annotations, which parses back to the
// identical value.
struct NativeDockValue {
    QString type;
    QString text;

    bool operator==(const NativeDockValue&) const = default;
};

// A key Wharf changes to keep the native dock out of sight, with the value that does it.
struct NativeDockKey {
    QString name;
    NativeDockValue hidingValue;
};

// The desktop's own dock as seen through its settings.
class NativeDock {
public:
    virtual ~NativeDock() = default;

    // False when the desktop has no such dock; then every other operation does nothing.
    virtual bool isInstalled() const = 0;
    virtual QString name() const = 0;
    // The keys that are saved, changed and restored, always in the same order.
    virtual std::vector<NativeDockKey> managedKeys() const = 0;
    // The user's own value, or nullopt when the key has none (the default is in force).
    virtual std::optional<NativeDockValue> userValue(const QString& key) const = 0;
    // False when the value does not fit the key (wrong type or unparsable text).
    virtual bool write(const QString& key, const NativeDockValue& value) = 0;
    virtual void reset(const QString& key) = 0;
    virtual void synchronize() = 0;
    virtual void restart() = 0;
};

} // namespace wharf
