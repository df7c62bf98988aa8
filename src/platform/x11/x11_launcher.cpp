#include "platform/x11/x11_launcher.h"

#include "platform/x11/gobject_ptr.h"

#include <gio/gdesktopappinfo.h>

#include <QFileInfo>
#include <QLoggingCategory>
#include <QUrl>

#include <algorithm>
#include <unistd.h>

namespace wharf {

Q_LOGGING_CATEGORY(lcLauncher, "wharf.launcher")

namespace {

QString fileUri(const QString& pathOrUri)
{
    if (pathOrUri.startsWith(QLatin1Char('/')))
        return QUrl::fromLocalFile(pathOrUri).toString(QUrl::FullyEncoded);
    return pathOrUri;
}

void launched(GDesktopAppInfo*, GPid pid, gpointer)
{
    qCDebug(lcLauncher) << "launched process" << pid;
}

QString message(const GErrorPtr& error)
{
    return error ? QString::fromUtf8(error->message) : QStringLiteral("unknown error");
}

} // namespace

X11Launcher::X11Launcher(X11Connection& connection, const MatchRules& rules)
    : connection_(connection), rules_(rules)
{
}

X11Launcher::~X11Launcher()
{
    if (startupWindow_ != XCB_WINDOW_NONE && !connection_.lost()) {
        xcb_destroy_window(connection_.xcb(), startupWindow_);
        connection_.flush();
    }
}

void X11Launcher::sendStartupNotification(const QString& id, const DesktopEntryRecord& entry)
{
    auto quoted = [](QString value) {
        value.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
        return QLatin1Char('"') + value + QLatin1Char('"');
    };
    QString text = QStringLiteral("new: ID=%1 NAME=%2 SCREEN=%3")
                       .arg(quoted(id), quoted(entry.name))
                       .arg(connection_.screenNumber());
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

void X11Launcher::sendStartupMessage(const QString& text)
{
    xcb_connection_t* c = connection_.xcb();
    if (startupWindow_ == XCB_WINDOW_NONE) {
        startupWindow_ = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, startupWindow_, connection_.root(), -100, -100, 1, 1, 0,
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
        message.type = offset == 0 ? connection_.atoms().startupInfoBegin : connection_.atoms().startupInfo;
        std::copy_n(bytes.constData() + offset, std::min<qsizetype>(20, bytes.size() - offset), message.data.data8);
        xcb_send_event(c, 0, connection_.root(), XCB_EVENT_MASK_PROPERTY_CHANGE,
                       reinterpret_cast<const char*>(&message));
    }
    connection_.flush();
}

void X11Launcher::completeStartups(const std::vector<RunningApplicationRef>& running)
{
    for (auto it = pendingStartups_.begin(); it != pendingStartups_.end();) {
        const bool runs = std::any_of(running.begin(), running.end(),
                                      [&](const RunningApplicationRef& app) { return app->bundleIdentifier == it.key(); });
        if (runs) {
            sendStartupMessage(QStringLiteral("remove: ID=\"%1\"").arg(it.value()));
            it = pendingStartups_.erase(it);
        } else {
            ++it;
        }
    }
}

Status X11Launcher::launchApplication(const QString& entryPath, const QStringList& uris, xcb_timestamp_t time)
{
    GObjectPtr<GDesktopAppInfo> info(g_desktop_app_info_new_from_filename(entryPath.toLocal8Bit().constData()));
    if (!info) {
        return Error{QFileInfo::exists(entryPath)
                         ? QStringLiteral("\"%1\" is not a usable desktop entry (malformed, hidden or its program is missing)").arg(entryPath)
                         : QStringLiteral("\"%1\" does not exist").arg(entryPath)};
    }
    GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    // Launched programs must not inherit Wharf's own startup id; those that ask for
    // startup notification get one of their own.
    g_app_launch_context_unsetenv(context.get(), "DESKTOP_STARTUP_ID");
    const auto record = DesktopEntryIndex::recordForFile(entryPath, rules_);
    if (record && g_desktop_app_info_get_boolean(info.get(), "StartupNotify") && !connection_.lost()) {
        // The time lets the window manager give the new window the focus the click asked for.
        if (time == XCB_CURRENT_TIME)
            time = connection_.serverTime();
        const QString id = QStringLiteral("wharf-%1-%2_TIME%3").arg(getpid()).arg(++launchCounter_).arg(time);
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
    const gboolean started = g_desktop_app_info_launch_uris_as_manager(
        info.get(), list, context.get(), G_SPAWN_SEARCH_PATH, nullptr, nullptr, &launched, nullptr, &rawError);
    g_list_free(list);
    const GErrorPtr failure(rawError);
    if (!started)
        return Error{QStringLiteral("could not start \"%1\": %2").arg(record ? record->name : entryPath, message(failure))};
    return {};
}

Status X11Launcher::openLocation(const QString& path)
{
    const QByteArray uri = fileUri(path).toUtf8();
    GObjectPtr<GAppLaunchContext> context(g_app_launch_context_new());
    GError* rawError = nullptr;
    if (g_app_info_launch_default_for_uri(uri.constData(), context.get(), &rawError))
        return {};
    const GErrorPtr failure(rawError);
    return Error{QStringLiteral("could not open \"%1\": %2").arg(path, message(failure))};
}

} // namespace wharf
