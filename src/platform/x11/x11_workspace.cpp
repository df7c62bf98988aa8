#include "platform/x11/x11_workspace.h"

#include "platform/x11/desktop_file_actions.h"
#include "platform/x11/gio_event_sources.h"
#include "platform/x11/gio_file_info.h"
#include "platform/x11/process_reader.h"
#include "platform/x11/x11_icon_reader.h"
#include "platform/x11/x11_launcher.h"
#include "platform/x11/x11_window_actions.h"
#include "platform/x11/x11_window_tracker.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPixmap>
#include <QStandardPaths>

#include <unistd.h>

namespace wharf {

Q_LOGGING_CATEGORY(lcWorkspace, "wharf.workspace")

namespace {

constexpr int iconSide = 128; // what the dock draws at full magnification

QString readText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return QString::fromUtf8(file.read(1024 * 1024));
}

// Launches and quits outrank what came before them in the same turn.
std::optional<WorkspaceNotification> merged(std::optional<WorkspaceNotification> pending,
                                            std::optional<WorkspaceNotification> next)
{
    if (!next)
        return pending;
    if (*next == WorkspaceNotification::didLaunchApplication)
        return next;
    if (*next == WorkspaceNotification::didTerminateApplication
        && pending != WorkspaceNotification::didLaunchApplication)
        return next;
    return pending ? pending : next;
}

} // namespace

X11Workspace::X11Workspace(QObject* parent)
    : QObject(parent), connection_(std::make_unique<X11Connection>())
{
    if (!connection_->ok()) {
        error_ = connection_->error();
        return;
    }
    rules_ = MatchRules::defaults();
    const QString userRules = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/wharf/rules.conf");
    QStringList ruleErrors;
    if (QFileInfo::exists(userRules))
        rules_.parse(readText(userRules), userRules, &ruleErrors);
    for (const QString& problem : std::as_const(ruleErrors))
        qCWarning(lcWorkspace).noquote() << "ignoring rule:" << problem;
    index_ = DesktopEntryIndex::fromInstalledEntries(rules_);

    tracker_ = std::make_unique<X11WindowTracker>(*connection_, rules_, index_);
    actions_ = std::make_unique<X11WindowActions>(*connection_, *tracker_);
    iconReader_ = std::make_unique<X11IconReader>(*connection_);
    launcher_ = std::make_unique<X11Launcher>(*connection_, rules_);
    fileInfo_ = std::make_unique<GioFileInfo>(rules_, index_);

    events_ = connection_->events.add([this](const xcb_generic_event_t* event) { handleEvent(event); });
    lostSubscription_ = connection_->connectionLost.add([this] { scanTimer_.stop(); });
    gio_ = std::make_unique<GioEventSources>(GioEventSources::Handlers{
        .mountsChanged =
            [this](bool mounted) {
                (mounted ? pending_.mounted : pending_.unmounted) = true;
                scheduleScan();
            },
        .entriesChanged =
            [this] {
                indexDirty_ = true;
                fileInfo_->forgetDefaults();
                pending_.locationsChanged = true;
                scheduleScan();
            },
        .woke =
            [this] {
                pending_.woke = true;
                // Windows may have changed while asleep without us seeing every event.
                tracker_->markClientListChanged();
                scheduleScan();
            },
        .locationsChanged =
            [this] {
                pending_.locationsChanged = true;
                scheduleScan();
            },
    });

    scanTimer_.setSingleShot(true);
    scanTimer_.setInterval(0);
    connect(&scanTimer_, &QTimer::timeout, this, &X11Workspace::flushNotifications);

    scan();
    if (connection_->lost())
        error_ = QStringLiteral("lost the connection to the X server on display %1").arg(connection_->displayName());
}

X11Workspace::~X11Workspace()
{
    // GIO callbacks hold `this`: stop them before anything else goes.
    gio_.reset();
}

pid_t X11Workspace::currentProcessIdentifier() const { return getpid(); }

void X11Workspace::handleEvent(const xcb_generic_event_t* event)
{
    if (tracker_->handleEvent(event))
        scheduleScan();
}

void X11Workspace::scheduleScan()
{
    if (!scanTimer_.isActive())
        scanTimer_.start();
}

void X11Workspace::watchLocations(const QStringList& paths) { gio_->watchLocations(paths); }

void X11Workspace::flushNotifications()
{
    scan();
    const std::optional<WorkspaceNotification> notification = chooseNotification(pending_);
    pending_ = {};
    if (notification)
        notifications.notify(*notification);
}

void X11Workspace::rescanAll()
{
    tracker_->forgetAll();
    appIcons_.clear();
    scan();
}

void X11Workspace::scan()
{
    if (!connection_->ok() || connection_->lost())
        return;
    if (indexDirty_)
        rebuildIndex();
    tracker_->scan();
    rebuildApplications();
    connection_->flush();
    // Waiting for replies may have pulled events into xcb's queue without waking the socket watch.
    QMetaObject::invokeMethod(connection_.get(), &X11Connection::dispatchPending, Qt::QueuedConnection);
}

void X11Workspace::reloadEntries()
{
    indexDirty_ = true;
    scan();
}

void X11Workspace::rebuildIndex()
{
    indexDirty_ = false;
    index_ = DesktopEntryIndex::fromInstalledEntries(rules_);
    appIcons_.clear();
    tracker_->rematchAll();
}

