#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include "platform/x11/x11_workspace.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QLoggingCategory>
#include <QMimeDatabase>
#include <QPixmap>
#include <QStandardPaths>
#include <QUrl>

#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <unistd.h>

namespace wharf {

Q_LOGGING_CATEGORY(lcWorkspace, "wharf.workspace")

namespace {

template <typename T>
struct GObjectDeleter {
    void operator()(T* object) const
    {
        if (object)
            g_object_unref(object);
    }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectDeleter<T>>;

struct GErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorDeleter>;

struct GCharDeleter {
    void operator()(char* p) const { g_free(p); }
};
using GCharPtr = std::unique_ptr<char, GCharDeleter>;

constexpr uint32_t propertyLengthWords = 1024;
constexpr uint32_t iconLengthWords = 1024 * 1024; // a 1024x1024 icon at most

QString propertyText(const xcb_get_property_reply_t* reply)
{
    if (!reply || reply->type == XCB_ATOM_NONE || reply->format != 8)
        return {};
    const int length = xcb_get_property_value_length(reply);
    QByteArray bytes(static_cast<const char*>(xcb_get_property_value(reply)), length);
    while (bytes.endsWith('\0'))
        bytes.chop(1);
    return QString::fromUtf8(bytes);
}

std::vector<xcb_atom_t> propertyAtoms(const xcb_get_property_reply_t* reply)
{
    if (!reply || reply->format != 32)
        return {};
    const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply));
    const int count = xcb_get_property_value_length(reply) / 4;
    return std::vector<xcb_atom_t>(atoms, atoms + count);
}

QIcon iconFromNames(const QStringList& names)
{
    for (const QString& name : names) {
        if (name.startsWith(QLatin1Char('/'))) {
            QIcon icon(name);
            if (!icon.isNull())
                return icon;
        } else if (QIcon::hasThemeIcon(name)) {
            return QIcon::fromTheme(name);
        }
    }
    return {};
}

QIcon iconFromGIcon(GIcon* icon)
{
    if (G_IS_THEMED_ICON(icon)) {
        QStringList names;
        for (const char* const* name = g_themed_icon_get_names(G_THEMED_ICON(icon)); name && *name; ++name)
            names << QString::fromUtf8(*name);
        return iconFromNames(names);
    }
    if (G_IS_FILE_ICON(icon)) {
        GCharPtr path(g_file_get_path(g_file_icon_get_file(G_FILE_ICON(icon))));
        if (path)
            return QIcon(QString::fromLocal8Bit(path.get()));
    }
    return {};
}

std::optional<QString> entryPath(GAppInfo* info)
{
    if (!info || !G_IS_DESKTOP_APP_INFO(info))
        return std::nullopt;
    const char* filename = g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(info));
    return filename ? std::optional<QString>(QString::fromLocal8Bit(filename)) : std::nullopt;
}

QString fileUri(const QString& pathOrUri)
{
    if (pathOrUri.startsWith(QLatin1Char('/')))
        return QUrl::fromLocalFile(pathOrUri).toString(QUrl::FullyEncoded);
    return pathOrUri;
}

QString readText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return QString::fromUtf8(file.read(1024 * 1024));
}

} // namespace

// ---- GIO event sources ----

struct X11Workspace::GioSources {
    GObjectPtr<GVolumeMonitor> volumes;
    GObjectPtr<GAppInfoMonitor> entries;
    GObjectPtr<GCancellable> cancellable{g_cancellable_new()};
    GObjectPtr<GDBusConnection> systemBus;
    guint sleepSubscription = 0;
    X11Workspace* owner = nullptr;

    static void mountAdded(GVolumeMonitor*, GMount*, gpointer self)
    {
        static_cast<X11Workspace*>(self)->noteMountsChanged(true);
    }
    static void mountRemoved(GVolumeMonitor*, GMount*, gpointer self)
    {
        static_cast<X11Workspace*>(self)->noteMountsChanged(false);
    }
    static void entriesChanged(GAppInfoMonitor*, gpointer self)
    {
        static_cast<X11Workspace*>(self)->noteEntriesChanged();
    }
    static void prepareForSleep(GDBusConnection*, const char*, const char*, const char*, const char*,
                                GVariant* parameters, gpointer self)
    {
        gboolean sleeping = TRUE;
        if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(b)")))
            g_variant_get(parameters, "(b)", &sleeping);
        if (!sleeping)
            static_cast<X11Workspace*>(self)->noteWake();
    }
    static void systemBusReady(GObject*, GAsyncResult* result, gpointer data)
    {
        GError* rawError = nullptr;
        GDBusConnection* bus = g_bus_get_finish(result, &rawError);
        const GErrorPtr error(rawError);
        if (!bus) {
            // Cancelled means the workspace is gone: `data` must not be touched.
            if (error && !g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED))
                qCDebug(lcWorkspace) << "no system bus, wake notifications off:" << error->message;
            return;
        }
        auto* sources = static_cast<GioSources*>(data);
        sources->systemBus.reset(bus);
        sources->sleepSubscription = g_dbus_connection_signal_subscribe(
            bus, "org.freedesktop.login1", "org.freedesktop.login1.Manager", "PrepareForSleep",
            "/org/freedesktop/login1", nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &GioSources::prepareForSleep,
            sources->owner, nullptr);
    }

    explicit GioSources(X11Workspace* workspace) : owner(workspace)
    {
        volumes.reset(g_volume_monitor_get());
        g_signal_connect(volumes.get(), "mount-added", G_CALLBACK(&GioSources::mountAdded), owner);
        g_signal_connect(volumes.get(), "mount-removed", G_CALLBACK(&GioSources::mountRemoved), owner);
        entries.reset(g_app_info_monitor_get());
        g_signal_connect(entries.get(), "changed", G_CALLBACK(&GioSources::entriesChanged), owner);
        g_bus_get(G_BUS_TYPE_SYSTEM, cancellable.get(), &GioSources::systemBusReady, this);
    }

    ~GioSources()
    {
        g_cancellable_cancel(cancellable.get());
        g_signal_handlers_disconnect_by_data(volumes.get(), owner);
        g_signal_handlers_disconnect_by_data(entries.get(), owner);
        if (systemBus && sleepSubscription)
            g_dbus_connection_signal_unsubscribe(systemBus.get(), sleepSubscription);
    }
};

