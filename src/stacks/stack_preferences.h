#pragma once

#include "platform/callback_list.h"
#include "stacks/stack_settings.h"

#include <QHash>
#include <QString>

#include <functional>
#include <map>

namespace wharf {

class DockPreferences;

// Every dock folder's stack settings, kept whole as one JSON blob in the preferences store.
// A folder seen for the first time gets the defaults (Downloads sorts newest first and shows
// as a pile) and they are stored at once.
class StackPreferences {
public:
    static inline const QString settingsKey = QStringLiteral("Wharf.stackSettings.v1");

    // `downloadsFolder`: the user's download folder (empty: the XDG one).
    explicit StackPreferences(DockPreferences& preferences, QString downloadsFolder = {});

    StackSettings settings(const QString& folder);
    void setSettings(const StackSettings& settings, const QString& folder);

    // Symbolic links resolved and the path standardized; remembered per path.
    QString normalizedPath(const QString& folder);

    // Told after each effective change with the folder as the caller passed it: the owner's
    // callback first, then every open stack that listens.
    std::function<void(const QString& folder)> onChange;
    CallbackList<QString> preferencesChanged;

    const std::map<QString, StackSettings>& settingsByPath() const { return stored; }

private:
    bool isDownloads(const QString& normalized) const;
    void persist();

    DockPreferences& preferences;
    QString downloads;
    std::map<QString, StackSettings> stored;
    QHash<QString, QString> normalizedPaths;
};

} // namespace wharf
