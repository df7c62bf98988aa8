#pragma once

#include "platform/result.h"
#include "platform/running_application.h"

#include <QString>

namespace wharf {

class X11Launcher;

// What the dock asks of files and the file manager: showing a file selected, copying and moving
// dropped files (GIO), and writing desktop entries for programs that have none.
class DesktopFileActions {
public:
    // org.freedesktop.FileManager1.ShowItems when the session offers it, else the parent folder
    // opened with its default handler.
    static Status showInFiles(const QString& path, X11Launcher& launcher);
    // A folder is copied with its contents; a move across file systems copies, then removes the
    // source only when every part arrived.
    static Status transferFile(const QString& source, const QString& destination, bool copy);
    static Result<QString> writeDesktopEntry(const RunningApplication& app);
};

} // namespace wharf