// ---- construction ----

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
    if (QFileInfo::exists(userRules))
        rules_.parse(readText(userRules), userRules, &ruleErrors_);
    for (const QString& problem : std::as_const(ruleErrors_))
        qCWarning(lcWorkspace).noquote() << "ignoring rule:" << problem;
    index_ = DesktopEntryIndex::fromInstalledEntries(rules_);

    events_ = connection_->events.add([this](const xcb_generic_event_t* event) { handleEvent(event); });
    lostSubscription_ = connection_->connectionLost.add([this] { scanTimer_.stop(); });
    gio_ = std::make_unique<GioSources>(this);

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
    if (startupWindow_ != XCB_WINDOW_NONE && !connection_->lost()) {
        xcb_destroy_window(connection_->xcb(), startupWindow_);
        connection_->flush();
    }
}

pid_t X11Workspace::currentProcessIdentifier() const { return getpid(); }

// ---- events ----

void X11Workspace::handleEvent(const xcb_generic_event_t* event)
{
    const uint8_t type = event->response_type & ~0x80;
    if (type == XCB_PROPERTY_NOTIFY) {
        const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event);
        xcb_ewmh_connection_t* ewmh = connection_->ewmh();
        const auto& atoms = connection_->atoms();
        if (notify->window == connection_->root()) {
            if (notify->atom == ewmh->_NET_CLIENT_LIST)
                clientListDirty_ = true;
            else if (notify->atom == ewmh->_NET_ACTIVE_WINDOW)
                activeDirty_ = true;
            else if (notify->atom != ewmh->_NET_CURRENT_DESKTOP)
                return;
            scheduleScan();
            return;
        }
        const auto it = windows_.find(notify->window);
        if (it == windows_.end())
            return;
        WindowRecord& record = it->second;
        if (notify->atom == XCB_ATOM_WM_CLASS || notify->atom == ewmh->_NET_WM_PID
            || notify->atom == atoms.gtkApplicationId || notify->atom == atoms.kdeDesktopFile)
            record.identityDirty = true;
        else if (notify->atom == ewmh->_NET_WM_STATE || notify->atom == atoms.wmState
                 || notify->atom == ewmh->_NET_WM_WINDOW_TYPE)
            record.stateDirty = true;
        else if (notify->atom == ewmh->_NET_WM_ICON)
            record.iconDirty = true;
        else
            return;
        scheduleScan();
    } else if (type == XCB_DESTROY_NOTIFY) {
        const auto* notify = reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
        if (windows_.count(notify->window)) {
            clientListDirty_ = true;
            scheduleScan();
        }
    }
}

void X11Workspace::scheduleScan()
{
    if (!scanTimer_.isActive())
        scanTimer_.start();
}

void X11Workspace::noteMountsChanged(bool mounted)
{
    (mounted ? pendingMount_ : pendingUnmount_) = true;
    scheduleScan();
}

void X11Workspace::noteEntriesChanged()
{
    indexDirty_ = true;
    scheduleScan();
}

void X11Workspace::watchLocations(const QStringList& paths)
{
    // Not watched yet: the model's refresh timer still covers pinned locations.
    watchedLocations_ = paths;
}

void X11Workspace::noteWake()
{
    pendingWake_ = true;
    // Windows may have changed while asleep without us seeing every event.
    clientListDirty_ = true;
    scheduleScan();
}

void X11Workspace::noteLaunched(pid_t pid)
{
    qCDebug(lcWorkspace) << "launched process" << pid;
}

void X11Workspace::flushNotifications()
{
    scan();
    std::optional<WorkspaceNotification> notification;
    if (pendingMount_)
        notification = WorkspaceNotification::didMount;
    else if (pendingUnmount_)
        notification = WorkspaceNotification::didUnmount;
    else if (pendingApplicationChange_)
        notification = pendingApplicationChange_;
    else if (pendingWake_)
        notification = WorkspaceNotification::didWake;
    pendingMount_ = pendingUnmount_ = pendingWake_ = false;
    pendingApplicationChange_.reset();
    // One notification per turn: every kind makes the model refresh, and mounts clear its caches too.
    if (notification)
        notifications.notify(*notification);
}

