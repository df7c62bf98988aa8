#pragma once

#include <QString>

#include <optional>

namespace wharf {

// The installed desktop entries, looked up by desktop-file id ("org.gnome.Calculator.desktop").
class DesktopEntryLocator {
public:
    virtual ~DesktopEntryLocator() = default;

    // The entry's file, when the id names an installed entry whose program exists.
    virtual std::optional<QString> entryLocation(const QString& desktopId) const = 0;
};

} // namespace wharf
