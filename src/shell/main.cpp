// Process entry and the one place that builds the real desktop services: the recovery helper and
// one-shot modes first, then the command line, then the dock.
#include "platform/x11/dash_to_dock_native_dock.h"
#include "platform/x11/gio_file_trash.h"
#include "platform/x11/gio_trash_volumes.h"
#include "platform/x11/x11_hot_key.h"
#include "platform/x11/desktop_appearance_linux.h"
#include "platform/x11/gio_desktop_entry_locator.h"
#include "platform/x11/gio_folder_watcher.h"
#include "platform/x11/icon_theme_setup.h"
#include "platform/x11/x11_dock_window.h"
#include "platform/x11/x11_window_control.h"
#include "platform/x11/x11_window_stacking.h"
#include "platform/x11/x11_workspace.h"
#include "settings/dock_preferences.h"
#include "shell/app_delegate.h"
#include "shell/list_items_command.h"
#include "takeover/system_dock_integration.h"
#include "trash/trash_directories.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QSettings>
#include <QStringList>

#include <cstdio>

namespace {

constexpr auto helpDescription =
    "Wharf, a dock for the Linux desktop.\n"
    "\n"
    "Without options Wharf shows its dock along the bottom of every display and, when the\n"
    "preference replaceSystemDock is on, hides the desktop's own dock while it runs.\n"
    "Only one Wharf runs per session; a second start exits and leaves the first alone.\n"
    "Scripts can talk to a running Wharf over the session bus (com.tamberly.Wharf).\n"
    "\n"
    "Internal modes, used by Wharf itself and for repairs:\n"
    "  --dock-watchdog <pid> <backup>  Recovery helper: restores the desktop's dock when\n"
    "                                  process <pid> ends without doing so.\n"
    "  --restore-system-dock           Restore the desktop's dock from the backup once, then exit.";

std::unique_ptr<wharf::NativeDock> realNativeDock()
{
    return std::make_unique<wharf::DashToDockNativeDock>();
}

std::unique_ptr<wharf::DockPreferences> userPreferences()
{
    return std::make_unique<wharf::DockPreferences>(
        std::make_shared<QSettings>(wharf::DockPreferences::defaultStorePath(), QSettings::IniFormat));
}

int listItems(int argc, char** argv)
{
    // Nothing is shown, so no window system is needed; the desktop is read over our own X connection.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    wharf::X11Workspace workspace;
    if (!workspace.ok()) {
        std::fprintf(stderr, "wharf: %s\n", qPrintable(workspace.error()));
        return 1;
    }
    const wharf::GioTrashVolumes volumes;
    const auto trashState = [&volumes] {
        const auto directories = wharf::TrashDirectories::userTrashDirectories(volumes);
        return directories ? wharf::TrashDirectories::combinedState(wharf::TrashDirectories::filesFolders(directories.value()))
                           : wharf::TrashState::unknown;
    };
    return wharf::runListItems(workspace, wharf::DockPreferences::defaultStorePath(),
                               [&] { return workspace.connection().lost(); }, trashState);
}

} // namespace

int main(int argc, char** argv)
{
    if (wharf::SystemDockIntegration::handleWatchdogModeIfNeeded(argc, argv, realNativeDock))
        return 0;

    QCoreApplication::setApplicationName(QStringLiteral("wharf"));
    QCoreApplication::setOrganizationName(QStringLiteral("wharf"));
    QCoreApplication::setApplicationVersion(QStringLiteral(WHARF_VERSION));

    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(helpDescription));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    const QCommandLineOption listItemsOption(
        QStringLiteral("list-items"),
        QStringLiteral("Print the dock's items in dock order as JSON lines, then exit."));
    parser.addOption(listItemsOption);

    // Only the one-shot modes are chosen by arguments; anything else Wharf does not know (an
    // unknown option, a stray word, a recovery helper call with a malformed pid) starts the dock.
    const bool understood = parser.parse(arguments) && parser.positionalArguments().isEmpty();
    if (parser.isSet(helpOption) || parser.isSet(versionOption)) {
        // The usage line names the program from the application object's arguments.
        QCoreApplication app(argc, argv);
        if (parser.isSet(helpOption))
            parser.showHelp(0);
        parser.showVersion();
    }
    if (parser.isSet(listItemsOption))
        return listItems(argc, argv);
    if (!understood)
        std::fprintf(stderr, "wharf: ignoring the arguments '%s'; starting the dock.\n",
                     qPrintable(arguments.mid(1).join(QLatin1Char(' '))));

    QString displayError;
    if (!wharf::X11DockWindow::displayReachable(&displayError)) {
        std::fprintf(stderr, "wharf: %s\n", qPrintable(displayError));
        return 1;
    }

    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    std::unique_ptr<wharf::DockPreferences> preferences;
    return wharf::AppDelegate::run(app, [&] {
        wharf::setUpIconTheme();
        preferences = userPreferences();
        wharf::AppDelegate::Parts parts;
        parts.appearance = std::make_unique<wharf::DesktopAppearanceLinux>();
        parts.workspace = std::make_unique<wharf::X11Workspace>();
        parts.preferences = preferences.get();
        parts.integration = std::make_unique<wharf::SystemDockIntegration>(realNativeDock());
        parts.windowSystem = wharf::X11DockWindow::create();
        parts.trashVolumes = std::make_unique<wharf::GioTrashVolumes>();
        parts.fileTrash = std::make_unique<wharf::GioFileTrash>();
        parts.hotKey = wharf::X11HotKey::create();
        auto nativeDock = realNativeDock();
        parts.systemDockSettingsCommand = nativeDock->settingsCommand();
        parts.importer = std::make_unique<wharf::SystemPinsImporter>(
            std::move(nativeDock), std::make_unique<wharf::GioDesktopEntryLocator>());
        parts.folderWatcher = std::make_unique<wharf::GioFolderWatcher>();
        parts.windowControl = std::make_unique<wharf::X11WindowControl>();
        parts.windowStacking = std::make_unique<wharf::X11WindowStacking>();
        return parts;
    });
}