// ---- scanning ----

void X11Workspace::rescanAll()
{
    windows_.clear();
    processes_.clear();
    clientList_.clear();
    appIcons_.clear();
    clientListDirty_ = activeDirty_ = true;
    scan();
}

void X11Workspace::scan()
{
    if (!ok() && !connection_->ok())
        return;
    if (connection_->lost())
        return;
    if (indexDirty_)
        rebuildIndex();
    if (clientListDirty_)
        readClientList();
    if (activeDirty_)
        readActiveWindow();

    readWindowProperties();
    matchWindows();
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
    for (auto& [window, record] : windows_)
        record.needsMatch = true;
}

void X11Workspace::readClientList()
{
    clientListDirty_ = false;
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    xcb_ewmh_get_windows_reply_t list{};
    const auto cookie = xcb_ewmh_get_client_list(ewmh, connection_->screenNumber());
    std::vector<xcb_window_t> windows;
    if (xcb_ewmh_get_client_list_reply(ewmh, cookie, &list, nullptr)) {
        windows.assign(list.windows, list.windows + list.windows_len);
        xcb_ewmh_get_windows_reply_wipe(&list);
    } else {
        // No list (a window manager restarting, or none at all): keep what we knew;
        // windows that are gone drop out when reading them fails.
        windows = clientList_;
    }
    std::unordered_map<xcb_window_t, WindowRecord> kept;
    for (xcb_window_t window : windows) {
        if (kept.count(window))
            continue;
        const auto it = windows_.find(window);
        if (it != windows_.end()) {
            kept.emplace(window, std::move(it->second));
        } else {
            WindowRecord record;
            record.metadata.window = window;
            kept.emplace(window, std::move(record));
            connection_->watchProperties(window, true);
        }
    }
    windows.erase(std::remove_if(windows.begin(), windows.end(),
                                 [&, seen = std::unordered_map<xcb_window_t, bool>()](xcb_window_t w) mutable {
                                     return std::exchange(seen[w], true);
                                 }),
                  windows.end());
    windows_ = std::move(kept);
    clientList_ = std::move(windows);
}

void X11Workspace::readActiveWindow()
{
    activeDirty_ = false;
    xcb_window_t active = XCB_WINDOW_NONE;
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    if (!xcb_ewmh_get_active_window_reply(ewmh, xcb_ewmh_get_active_window(ewmh, connection_->screenNumber()),
                                          &active, nullptr))
        active = XCB_WINDOW_NONE;
    activeWindow_ = active;
    const auto it = windows_.find(active);
    if (it != windows_.end())
        it->second.focusSequence = ++focusCounter_;
}

