#pragma once

#include <QStringList>

#include <functional>
#include <memory>

namespace wharf {

// The GIO side of what makes the dock refresh: mounts, installed desktop entries,
// waking from sleep (logind) and the watched locations (the pins). Each source calls
// its handler on the main thread; nothing here polls.
class GioEventSources {
public:
    struct Handlers {
        std::function<void(bool mounted)> mountsChanged;
        std::function<void()> entriesChanged;
        std::function<void()> woke;
        std::function<void()> locationsChanged;
    };

    explicit GioEventSources(Handlers handlers);
    ~GioEventSources();
    GioEventSources(const GioEventSources&) = delete;
    GioEventSources& operator=(const GioEventSources&) = delete;

    // Watches each path through its folder, so that the path appearing, vanishing, being
    // renamed or changing is seen, and a pinned folder's contents too; replaces the previous set.
    void watchLocations(const QStringList& paths);

private:
    struct Sources;
    std::unique_ptr<Sources> sources_;
};

} // namespace wharf
