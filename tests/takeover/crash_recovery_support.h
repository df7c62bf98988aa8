#pragma once

#include "takeover_test_support.h"

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace wharf::test {

// A private home for takeover driver processes (tests/takeover/takeover_driver.cpp): their own
// data and settings folders, the real Dash to Dock schema and the keyfile settings backend.
class DriverHome {
public:
    DriverHome();

    QString dataHome() const { return dir.filePath("data"); }
    QString keyfile() const { return dir.filePath("config/glib-2.0/settings/keyfile"); }
    QString backupPath() const { return dataHome() + "/wharf/system-dock-backup.plist"; }

    // The values a user might have: some keys set, others never touched.
    static DockValues userValues();
    void seed(const DockValues& values) const { writeKeyfileValues(keyfile(), values); }
    DockValues values() const { return readKeyfileValues(keyfile(), dashToDockKeys()); }

    // Starts a driver in this home.
    std::unique_ptr<QProcess> start() const;
    // The next line the driver prints, without its line break; nullopt after timeoutMs.
    static std::optional<QString> readLine(QProcess& driver, int timeoutMs = 10000);
    // True once no helper of this home runs any more.
    bool noHelpers() const { return recoveryHelpers(backupPath()).isEmpty(); }

private:
    QTemporaryDir dir;
};

} // namespace wharf::test