void X11Workspace::readWindowProperties()
{
    xcb_connection_t* c = connection_->xcb();
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    const auto& atoms = connection_->atoms();
    struct Pending {
        xcb_window_t window;
        bool identity;
        bool state;
        xcb_get_property_cookie_t wmClass, pid, gtkId, kdeFile, wmCommand, type, netState, wmState;
    };
    std::vector<Pending> pending;
    // Send every request first, then collect: one round trip for all windows.
    for (xcb_window_t window : clientList_) {
        WindowRecord& record = windows_.at(window);
        if (!record.identityDirty && !record.stateDirty)
            continue;
        Pending p{window, record.identityDirty, record.stateDirty, {}, {}, {}, {}, {}, {}, {}, {}};
        auto get = [&](xcb_atom_t property, xcb_atom_t type) {
            return xcb_get_property(c, 0, window, property, type, 0, propertyLengthWords);
        };
        if (p.identity) {
            p.wmClass = get(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
            p.pid = get(ewmh->_NET_WM_PID, XCB_ATOM_CARDINAL);
            p.gtkId = get(atoms.gtkApplicationId, XCB_GET_PROPERTY_TYPE_ANY);
            p.kdeFile = get(atoms.kdeDesktopFile, XCB_GET_PROPERTY_TYPE_ANY);
            p.wmCommand = get(XCB_ATOM_WM_COMMAND, XCB_ATOM_STRING);
        }
        if (p.state) {
            p.type = get(ewmh->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM);
            p.netState = get(ewmh->_NET_WM_STATE, XCB_ATOM_ATOM);
            p.wmState = get(atoms.wmState, atoms.wmState);
        }
        pending.push_back(p);
    }
    std::vector<xcb_window_t> vanished;
    for (const Pending& p : pending) {
        WindowRecord& record = windows_.at(p.window);
        bool gone = false;
        auto reply = [&](xcb_get_property_cookie_t cookie) {
            xcb_generic_error_t* error = nullptr;
            auto result = xcbReply(xcb_get_property_reply(c, cookie, &error));
            if (error) {
                gone = gone || error->error_code == XCB_WINDOW;
                std::free(error);
            }
            return result;
        };
        if (p.identity) {
            WindowMetadata& metadata = record.metadata;
            const auto wmClassReply = reply(p.wmClass);
            std::tie(metadata.wmInstance, metadata.wmClass) = wmClassReply && wmClassReply->format == 8
                ? parseWmClass(QByteArray(static_cast<const char*>(xcb_get_property_value(wmClassReply.get())),
                                          xcb_get_property_value_length(wmClassReply.get())))
                : std::pair<QString, QString>();
            const auto pidReply = reply(p.pid);
            const pid_t pid = pidReply && pidReply->format == 32 && xcb_get_property_value_length(pidReply.get()) >= 4
                ? static_cast<pid_t>(*static_cast<const uint32_t*>(xcb_get_property_value(pidReply.get())))
                : 0;
            metadata.pid = pid;
            metadata.gtkApplicationId = propertyText(reply(p.gtkId).get());
            metadata.kdeDesktopFile = propertyText(reply(p.kdeFile).get());
            const auto command = reply(p.wmCommand);
            record.wmCommand = command && command->format == 8
                ? splitNulSeparated(QByteArray(static_cast<const char*>(xcb_get_property_value(command.get())),
                                               xcb_get_property_value_length(command.get())))
                : QStringList();
            record.identityDirty = false;
            record.needsMatch = true;
        }
        if (p.state) {
            const auto types = propertyAtoms(reply(p.type).get());
            record.regularType = true;
            for (xcb_atom_t t : types) {
                if (t == ewmh->_NET_WM_WINDOW_TYPE_NORMAL || t == ewmh->_NET_WM_WINDOW_TYPE_DIALOG)
                    break;
                if (t == ewmh->_NET_WM_WINDOW_TYPE_DOCK || t == ewmh->_NET_WM_WINDOW_TYPE_DESKTOP
                    || t == ewmh->_NET_WM_WINDOW_TYPE_MENU || t == ewmh->_NET_WM_WINDOW_TYPE_TOOLBAR
                    || t == ewmh->_NET_WM_WINDOW_TYPE_SPLASH || t == ewmh->_NET_WM_WINDOW_TYPE_UTILITY
                    || t == ewmh->_NET_WM_WINDOW_TYPE_DROPDOWN_MENU || t == ewmh->_NET_WM_WINDOW_TYPE_POPUP_MENU
                    || t == ewmh->_NET_WM_WINDOW_TYPE_TOOLTIP || t == ewmh->_NET_WM_WINDOW_TYPE_NOTIFICATION
                    || t == ewmh->_NET_WM_WINDOW_TYPE_COMBO || t == ewmh->_NET_WM_WINDOW_TYPE_DND) {
                    record.regularType = false;
                    break;
                }
            }
            const auto states = propertyAtoms(reply(p.netState).get());
            record.skipTaskbar = std::find(states.begin(), states.end(), ewmh->_NET_WM_STATE_SKIP_TASKBAR) != states.end();
            bool hidden = std::find(states.begin(), states.end(), ewmh->_NET_WM_STATE_HIDDEN) != states.end();
            const auto wmState = reply(p.wmState);
            if (wmState && wmState->format == 32 && xcb_get_property_value_length(wmState.get()) >= 4)
                hidden = hidden || *static_cast<const uint32_t*>(xcb_get_property_value(wmState.get()))
                        == XCB_ICCCM_WM_STATE_ICONIC;
            record.hidden = hidden;
            record.stateDirty = false;
        }
        if (gone)
            vanished.push_back(p.window);
    }
    for (xcb_window_t window : vanished) {
        windows_.erase(window);
        clientList_.erase(std::remove(clientList_.begin(), clientList_.end(), window), clientList_.end());
    }
}

void X11Workspace::matchWindows()
{
    std::unordered_map<pid_t, bool> alive;
    for (xcb_window_t window : clientList_) {
        WindowRecord& record = windows_.at(window);
        const pid_t pid = record.metadata.pid;
        alive[pid] = true;
        if (!record.needsMatch)
            continue;
        record.needsMatch = false;
        if (pid > 0) {
            auto it = processes_.find(pid);
            if (it == processes_.end())
                it = processes_.emplace(pid, readProcessInfo(pid)).first;
            applyProcessInfo(it->second, record.metadata);
        } else {
            // Old Xt clients name no pid but still say what command started them.
            record.metadata.commandLine = record.wmCommand;
        }
        // Another user's process hides its executable; its command line still names it.
        if (record.metadata.executable.isEmpty() && !record.metadata.commandLine.isEmpty()) {
            GCharPtr found(g_find_program_in_path(record.metadata.commandLine.first().toLocal8Bit().constData()));
            record.metadata.executable
                = found ? QFileInfo(QString::fromLocal8Bit(found.get())).canonicalFilePath() : QString();
        }
        const MatchResult match = matchWindow(record.metadata, index_, rules_);
        record.groupKey = match.groupKey;
        record.entryId = match.entry ? match.entry->id : QString();
    }
    for (auto it = processes_.begin(); it != processes_.end();) {
        if (alive.count(it->first))
            ++it;
        else
            it = processes_.erase(it);
    }
}

QIcon X11Workspace::entryIcon(const DesktopEntryRecord& entry) const
{
    if (entry.iconName.isEmpty())
        return {};
    return iconFromNames({entry.iconName});
}

QIcon X11Workspace::windowIcon(xcb_get_property_cookie_t cookie)
{
    auto reply = xcbReply(xcb_get_property_reply(connection_->xcb(), cookie, nullptr));
    QIcon icon;
    // Pixmaps need a GUI application; without one the caller falls back to a theme icon.
    if (!reply || reply->format != 32 || !qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return icon;
    const auto* data = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
    const size_t words = static_cast<size_t>(xcb_get_property_value_length(reply.get())) / 4;
    size_t at = 0;
    // Each image is width, height, then width*height ARGB pixels; stop at anything inconsistent.
    while (at + 2 <= words) {
        const uint32_t width = data[at];
        const uint32_t height = data[at + 1];
        at += 2;
        if (width == 0 || height == 0 || width > 1024 || height > 1024 || words - at < size_t(width) * height)
            break;
        QImage image(static_cast<int>(width), static_cast<int>(height), QImage::Format_ARGB32);
        for (uint32_t y = 0; y < height; ++y)
            std::copy_n(data + at + size_t(y) * width, width, reinterpret_cast<uint32_t*>(image.scanLine(int(y))));
        icon.addPixmap(QPixmap::fromImage(image));
        at += size_t(width) * height;
    }
    return icon;
}

void X11Workspace::rebuildApplications()
{
    struct Group {
        QString key;
        QString entryId;
        std::vector<const WindowRecord*> windows;
    };
    std::vector<Group> groups;
    QHash<QString, size_t> groupIndex;
    const pid_t self = getpid();
    for (xcb_window_t window : clientList_) {
        const WindowRecord& record = windows_.at(window);
        if (record.metadata.pid == self || record.groupKey.isEmpty())
            continue;
        auto it = groupIndex.constFind(record.groupKey);
        if (it == groupIndex.cend()) {
            it = groupIndex.insert(record.groupKey, groups.size());
            groups.push_back({record.groupKey, record.entryId, {}});
        }
        groups[*it].windows.push_back(&record);
    }

    // Icons first, all window icons in one round trip.
    QHash<QString, xcb_get_property_cookie_t> iconRequests;
    for (const Group& group : groups) {
        const DesktopEntryRecord* entry = group.entryId.isEmpty() ? nullptr : index_.byId(group.entryId);
        const bool iconDirty = std::any_of(group.windows.begin(), group.windows.end(),
                                           [](const WindowRecord* r) { return r->iconDirty; });
        if (appIcons_.contains(group.key) && !(iconDirty && !entry))
            continue;
        const QIcon themed = entry ? entryIcon(*entry) : QIcon();
        if (!themed.isNull()) {
            appIcons_.insert(group.key, themed);
            continue;
        }
        iconRequests.insert(group.key,
                            xcb_get_property(connection_->xcb(), 0, group.windows.front()->metadata.window,
                                             connection_->ewmh()->_NET_WM_ICON, XCB_ATOM_CARDINAL, 0,
                                             iconLengthWords));
    }
    for (auto it = iconRequests.cbegin(); it != iconRequests.cend(); ++it) {
        QIcon made = windowIcon(it.value());
        if (made.isNull())
            made = QIcon::fromTheme(QStringLiteral("application-x-executable"));
        appIcons_.insert(it.key(), made);
    }

    std::vector<RunningApplicationRef> applications;
    applications.reserve(groups.size());
    for (const Group& group : groups) {
        auto app = std::make_shared<RunningApplication>();
        app->key = group.key;
        const WindowRecord* focus = group.windows.front();
        bool anyRegular = false;
        bool allHidden = true;
        for (const WindowRecord* record : group.windows) {
            if (record->metadata.window == activeWindow_)
                app->isActive = true;
            if (record->focusSequence > focus->focusSequence)
                focus = record;
            if (record->regularType && !record->skipTaskbar) {
                anyRegular = true;
                allHidden = allHidden && record->hidden;
            }
        }
        if (!anyRegular) {
            allHidden = std::all_of(group.windows.begin(), group.windows.end(),
                                    [](const WindowRecord* r) { return r->hidden; });
        }
        app->isRegular = anyRegular;
        app->isHidden = allHidden;
        app->processIdentifier = focus->metadata.pid;
        if (app->processIdentifier <= 0) {
            for (const WindowRecord* record : group.windows) {
                if (record->metadata.pid > 0) {
                    app->processIdentifier = record->metadata.pid;
                    break;
                }
            }
        }
        const DesktopEntryRecord* entry = group.entryId.isEmpty() ? nullptr : index_.byId(group.entryId);
        const WindowMetadata& metadata = focus->metadata;
        if (entry) {
            app->bundleLocation = entry->path;
            app->bundleIdentifier = entry->id;
            app->localizedName = entry->name;
        } else {
            for (const WindowRecord* record : group.windows) {
                if (!record->metadata.executable.isEmpty()) {
                    app->bundleLocation = record->metadata.executable;
                    break;
                }
            }
            app->localizedName = !metadata.wmClass.isEmpty() ? metadata.wmClass
                : !metadata.wmInstance.isEmpty()            ? metadata.wmInstance
                : app->bundleLocation                       ? QFileInfo(*app->bundleLocation).fileName()
                                                            : QString();
        }
        app->icon = appIcons_.value(group.key);
        applications.push_back(std::move(app));
    }
    for (auto& [window, record] : windows_)
        record.iconDirty = false;
    for (auto it = appIcons_.begin(); it != appIcons_.end();) {
        if (groupIndex.contains(it.key()))
            ++it;
        else
            it = appIcons_.erase(it);
    }

    // What changed, for the one notification of this turn; launches and quits count most.
    QHash<QString, const RunningApplication*> before;
    for (const auto& app : applications_)
        before.insert(app->key, app.get());
    bool launched = false, terminated = false, activated = false, hid = false, unhid = false;
    bool same = applications.size() == applications_.size();
    for (size_t i = 0; i < applications.size(); ++i) {
        const RunningApplication& now = *applications[i];
        const RunningApplication* old = before.value(now.key);
        if (!old) {
            launched = true;
            same = false;
            continue;
        }
        activated = activated || (now.isActive && !old->isActive);
        hid = hid || (now.isHidden && !old->isHidden);
        unhid = unhid || (!now.isHidden && old->isHidden);
        same = same && applications_[i]->key == now.key && old->processIdentifier == now.processIdentifier
            && old->isActive == now.isActive && old->isHidden == now.isHidden && old->isRegular == now.isRegular
            && old->bundleLocation == now.bundleLocation && old->localizedName == now.localizedName
            && old->icon.cacheKey() == now.icon.cacheKey();
    }
    for (const auto& app : applications_)
        terminated = terminated || !groupIndex.contains(app->key);
    if (same && !terminated)
        return; // keep the old snapshots: nothing anyone can see changed
    if (launched)
        pendingApplicationChange_ = WorkspaceNotification::didLaunchApplication;
    else if (terminated && pendingApplicationChange_ != WorkspaceNotification::didLaunchApplication)
        pendingApplicationChange_ = WorkspaceNotification::didTerminateApplication;
    else if (!pendingApplicationChange_) {
        if (activated)
            pendingApplicationChange_ = WorkspaceNotification::didActivateApplication;
        else if (hid)
            pendingApplicationChange_ = WorkspaceNotification::didHideApplication;
        else if (unhid)
            pendingApplicationChange_ = WorkspaceNotification::didUnhideApplication;
        else
            pendingApplicationChange_ = WorkspaceNotification::didActivateApplication;
    }
    applications_ = std::move(applications);
    completeStartups();
}

void X11Workspace::completeStartups()
{
    for (auto it = pendingStartups_.begin(); it != pendingStartups_.end();) {
        const bool running = std::any_of(applications_.begin(), applications_.end(),
                                         [&](const RunningApplicationRef& app) { return app->bundleIdentifier == it.key(); });
        if (running) {
            sendStartupMessage(QStringLiteral("remove: ID=\"%1\"").arg(it.value()));
            it = pendingStartups_.erase(it);
        } else {
            ++it;
        }
    }
}

// ---- actions ----

std::vector<xcb_window_t> X11Workspace::windowsOf(const RunningApplication& app, QString* error) const
{
    std::vector<xcb_window_t> result;
    for (xcb_window_t window : clientList_) {
        if (windows_.at(window).groupKey == app.key)
            result.push_back(window);
    }
    if (result.empty() && error)
        *error = QStringLiteral("%1 is no longer running").arg(app.localizedName);
    return result;
}

std::vector<xcb_window_t> X11Workspace::stackingOrder()
{
    xcb_ewmh_connection_t* ewmh = connection_->ewmh();
    xcb_ewmh_get_windows_reply_t list{};
    std::vector<xcb_window_t> windows;
    if (xcb_ewmh_get_client_list_stacking_reply(
            ewmh, xcb_ewmh_get_client_list_stacking(ewmh, connection_->screenNumber()), &list, nullptr)) {
        windows.assign(list.windows, list.windows + list.windows_len);
        xcb_ewmh_get_windows_reply_wipe(&list);
    }
    return windows;
}

bool X11Workspace::activate(const RunningApplication& app, QString* error)
{
    std::vector<xcb_window_t> windows = windowsOf(app, error);
    if (windows.empty())
        return false;
    // Raise in the current stacking order, bottom first, and end on the window used last.
    const std::vector<xcb_window_t> stacking = stackingOrder();
    auto position = [&](xcb_window_t w) {
        return std::find(stacking.begin(), stacking.end(), w) - stacking.begin();
    };
    std::stable_sort(windows.begin(), windows.end(), [&](xcb_window_t a, xcb_window_t b) {
        const auto& ra = windows_.at(a);
        const auto& rb = windows_.at(b);
        if (ra.focusSequence != rb.focusSequence && (ra.focusSequence == focusCounter_ || rb.focusSequence == focusCounter_))
            return rb.focusSequence == focusCounter_;
        if (ra.focusSequence != rb.focusSequence)
            return ra.focusSequence < rb.focusSequence;
        return position(a) < position(b);
    });
    for (xcb_window_t window : windows) {
        const WindowRecord& record = windows_.at(window);
        if (!record.regularType || record.skipTaskbar)
            continue;
        xcb_ewmh_request_change_active_window(connection_->ewmh(), connection_->screenNumber(), window,
                                              XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, XCB_CURRENT_TIME, activeWindow_);
    }
    connection_->flush();
    return !connection_->lost();
}

bool X11Workspace::hide(const RunningApplication& app, QString* error)
{
    const std::vector<xcb_window_t> windows = windowsOf(app, error);
    if (windows.empty())
        return false;
    for (xcb_window_t window : windows) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = connection_->atoms().wmChangeState;
        message.data.data32[0] = XCB_ICCCM_WM_STATE_ICONIC;
        xcb_send_event(connection_->xcb(), 0, connection_->root(),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&message));
    }
    connection_->flush();
    return !connection_->lost();
}

