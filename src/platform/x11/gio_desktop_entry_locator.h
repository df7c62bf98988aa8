#pragma once

#include "platform/desktop_entry_locator.h"

namespace wharf {

// GIO's view of the XDG data dirs: the same entries the desktop's menus and launchers show.
class GioDesktopEntryLocator final : public DesktopEntryLocator {
public:
    std::optional<QString> entryLocation(const QString& desktopId) const override;
};

} // namespace wharf
