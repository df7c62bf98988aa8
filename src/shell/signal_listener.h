#pragma once

#include <QObject>

#include <functional>
#include <initializer_list>
#include <vector>

class QSocketNotifier;

namespace wharf {

// Delivers SIGTERM and SIGINT on the main thread's event loop instead of in the signal context:
// the handler only writes the signal number into a pipe that a socket notifier watches.
class SignalListener : public QObject {
public:
    SignalListener(std::initializer_list<int> signals, std::function<void(int)> handler, QObject* parent = nullptr);
    ~SignalListener() override;
    SignalListener(const SignalListener&) = delete;
    SignalListener& operator=(const SignalListener&) = delete;

    bool isListening() const { return notifier != nullptr; }

private:
    void drain();

    std::function<void(int)> handler;
    QSocketNotifier* notifier = nullptr;
    std::vector<int> watched;
};

} // namespace wharf