bool X11Workspace::unhide(const RunningApplication& app, QString* error)
{
    std::vector<xcb_window_t> windows = windowsOf(app, error);
    if (windows.empty())
        return false;
    std::stable_sort(windows.begin(), windows.end(), [&](xcb_window_t a, xcb_window_t b) {
        return windows_.at(a).focusSequence < windows_.at(b).focusSequence;
    });
    // Restoring goes through the window manager, which also raises what it restores.
    for (xcb_window_t window : windows) {
        if (windows_.at(window).hidden)
            xcb_ewmh_request_change_active_window(connection_->ewmh(), connection_->screenNumber(), window,
                                                  XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, XCB_CURRENT_TIME,
                                                  activeWindow_);
    }
    connection_->flush();
    return !connection_->lost();
}

bool X11Workspace::terminate(const RunningApplication& app, QString* error)
{
    const std::vector<xcb_window_t> windows = windowsOf(app, error);
    if (windows.empty())
        return false;
    for (xcb_window_t window : windows)
        xcb_ewmh_request_close_window(connection_->ewmh(), connection_->screenNumber(), window, XCB_CURRENT_TIME,
                                      XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
    connection_->flush();
    return !connection_->lost();
}

// ---- launching ----

namespace {

void launchedCallback(GDesktopAppInfo*, GPid pid, gpointer self)
{
    static_cast<X11Workspace*>(self)->noteLaunched(static_cast<pid_t>(pid));
}

} // namespace

void X11Workspace::sendStartupNotification(const QString& id, const DesktopEntryRecord& entry)
{
    auto quoted = [](QString value) {
        value.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
        return QLatin1Char('"') + value + QLatin1Char('"');
    };
    QString text = QStringLiteral("new: ID=%1 NAME=%2 SCREEN=%3")
                       .arg(quoted(id), quoted(entry.name))
                       .arg(connection_->screenNumber());
    if (!entry.iconName.isEmpty())
        text += QStringLiteral(" ICON=") + quoted(entry.iconName);
    if (!entry.startupWMClass.isEmpty())
        text += QStringLiteral(" WMCLASS=") + quoted(entry.startupWMClass);
    if (!entry.program.isEmpty())
        text += QStringLiteral(" BIN=") + quoted(entry.program);
    sendStartupMessage(text);
    // Many programs never say they are ready; the dock says so once their windows show.
    pendingStartups_.insert(entry.id, id);
}

void X11Workspace::sendStartupMessage(const QString& text)
{
    xcb_connection_t* c = connection_->xcb();
    if (startupWindow_ == XCB_WINDOW_NONE) {
        startupWindow_ = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, startupWindow_, connection_->root(), -100, -100, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    }
    QByteArray bytes = text.toUtf8();
    bytes.append('\0');
    // The message travels in 20-byte pieces: the first typed _BEGIN, the rest not.
    for (qsizetype offset = 0; offset < bytes.size(); offset += 20) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 8;
        message.window = startupWindow_;
        message.type = offset == 0 ? connection_->atoms().startupInfoBegin : connection_->atoms().startupInfo;
        std::copy_n(bytes.constData() + offset, std::min<qsizetype>(20, bytes.size() - offset), message.data.data8);
        xcb_send_event(c, 0, connection_->root(), XCB_EVENT_MASK_PROPERTY_CHANGE,
                       reinterpret_cast<const char*>(&message));
    }
    connection_->flush();
}