void X11Workspace::rebuildApplications()
{
    const std::vector<WindowFacts> facts = tracker_->facts(getpid());
    std::vector<RunningApplication> applications = groupApplications(facts, tracker_->activeWindow());

    // Icons: the entry's, else the window's own, read for all windows in one go.
    std::vector<xcb_window_t> iconWindows;
    std::vector<QString> iconKeys;
    QHash<QString, bool> live;
    for (const RunningApplication& app : applications) {
        live.insert(app.key, true);
        const DesktopEntryRecord* entry = app.bundleIdentifier ? index_.byId(*app.bundleIdentifier) : nullptr;
        const WindowFacts* first = nullptr;
        bool iconChanged = false;
        for (const WindowFacts& window : facts) {
            if (window.groupKey != app.key)
                continue;
            first = first ? first : &window;
            iconChanged = iconChanged || tracker_->iconChanged(window.window);
        }
        if (appIcons_.contains(app.key) && !(iconChanged && !entry))
            continue;
        const QIcon themed = entry ? GioFileInfo::entryIcon(*entry) : QIcon();
        if (!themed.isNull()) {
            appIcons_.insert(app.key, themed);
        } else if (first) {
            iconWindows.push_back(first->window);
            iconKeys.push_back(app.key);
        }
    }
    if (!iconWindows.empty()) {
        // Pixmaps need a GUI application; without one (--list-items) a theme icon stands in, unread.
        const bool gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
        const std::vector<QImage> images = gui ? iconReader_->read(iconWindows, iconSide)
                                               : std::vector<QImage>(iconWindows.size());
        for (size_t i = 0; i < images.size(); ++i) {
            appIcons_.insert(iconKeys[i], !images[i].isNull()
                                              ? QIcon(QPixmap::fromImage(images[i]))
                                              : QIcon::fromTheme(QStringLiteral("application-x-executable")));
        }
    }
    tracker_->clearIconChanges();
    for (auto it = appIcons_.begin(); it != appIcons_.end();)
        it = live.contains(it.key()) ? std::next(it) : appIcons_.erase(it);
    for (RunningApplication& app : applications)
        app.icon = appIcons_.value(app.key);

    const auto change = applicationChange(applications_, applications);
    if (!change)
        return; // keep the old snapshots: nothing anyone can see changed
    pending_.applicationChange = merged(pending_.applicationChange, change);
    applications_.clear();
    for (RunningApplication& app : applications)
        applications_.push_back(std::make_shared<const RunningApplication>(std::move(app)));
    launcher_->completeStartups(applications_);
}

// ---- actions ----

Status X11Workspace::activate(const RunningApplication& app, std::uint32_t eventTime)
{
    return actions_->activate(app, eventTime);
}
Status X11Workspace::hide(const RunningApplication& app) { return actions_->hide(app); }
Status X11Workspace::unhide(const RunningApplication& app) { return actions_->unhide(app); }
Status X11Workspace::terminate(const RunningApplication& app) { return actions_->terminate(app); }

Status X11Workspace::launchApplication(const QString& entryPath, const QStringList& uris, std::uint32_t eventTime)
{
    return launcher_->launchApplication(entryPath, uris, eventTime);
}

Status X11Workspace::openLocation(const QString& path, std::uint32_t /*eventTime*/)
{
    return launcher_->openLocation(path);
}

Status X11Workspace::showInFiles(const QString& path) { return DesktopFileActions::showInFiles(path, *launcher_); }

Status X11Workspace::transferFile(const QString& source, const QString& destination, bool copy)
{
    return DesktopFileActions::transferFile(source, destination, copy);
}

void X11Workspace::beep()
{
    if (connection_->lost())
        return;
    xcb_bell(connection_->xcb(), 0);
    connection_->flush();
}

Result<QString> X11Workspace::writeDesktopEntry(const RunningApplication& app)
{
    DesktopFileActions::Program program;
    program.name = app.localizedName;
    program.icon = app.icon;
    for (const WindowFacts& facts : tracker_->facts(getpid())) {
        if (facts.groupKey != app.key)
            continue;
        program.windowClass = !facts.wmClass.isEmpty() ? facts.wmClass : facts.wmInstance;
        if (facts.pid)
            program.commandLine = readProcessInfo(*facts.pid).commandLine;
        if (!program.commandLine.isEmpty())
            break;
    }
    if (program.commandLine.isEmpty() && app.processIdentifier)
        program.commandLine = readProcessInfo(*app.processIdentifier).commandLine;
    auto written = DesktopFileActions::writeDesktopEntry(program);
    // Matched at once, so the running program and its new pin are one tile.
    if (written)
        reloadEntries();
    return written;
}

// ---- files ----

QIcon X11Workspace::iconForFile(const QString& path) const { return fileInfo_->iconForFile(path); }
QString X11Workspace::displayName(const QString& path) const { return fileInfo_->displayName(path); }

std::optional<QString> X11Workspace::bundleIdentifier(const QString& path) const
{
    return fileInfo_->bundleIdentifier(path);
}

std::optional<QString> X11Workspace::fileManagerLocation() const { return fileInfo_->fileManagerLocation(); }
std::optional<QString> X11Workspace::webBrowserLocation() const { return fileInfo_->webBrowserLocation(); }

QString X11Workspace::ownBundleLocation() const
{
    if (const DesktopEntryRecord* entry = index_.byId(QStringLiteral("wharf")))
        return entry->path;
    return QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
}

} // namespace wharf
