#pragma once

#include "platform/file_trash.h"

namespace wharf {

// Moves files to the Trash with GIO (g_file_trash), which writes the .trashinfo record.
class GioFileTrash : public FileTrash {
public:
    Status moveToTrash(const QString& path) override;
};

} // namespace wharf