bool X11Workspace::launchApplication(const QString& entryPath, const QStringList& uris, QString* error)
{
    GObjectPtr<GDesktopAppInfo> info(g_desktop_app_info_new_from_filename(entryPath.toLocal8Bit().constData()));
    if (!info) {
        if (error)
            *error = QFileInfo::exists(entryPath)
                ? QStringLiteral("\"%1\" is not a usable desktop entry (malformed, hidden or its program is missing)").arg(entryPath)
                : QStringLiteral("\"%1\" does not exist").arg(entryPath);
        return false;
    }
    GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    // Launched programs must not inherit Wharf's own startup id; those that ask for
    // startup notification get one of their own.
    g_app_launch_context_unsetenv(context.get(), "DESKTOP_STARTUP_ID");
    const auto record = DesktopEntryIndex::recordForFile(entryPath, rules_);
    if (record && g_desktop_app_info_get_boolean(info.get(), "StartupNotify") && !connection_->lost()) {
        const QString id = QStringLiteral("wharf-%1-%2_TIME0").arg(getpid()).arg(++launchCounter_);
        g_app_launch_context_setenv(context.get(), "DESKTOP_STARTUP_ID", id.toUtf8().constData());
        sendStartupNotification(id, *record);
    }
    GList* list = nullptr;
    std::vector<QByteArray> storage;
    storage.reserve(static_cast<size_t>(uris.size()));
    for (const QString& uri : uris) {
        storage.push_back(fileUri(uri).toUtf8());
        list = g_list_append(list, const_cast<char*>(storage.back().constData()));
    }
    GError* rawError = nullptr;
    const gboolean launched = g_desktop_app_info_launch_uris_as_manager(
        info.get(), list, context.get(), G_SPAWN_SEARCH_PATH, nullptr, nullptr, &launchedCallback, this, &rawError);
    g_list_free(list);
    const GErrorPtr failure(rawError);
    if (!launched) {
        if (error)
            *error = QStringLiteral("could not start \"%1\": %2")
                         .arg(record ? record->name : entryPath, failure ? QString::fromUtf8(failure->message)
                                                                       : QStringLiteral("unknown error"));
        return false;
    }
    return true;
}

