#pragma once

#include "platform/x11/app_matcher.h"

#include <QIcon>
#include <QString>

#include <optional>

namespace wharf {

// File icons and names as the file manager shows them, desktop-file ids, and the
// default applications, read through GIO. The default file manager is asked for on
// every refresh, so it is cached until forgetDefaults().
class GioFileInfo {
public:
    GioFileInfo(const MatchRules& rules, const DesktopEntryIndex& index);

    QIcon iconForFile(const QString& path) const;
    QString displayName(const QString& path) const;
    std::optional<QString> bundleIdentifier(const QString& path) const;
    std::optional<QString> fileManagerLocation() const;
    std::optional<QString> webBrowserLocation() const;
    // The themed icon of an entry; null when it names none the theme has.
    static QIcon entryIcon(const DesktopEntryRecord& entry);

    // The installed applications or their defaults changed.
    void forgetDefaults() { fileManager_.reset(); }

private:
    const MatchRules& rules_;
    const DesktopEntryIndex& index_;
    mutable std::optional<std::optional<QString>> fileManager_;
};

} // namespace wharf
