#pragma once

#include "platform/callback_list.h"
#include "platform/window_stacking.h"

#include <QRect>
#include <QString>

#include <functional>
#include <memory>
#include <set>
#include <vector>

class QTimer;

namespace wharf {

// Which displays show a full-screen window: the topmost window on the display is full screen and
// covers it. One per process, shared by every dock. The stacking order is read on change events,
// at most once per `pollInterval` (a burst of changes ends in one more read), and at once when
// the current desktop changes or the displays change. Between changes nothing runs.
class DockFullScreenState {
public:
    static constexpr double pollInterval = 0.05;

    struct Display {
        QString name;
        QRect bounds; // root-window pixels
    };
    struct Sources {
        WindowStacking* stacking = nullptr; // null: no display ever counts as full screen
        std::function<std::vector<Display>()> displays;
        std::function<double()> uptime; // monotonic seconds; empty = the steady clock
    };

    explicit DockFullScreenState(Sources sources);
    ~DockFullScreenState();
    DockFullScreenState(const DockFullScreenState&) = delete;
    DockFullScreenState& operator=(const DockFullScreenState&) = delete;

    // Whether the display named `display` shows a full-screen window.
    bool contains(const QString& display) const { return current.count(display) > 0; }
    const std::set<QString>& displays() const { return current; }

    // Reads the stacking order now, whatever the interval says (a desktop or display change).
    void refresh();

    // The displays of `windows` (bottom to top) whose topmost window is full screen and covers them.
    static std::set<QString> fullScreenDisplays(const std::vector<StackedWindow>& windows,
                                                const std::vector<Display>& displays);

    // The set of full-screen displays changed.
    CallbackList<> onChange;
    // After every read of the stacking order: windows were restacked, whether or not the set changed.
    CallbackList<> onRestack;
    // Reads of the stacking order since creation.
    int reads() const { return readCount; }

private:
    double now() const;
    void changed();
    void read();

    Sources sources;
    std::set<QString> current;
    double nextPoll = 0; // before this uptime a change waits for the timer
    std::unique_ptr<QTimer> timer;
    int readCount = 0;
    Subscription changeSubscription;
    Subscription desktopSubscription;
};

} // namespace wharf