bool X11Workspace::openLocation(const QString& path, QString* error)
{
    const QByteArray uri = fileUri(path).toUtf8();
    GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    GError* rawError = nullptr;
    if (g_app_info_launch_default_for_uri(uri.constData(), context.get(), &rawError))
        return true;
    const GErrorPtr failure(rawError);
    if (error)
        *error = QStringLiteral("could not open \"%1\": %2")
                     .arg(path, failure ? QString::fromUtf8(failure->message) : QStringLiteral("unknown error"));
    return false;
}

// ---- files ----

QIcon X11Workspace::iconForFile(const QString& path) const
{
    if (path.endsWith(QLatin1String(".desktop"))) {
        const DesktopEntryRecord* entry = index_.byPath(path);
        std::optional<DesktopEntryRecord> read;
        if (!entry && (read = DesktopEntryIndex::recordForFile(path, rules_)))
            entry = &*read;
        QIcon icon = entry ? entryIcon(*entry) : QIcon();
        return icon.isNull() ? QIcon::fromTheme(QStringLiteral("application-x-executable")) : icon;
    }
    GObjectPtr<GFile> file(g_file_new_for_path(path.toLocal8Bit().constData()));
    GObjectPtr<GFileInfo> info(g_file_query_info(file.get(), G_FILE_ATTRIBUTE_STANDARD_ICON, G_FILE_QUERY_INFO_NONE,
                                                 nullptr, nullptr));
    if (info) {
        if (GIcon* gicon = g_file_info_get_icon(info.get())) {
            QIcon icon = iconFromGIcon(gicon);
            if (!icon.isNull())
                return icon;
        }
    }
    if (QFileInfo(path).isDir())
        return QIcon::fromTheme(QStringLiteral("folder"));
    const QMimeType type = QMimeDatabase().mimeTypeForFile(path);
    return QIcon::fromTheme(type.iconName(), QIcon::fromTheme(type.genericIconName(),
                                                              QIcon::fromTheme(QStringLiteral("text-x-generic"))));
}

