#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace wharf {

// One setting value of the native dock, carried without its toolkit: the value's type string
// ("b", "i", "d", "as", ...) and its text form, which parses back to the identical value.
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

    // False when the desktop has no such dock: there is nothing to hide.
    virtual bool isInstalled() const = 0;
    virtual QString name() const = 0;
    // The keys that are saved, changed and restored, always in the same order; known even when
    // the dock is not installed, so that a saved backup can still be checked.
    virtual std::vector<NativeDockKey> managedKeys() const = 0;
    // The user's own value, or nullopt when the key has none (the default is in force).
    virtual std::optional<NativeDockValue> userValue(const QString& key) const = 0;
    // Whether write() would take this value: the key exists, the type is the key's, the text parses.
    virtual bool accepts(const QString& key, const NativeDockValue& value) const = 0;
    virtual bool write(const QString& key, const NativeDockValue& value) = 0;
    // Removes the user's value so the default is in force again.
    virtual bool reset(const QString& key) = 0;
    // Flushes pending writes; false when they could not be stored.
    virtual bool synchronize() = 0;

    // The desktop-file ids of the applications the dock shows as its own tiles, in order; empty
    // when it has none or keeps them nowhere Wharf can read.
    virtual QStringList favoriteApplications() const { return {}; }
    // The command that opens the dock's own settings (program first), empty when there is none.
    virtual QStringList settingsCommand() const { return {}; }
};

} // namespace wharf
