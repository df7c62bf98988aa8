#pragma once

#include "model/dock_model.h"
#include "platform/desktop_entry_locator.h"
#include "platform/native_dock.h"

#include <QString>

#include <memory>
#include <vector>

namespace wharf {

// Reads the pins of the desktop's own dock for the first start and "Import Current System Dock":
// the native dock's favourite applications, else (none of them installed) Plank's launchers. Entries that no longer exist
// are skipped; an empty answer leaves the fallback set to the model.
class SystemPinsImporter {
public:
    // Both `nativeDock` and `entries` are required.
    SystemPinsImporter(std::unique_ptr<NativeDock> nativeDock, std::unique_ptr<DesktopEntryLocator> entries,
                       QString plankLaunchers = defaultPlankLaunchers());

    // ~/.config/plank/dock1/launchers
    static QString defaultPlankLaunchers();

    std::vector<DockModel::Pin> systemPins() const;

    // The pins of Plank's *.dockitem files in `folder`, by file name.
    static std::vector<DockModel::Pin> plankPins(const QString& folder);

private:
    std::unique_ptr<NativeDock> nativeDock;
    std::unique_ptr<DesktopEntryLocator> entries;
    QString plankLaunchers;
};

} // namespace wharf
