#pragma once

// Small files for tests: written with the folders they need, read back whole (empty when
// unreadable).
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace wharf::test {

inline bool writeFile(const QString& path, const QByteArray& bytes = {})
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace wharf::test
