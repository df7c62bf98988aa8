// GLib first: its headers use `signals` as an identifier.
#include <gio/gio.h>

#include "platform/x11/gio_file_trash.h"

#include <QFileInfo>

#include <memory>

namespace wharf {

Status GioFileTrash::moveToTrash(const QString& path)
{
    const std::unique_ptr<GFile, decltype(&g_object_unref)> file(
        g_file_new_for_path(QFile::encodeName(path).constData()), &g_object_unref);
    GError* error = nullptr;
    if (g_file_trash(file.get(), nullptr, &error))
        return {};
    const QString reason = QString::fromUtf8(error ? error->message : "unknown error");
    g_clear_error(&error);
    return Error{QFileInfo(path).fileName() + QStringLiteral(": ") + reason};
}

} // namespace wharf
