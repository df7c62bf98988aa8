#pragma once

// Preferences in a settings file of their own, in a temporary folder tests may fill as well.
#include "settings/dock_preferences.h"

#include <QTemporaryDir>

#include <memory>

namespace wharf::test {

struct TempPreferences {
    QTemporaryDir dir;
    std::shared_ptr<QSettings> store = std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat);
    DockPreferences preferences{store};
};

} // namespace wharf::test
