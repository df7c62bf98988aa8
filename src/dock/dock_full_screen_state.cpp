#include "dock/dock_full_screen_state.h"

#include <QTimer>

#include <chrono>
#include <cmath>

namespace wharf {

DockFullScreenState::DockFullScreenState(Sources s) : sources(std::move(s)), timer(std::make_unique<QTimer>())
{
    timer->setSingleShot(true);
    QObject::connect(timer.get(), &QTimer::timeout, [this] { read(); });
    if (!sources.stacking)
        return;
    changeSubscription = sources.stacking->changed.add([this] { changed(); });
    desktopSubscription = sources.stacking->desktopChanged.add([this] { refresh(); });
    read();
}

DockFullScreenState::~DockFullScreenState() = default;

double DockFullScreenState::now() const
{
    if (sources.uptime)
        return sources.uptime();
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

void DockFullScreenState::changed()
{
    if (timer->isActive())
        return; // a read is already due and will see this change too
    const double t = now();
    if (t >= nextPoll) {
        read();
        return;
    }
    timer->start(std::max(1, int(std::ceil((nextPoll - t) * 1000))));
}

void DockFullScreenState::refresh()
{
    timer->stop();
    read();
}

void DockFullScreenState::read()
{
    nextPoll = now() + pollInterval;
    std::set<QString> found;
    if (sources.stacking && sources.displays) {
        ++readCount;
        found = fullScreenDisplays(sources.stacking->stackingOrder(), sources.displays());
    }
    const bool different = found != current;
    current = std::move(found);
    if (different)
        onChange.notify();
    onRestack.notify();
}

std::set<QString> DockFullScreenState::fullScreenDisplays(const std::vector<StackedWindow>& windows,
                                                          const std::vector<Display>& displays)
{
    std::set<QString> result;
    for (const Display& display : displays) {
        for (auto it = windows.rbegin(); it != windows.rend(); ++it) {
            if (!it->frame.intersects(display.bounds))
                continue;
            if (it->fullScreen && it->frame.contains(display.bounds))
                result.insert(display.name);
            break; // only the topmost window on the display counts
        }
    }
    return result;
}

} // namespace wharf
