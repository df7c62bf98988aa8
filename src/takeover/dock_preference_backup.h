#pragma once

#include "platform/native_dock.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

namespace wharf {

// The native dock's values as the user had them before Wharf hid it.
struct DockPreferenceBackup {
    qint64 version = 1;
    // Identifies one enable session.
    QString token;
    qint32 ownerPID = 0;
    // processStart() of the owner, so a reused pid does not pass for the owner.
    QString ownerStart;
    // Each managed key that had a user value: that value, see encodeDockValue().
    QMap<QString, QByteArray> values;
    // The managed keys that had no user value.
    QStringList missing;

    bool operator==(const DockPreferenceBackup&) const = default;
};

// The backup file's bytes: a binary property list of one dictionary.
QByteArray encodeBackup(const DockPreferenceBackup& backup);
// The record, or why the bytes do not hold one.
std::variant<DockPreferenceBackup, QString> decodeBackup(const QByteArray& bytes);

// Version 1, and every managed key either saved or listed as missing, never both, nothing else.
bool isValidBackup(const DockPreferenceBackup& backup, const QStringList& managedKeys);

// A saved value: a binary property list whose top level is an array of exactly one element,
// a dictionary of the value's "type" and "text".
QByteArray encodeDockValue(const NativeDockValue& value);
std::optional<NativeDockValue> decodeDockValue(const QByteArray& bytes);

} // namespace wharf
