#pragma once

#include "platform/unique_fd.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

struct DBusConnection;
struct DBusMessage;

namespace wharf {

// The properties one LauncherEntry message carries; the others keep their values.
struct LauncherEntryChanges {
    std::optional<qint64> count;
    std::optional<bool> countVisible;
    std::optional<double> progress;
    std::optional<bool> progressVisible;
    std::optional<bool> urgent;
};

// Receives com.canonical.Unity.LauncherEntry.Update signals on a session-bus connection of its
// own, read by libdbus on a thread of its own. A flood of badge updates is the one stream of bus
// traffic an application can aim at the dock; read here, a signal costs a parse and a callback,
// with no Qt event and no other thread woken.
class LauncherEntryReceiver {
public:
    // Runs on the reading thread.
    using Received = std::function<void(const QString& appURI, const LauncherEntryChanges& changes)>;

    explicit LauncherEntryReceiver(Received received);
    ~LauncherEntryReceiver();
    LauncherEntryReceiver(const LauncherEntryReceiver&) = delete;
    LauncherEntryReceiver& operator=(const LauncherEntryReceiver&) = delete;

    // Asks the bus for `appURI`'s updates, or to stop sending them: one arg0 rule each, so the
    // bus daemon drops every other application's.
    void listen(const QString& appURI, bool on);
    // `done` runs on the reading thread once the bus holds every rule asked for before it, or
    // at once without a bus.
    void afterRules(std::function<void()> done);

    // The application URI and properties of an Update signal; none for any other message.
    // Values of a type the property cannot take are left out.
    static std::optional<std::pair<QString, LauncherEntryChanges>> parse(DBusMessage* message);

private:
    struct Request {
        QByteArray rule; // AddMatch or RemoveMatch of this rule, unless `done` is set
        bool add = false;
        std::function<void()> done;
    };

    struct Filter; // libdbus's callback, which reaches the members below

    void run();
    bool handle(DBusMessage* message);

    const Received received;
    UniqueFd wake; // an eventfd: requests are waiting, or the thread must end
    std::mutex lock;
    std::vector<Request> requests; // guarded by `lock`
    bool stopping = false;         // guarded by `lock`

    // The reading thread's own.
    quint32 lastAnswered = 0;
    std::vector<std::pair<quint32, std::function<void()>>> waiting; // after the reply to a serial

    std::thread reader;
};

} // namespace wharf
