#include "platform/x11/desktop_file_actions.h"

#include "platform/x11/gobject_ptr.h"
#include "platform/x11/x11_launcher.h"

#include <gio/gio.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QLoggingCategory>
#include <QUrl>

#include <algorithm>

namespace wharf {

Q_LOGGING_CATEGORY(lcFileActions, "wharf.files")

namespace {

const QString fileManagerService = QStringLiteral("org.freedesktop.FileManager1");

QString messageOf(GError* raw)
{
    const GErrorPtr error(raw);
    return error ? QString::fromUtf8(error->message) : QStringLiteral("unknown error");
}

GObjectPtr<GFile> fileAt(const QString& path)
{
    return GObjectPtr<GFile>(g_file_new_for_path(path.toLocal8Bit().constData()));
}

Status copyTree(GFile* source, GFile* destination)
{
    GError* error = nullptr;
    const GFileType type = g_file_query_file_type(source, G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr);
    if (type != G_FILE_TYPE_DIRECTORY) {
        if (!g_file_copy(source, destination, GFileCopyFlags(G_FILE_COPY_NOFOLLOW_SYMLINKS | G_FILE_COPY_ALL_METADATA),
                         nullptr, nullptr, nullptr, &error))
            return Error{messageOf(error)};
        return {};
    }
    if (!g_file_make_directory(destination, nullptr, &error))
        return Error{messageOf(error)};
    GObjectPtr<GFileEnumerator> children(g_file_enumerate_children(
        source, G_FILE_ATTRIBUTE_STANDARD_NAME, G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr, &error));
    if (!children)
        return Error{messageOf(error)};
    while (true) {
        GFileInfo* rawInfo = nullptr;
        GFile* child = nullptr;
        if (!g_file_enumerator_iterate(children.get(), &rawInfo, &child, nullptr, &error))
            return Error{messageOf(error)};
        if (!rawInfo)
            return {};
        const GObjectPtr<GFile> target(g_file_get_child(destination, g_file_info_get_name(rawInfo)));
        if (const Status copied = copyTree(child, target.get()); !copied)
            return copied;
    }
}

Status removeTree(GFile* file)
{
    GError* error = nullptr;
    if (g_file_query_file_type(file, G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr) == G_FILE_TYPE_DIRECTORY) {
        GObjectPtr<GFileEnumerator> children(g_file_enumerate_children(
            file, G_FILE_ATTRIBUTE_STANDARD_NAME, G_FILE_QUERY_INFO_NOFOLLOW_SYMLINKS, nullptr, &error));
        if (!children)
            return Error{messageOf(error)};
        while (true) {
            GFileInfo* info = nullptr;
            GFile* child = nullptr;
            if (!g_file_enumerator_iterate(children.get(), &info, &child, nullptr, &error))
                return Error{messageOf(error)};
            if (!info)
                break;
            if (const Status removed = removeTree(child); !removed)
                return removed;
        }
    }
    if (!g_file_delete(file, nullptr, &error))
        return Error{messageOf(error)};
    return {};
}

} // namespace

Status DesktopFileActions::showInFiles(const QString& path, X11Launcher& launcher)
{
    const QString folder = QFileInfo(path).absolutePath();
    QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusConnectionInterface* names = bus.isConnected() ? bus.interface() : nullptr;
    const bool offered = names
        && (names->isServiceRegistered(fileManagerService).value()
            || names->activatableServiceNames().value().contains(fileManagerService));
    if (!offered)
        return launcher.openLocation(folder);
    QDBusMessage call = QDBusMessage::createMethodCall(fileManagerService, QStringLiteral("/org/freedesktop/FileManager1"),
                                                       fileManagerService, QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded)} << QString();
    // The file manager may take a while to start: its answer is not waited for.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [watcher, folder, &launcher] {
        watcher->deleteLater();
        if (!watcher->isError())
            return;
        qCWarning(lcFileActions, "ShowItems failed (%s); opening the folder instead",
                  qUtf8Printable(watcher->error().message()));
        if (const Status opened = launcher.openLocation(folder); !opened)
            qCWarning(lcFileActions, "%s", qUtf8Printable(opened.error().message));
    });
    return {};
}

