#include "windows/serial_worker.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace wharf {

SerialWorker::SerialWorker(const QString& label) : context(std::make_unique<QObject>())
{
    thread.setObjectName(label);
    context->moveToThread(&thread);
    thread.start();
}

SerialWorker::~SerialWorker()
{
    // Queued jobs run before the quit request, which is queued behind them.
    QMetaObject::invokeMethod(context.get(), [this] { thread.quit(); }, Qt::QueuedConnection);
    thread.wait();
}

void SerialWorker::post(std::function<void()> job)
{
    QMetaObject::invokeMethod(context.get(), std::move(job), Qt::QueuedConnection);
}

void SerialWorker::postToMain(std::function<void()> job)
{
    if (QCoreApplication* app = QCoreApplication::instance())
        QMetaObject::invokeMethod(app, std::move(job), Qt::QueuedConnection);
}

} // namespace wharf
