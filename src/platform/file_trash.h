#pragma once

#include "platform/result.h"

#include <QString>

namespace wharf {

// Moves files into the freedesktop Trash of their volume (with their .trashinfo).
class FileTrash {
public:
    virtual ~FileTrash() = default;

    // Safe to call from any thread; the error names the file and the reason.
    virtual Status moveToTrash(const QString& path) = 0;
};

} // namespace wharf
