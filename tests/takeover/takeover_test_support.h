#pragma once

#include "platform/native_dock.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>
#include <ostream>

namespace wharf {

inline void PrintTo(const NativeDockValue& value, std::ostream* out)
{
    *out << value.type.toStdString() << ' ' << value.text.toStdString();
}

} // namespace wharf

namespace wharf::test {

using DockValues = QMap<QString, std::optional<NativeDockValue>>;

// The Dash to Dock values of `keys` as stored now in the GSettings keyfile at `keyfile`, read
// through a fresh backend so that nothing is cached; nullopt = no user value.
DockValues readKeyfileValues(const QString& keyfile, const QStringList& keys);
// Writes (or, for nullopt, resets) the values through a fresh keyfile backend.
void writeKeyfileValues(const QString& keyfile, const DockValues& values);

// Pids of live recovery helpers ("--dock-watchdog PID PATH") watching the backup at `backupPath`.
QList<qint64> recoveryHelpers(const QString& backupPath);

// $XDG_CONFIG_HOME/glib-2.0/settings/keyfile
QString defaultKeyfile();
QStringList dashToDockKeys();

// The directory with the compiled Dash to Dock schema (GSETTINGS_SCHEMA_DIR) holds it.
bool dashToDockSchemaAvailable();
constexpr const char* missingSchemaHint =
    "The Dash to Dock schema is missing: run the takeover.schema fixture "
    "(tests/takeover/dash-to-dock-schema.sh DIR) and set GSETTINGS_SCHEMA_DIR=DIR/schemas.";

} // namespace wharf::test
