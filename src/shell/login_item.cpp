#include "shell/login_item.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>
#include <QStandardPaths>

namespace wharf {

LoginItem::LoginItem(QString folder, QString program) : folder(std::move(folder)), program(std::move(program))
{
    if (this->folder.isEmpty())
        this->folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/autostart");
    if (this->program.isEmpty())
        this->program = QCoreApplication::applicationFilePath();
}

QString LoginItem::entryPath() const { return folder + QStringLiteral("/wharf.desktop"); }

bool LoginItem::isEnabled() const
{
    if (!QFileInfo(entryPath()).isFile())
        return false;
    // The keys a session honours for turning an entry off.
    QSettings entry(entryPath(), QSettings::IniFormat);
    entry.beginGroup(QStringLiteral("Desktop Entry"));
    const auto isTrue = [&](const QString& key) {
        return entry.value(key).toString().compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
    };
    const QString gnomeEnabled = entry.value(QStringLiteral("X-GNOME-Autostart-enabled")).toString();
    return !isTrue(QStringLiteral("Hidden")) && gnomeEnabled.compare(QLatin1String("false"), Qt::CaseInsensitive) != 0;
}

Status LoginItem::setEnabled(bool enabled)
{
    const QString path = entryPath();
    if (!enabled) {
        QFile file(path);
        if (file.exists() && !file.remove())
            return Error{QCoreApplication::translate("LoginItem", "%1 could not be removed: %2").arg(path, file.errorString())};
        return {};
    }
    if (!QDir().mkpath(folder) || !QFileInfo(folder).isDir())
        return Error{QCoreApplication::translate("LoginItem", "The folder %1 could not be created.").arg(folder)};
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return Error{QCoreApplication::translate("LoginItem", "%1 could not be written: %2").arg(path, file.errorString())};
    // Exec quoting per the desktop entry spec: the program path in double quotes, escapes doubled.
    QString quoted = program;
    quoted.replace(QLatin1Char('\\'), QLatin1String("\\\\\\\\"))
        .replace(QLatin1Char('"'), QLatin1String("\\\\\""))
        .replace(QLatin1Char('`'), QLatin1String("\\\\`"))
        .replace(QLatin1Char('$'), QLatin1String("\\\\$"));
    const QString text = QStringLiteral("[Desktop Entry]\nType=Application\nName=Wharf\nExec=\"%1\"\n"
                                        "Icon=com.tamberly.Wharf\nTerminal=false\nX-GNOME-Autostart-enabled=true\n")
                             .arg(quoted);
    file.write(text.toUtf8());
    if (!file.commit())
        return Error{QCoreApplication::translate("LoginItem", "%1 could not be written: %2").arg(path, file.errorString())};
    return {};
}

} // namespace wharf
