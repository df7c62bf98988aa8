#pragma once

#include <QObject>
#include <QString>
#include <QThread>

#include <functional>
#include <memory>

namespace wharf {

// A thread that runs posted jobs one after another, in order. Destroying it lets queued jobs finish
// and joins the thread.
class SerialWorker {
public:
    explicit SerialWorker(const QString& label);
    ~SerialWorker();
    SerialWorker(const SerialWorker&) = delete;
    SerialWorker& operator=(const SerialWorker&) = delete;

    void post(std::function<void()> job);
    QString label() const { return thread.objectName(); }

    // Runs `job` on the main thread's event loop (for results going back).
    static void postToMain(std::function<void()> job);

private:
    QThread thread;
    std::unique_ptr<QObject> context; // lives on `thread`
};

} // namespace wharf