QString X11Workspace::displayName(const QString& path) const
{
    if (path.endsWith(QLatin1String(".desktop"))) {
        if (const DesktopEntryRecord* entry = index_.byPath(path))
            return entry->name;
        if (const auto record = DesktopEntryIndex::recordForFile(path, rules_))
            return record->name;
    }
    GObjectPtr<GFile> file(g_file_new_for_path(path.toLocal8Bit().constData()));
    GObjectPtr<GFileInfo> info(g_file_query_info(file.get(), G_FILE_ATTRIBUTE_STANDARD_DISPLAY_NAME,
                                                 G_FILE_QUERY_INFO_NONE, nullptr, nullptr));
    if (info) {
        if (const char* name = g_file_info_get_display_name(info.get()))
            return QString::fromUtf8(name);
    }
    const QString name = QFileInfo(path).fileName();
    return name.isEmpty() ? path : name;
}

std::optional<QString> X11Workspace::bundleIdentifier(const QString& path) const
{
    if (!path.endsWith(QLatin1String(".desktop")))
        return std::nullopt;
    if (const DesktopEntryRecord* entry = index_.byPath(path))
        return entry->id;
    // Outside the data dirs the id is the file name; below one it carries the subfolders.
    const QString canonical = QFileInfo(path).canonicalFilePath();
    const QString target = canonical.isEmpty() ? path : canonical;
    for (const QString& dir : QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation)) {
        const QString prefix = QDir(dir).canonicalPath() + QLatin1Char('/');
        if (prefix.size() > 1 && target.startsWith(prefix)) {
            QString id = target.mid(prefix.size());
            id.chop(8);
            return id.replace(QLatin1Char('/'), QLatin1Char('-'));
        }
    }
    QString id = QFileInfo(path).fileName();
    id.chop(8);
    return id;
}

std::optional<QString> X11Workspace::fileManagerLocation() const
{
    GObjectPtr<GAppInfo> info(g_app_info_get_default_for_type("inode/directory", FALSE));
    return entryPath(info.get());
}

std::optional<QString> X11Workspace::webBrowserLocation() const
{
    GObjectPtr<GAppInfo> info(g_app_info_get_default_for_uri_scheme("https"));
    if (!info)
        info.reset(g_app_info_get_default_for_type("x-scheme-handler/https", FALSE));
    return entryPath(info.get());
}

QString X11Workspace::ownBundleLocation() const
{
    if (const DesktopEntryRecord* entry = index_.byId(QStringLiteral("wharf")))
        return entry->path;
    return QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
}

} // namespace wharf
