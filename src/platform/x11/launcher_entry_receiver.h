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

// Receives com.canonical.Unity.LauncherEntry.Update signals, and the answers to Query, on a
// session-bus connection of its own, read by libdbus on a thread of its own. A flood of badge updates is the one stream of bus
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
    // Asks the connection `busName` for all the properties of its entry at `objectPath`; an
    // answer arrives as an update does.
    void query(const QString& busName, const QString& objectPath);

    // The application URI and properties of an Update signal or of a method's answer; none for
    // any other message. Values of a type the property cannot take are left out.
    static std::optional<std::pair<QString, LauncherEntryChanges>> parse(DBusMessage* message);

private:
    struct Request {
        enum class Kind { addRule, removeRule, query, done } kind;
        QByteArray text;        // the rule, or the object path queried
        QByteArray destination; // the connection queried
        std::function<void()> done;
    };

    void post(Request request);

    struct Filter; // libdbus's callback, which reaches the members below

    void run();
    bool handle(DBusMessage* message);

    const Received received;
    UniqueFd wake; // an eventfd: requests are waiting, or the thread must end
    std::mutex lock;
    std::vector<Request> requests; // guarded by `lock`
    bool stopping = false;         // guarded by `lock`

    // The reading thread's own.
    quint32 lastAnswered = 0;                                       // of the rules
    std::vector<std::pair<quint32, std::function<void()>>> waiting; // after the reply to a serial
    std::vector<quint32> queries;                                   // unanswered, oldest first

    std::thread reader;
};

} // namespace wharf