Status DesktopFileActions::transferFile(const QString& source, const QString& destination, bool copy)
{
    if (!QFileInfo(source).exists() && !QFileInfo(source).isSymLink())
        return Error{QStringLiteral("The file no longer exists.")};
    const auto from = fileAt(source);
    const auto to = fileAt(destination);
    GError* error = nullptr;
    if (copy)
        return copyTree(from.get(), to.get());
    if (g_file_move(from.get(), to.get(), GFileCopyFlags(G_FILE_COPY_NOFOLLOW_SYMLINKS | G_FILE_COPY_ALL_METADATA),
                    nullptr, nullptr, nullptr, &error))
        return {};
    if (!g_error_matches(error, G_IO_ERROR, G_IO_ERROR_WOULD_RECURSE))
        return Error{messageOf(error)};
    g_clear_error(&error);
    // A folder moving to another file system: copy it, and remove the original only when all arrived.
    if (const Status copied = copyTree(from.get(), to.get()); !copied) {
        if (const Status cleaned = removeTree(to.get()); !cleaned)
            qCWarning(lcFileActions, "Leaving a partial copy at %s: %s", qUtf8Printable(destination),
                      qUtf8Printable(cleaned.error().message));
        return copied;
    }
    return removeTree(from.get());
}

QString DesktopFileActions::execArgument(const QString& argument)
{
    // The Exec key's own escapes come on top of the quoting: "%" doubles, "\\" doubles again.
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    QString text = argument;
    text.replace(QLatin1Char('%'), QStringLiteral("%%"));
    const bool quote = text.isEmpty() || std::any_of(text.begin(), text.end(), [](QChar c) { return reserved.contains(c); });
    if (quote) {
        QString quoted;
        for (const QChar c : text) {
            if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
                quoted += QLatin1Char('\\');
            quoted += c;
        }
        text = QLatin1Char('"') + quoted + QLatin1Char('"');
    }
    text.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    text.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    text.replace(QLatin1Char('\t'), QStringLiteral("\\t"));
    return text;
}

Result<QString> DesktopFileActions::writeDesktopEntry(const Program& program)
{
    if (program.commandLine.isEmpty())
        return Error{QStringLiteral("Its command line cannot be read.")};
    QString name = program.windowClass.isEmpty() ? QFileInfo(program.commandLine.front()).fileName() : program.windowClass;
    name = name.toLower();
    for (QChar& c : name) {
        if (!c.isLetterOrNumber() && c != QLatin1Char('-') && c != QLatin1Char('_') && c != QLatin1Char('.'))
            c = QLatin1Char('-');
    }
    const QString base = QStringLiteral("wharf-") + name;
    const QString dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);

    QString iconLine;
    if (!program.icon.isNull()) {
        const QString iconPath = dataHome + QStringLiteral("/icons/") + base + QStringLiteral(".png");
        QDir().mkpath(QFileInfo(iconPath).path());
        if (program.icon.pixmap(QSize(128, 128)).save(iconPath, "PNG"))
            iconLine = QStringLiteral("Icon=") + iconPath + QLatin1Char('\n');
        else
            qCWarning(lcFileActions, "Could not save the icon %s", qUtf8Printable(iconPath));
    }
    QStringList exec;
    for (const QString& argument : program.commandLine)
        exec << execArgument(argument);
    const QString title = program.name.isEmpty() ? name : program.name;
    QString contents = QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\n")
                           .arg(QString(title).replace(QLatin1Char('\n'), QLatin1Char(' ')), exec.join(QLatin1Char(' ')));
    contents += iconLine;
    if (!program.windowClass.isEmpty())
        contents += QStringLiteral("StartupWMClass=") + program.windowClass + QLatin1Char('\n');
    contents += QStringLiteral("Terminal=false\n");

    const QString path = dataHome + QStringLiteral("/applications/") + base + QStringLiteral(".desktop");
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents.toUtf8()) < 0 || !file.commit())
        return Error{QStringLiteral("%1 could not be written: %2").arg(path, file.errorString())};
    return path;
}

} // namespace wharf
