#pragma once

#include <QDateTime>
#include <QString>
#include <QUrl>

#include <optional>

namespace wharf {

// One item of a listed folder, copied freely; nothing in it points back at the folder.
struct StackEntry {
    QUrl url;
    QString title;
    bool isDirectory = false;
    bool isPackage = false;
    std::optional<QDateTime> modificationDate;
    std::optional<QDateTime> creationDate;
    QString kind;

    QString id() const { return url.toString(); }
    QString path() const { return url.toLocalFile(); }
    // A desktop entry: shown with its entry's name and icon, and opening it launches the program.
    bool isDesktopEntry() const { return !isDirectory && path().endsWith(QLatin1String(".desktop")); }

    bool operator==(const StackEntry&) const = default;
};

} // namespace wharf
