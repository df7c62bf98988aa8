#pragma once

#include "platform/result.h"
#include "platform/running_application.h"

#include <QIcon>
#include <QString>
#include <QStringList>

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
    // What a desktop entry for a program without one is made of.
    struct Program {
        QString name;
        QStringList commandLine; // as the process was started
        QString windowClass;     // WM_CLASS class (else instance)
        QIcon icon;              // its window icon
    };
    // Writes $XDG_DATA_HOME/applications/wharf-<class>.desktop (Exec from the command line,
    // the icon saved beside the user's icons, StartupWMClass) and answers its path.
    static Result<QString> writeDesktopEntry(const Program& program);
    // One argument of an Exec line, quoted where the desktop entry format asks for it.
    static QString execArgument(const QString& argument);
};

} // namespace wharf
