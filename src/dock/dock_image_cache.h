#pragma once

#include <QHash>
#include <QImage>

#include <algorithm>
#include <chrono>
#include <vector>

namespace wharf {

// Images made for the sizes a magnified row passes through, within a memory budget.
//
// A least-recently-used cache fails a pointer sweep over more icons than fit: each size is
// pushed out before the sweep comes back to it, and every frame pays for making images it
// then throws away. Here an image used within `keep` is never pushed out for a new one; the
// new one is refused instead, and the caller draws it as if there were no cache. Images left
// over from earlier gestures make room once they have gone unused that long.
template <typename Key>
class DockImageCache {
public:
    using Clock = std::chrono::steady_clock;

    DockImageCache(qsizetype budgetBytes, Clock::duration keep) : budget(budgetBytes), keep(keep) {}

    const QImage* find(const Key& key, Clock::time_point now)
    {
        const auto found = entries.find(key);
        if (found == entries.end())
            return nullptr;
        found->used = now;
        return &found->image;
    }

    // The stored image, or nullptr when keeping it would push out one still in use.
    const QImage* insert(const Key& key, QImage image, Clock::time_point now)
    {
        const qsizetype size = image.sizeInBytes();
        remove(key);
        if (bytes + size > budget && !makeRoom(size, now))
            return nullptr;
        bytes += size;
        return &entries.insert(key, Entry{std::move(image), now})->image;
    }

    template <typename Predicate>
    void removeIf(Predicate matches)
    {
        for (auto it = entries.begin(); it != entries.end();) {
            if (matches(it.key())) {
                bytes -= it->image.sizeInBytes();
                it = entries.erase(it);
            } else {
                ++it;
            }
        }
    }

    // Takes effect as images are inserted; what is kept stays until then.
    void setBudget(qsizetype bytes) { budget = bytes; }

    void clear()
    {
        entries.clear();
        bytes = 0;
        retryAt = {};
    }

    qsizetype usedBytes() const { return bytes; }

private:
    struct Entry {
        QImage image;
        Clock::time_point used;
    };

    void remove(const Key& key)
    {
        const auto found = entries.find(key);
        if (found == entries.end())
            return;
        bytes -= found->image.sizeInBytes();
        entries.erase(found);
    }

    // Pushes out the longest-unused images among those idle for `keep`, oldest first.
    bool makeRoom(qsizetype size, Clock::time_point now)
    {
        // Until the oldest image has idled long enough there is nothing to look for; a refused
        // insert costs no scan.
        if (now < retryAt || size > budget)
            return false;
        std::vector<std::pair<Clock::time_point, Key>> idle;
        Clock::time_point oldestInUse = now;
        for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
            if (now - it->used >= keep)
                idle.emplace_back(it->used, it.key());
            else
                oldestInUse = std::min(oldestInUse, it->used);
        }
        std::sort(idle.begin(), idle.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        for (const auto& [used, key] : idle) {
            if (bytes + size <= budget)
                break;
            remove(key);
        }
        if (bytes + size <= budget)
            return true;
        // Every idle image is gone; the next can idle no sooner than this.
        retryAt = oldestInUse + keep;
        return false;
    }

    QHash<Key, Entry> entries;
    qsizetype bytes = 0;
    qsizetype budget;
    Clock::duration keep;
    Clock::time_point retryAt;
};

} // namespace wharf
