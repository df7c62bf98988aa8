#pragma once

#include "stacks/stack_entry.h"

#include <QCache>
#include <QHash>
#include <QImage>
#include <QString>

#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace wharf {

// A picture of a file and where it came from: "cache" (the desktop's thumbnail cache),
// "image" (the file itself, scaled) or "icon" (nothing better could be made).
struct Thumbnail {
    QImage image;
    QString source;
};

// Pictures of stack entries for the item views: folders get their icon at once; files are made
// at most four at a time, first come first served, and identical requests are made once.
// Results are kept for the 300 most recent keys; a changed file gets a new key.
class StackThumbnailCache {
public:
    // Makes a file's picture off the main thread; a null image means "use the icon".
    using Generator = std::function<QImage(const QString& path, QString* source)>;
    using IconProvider = std::function<QImage(const StackEntry& entry)>;
    using Completion = std::function<void(const Thumbnail&)>;

    static constexpr int maximumActive = 4;
    static constexpr int maximumImages = 300;
    static constexpr int side = 144;

    StackThumbnailCache(IconProvider icon, Generator generator = freedesktopThumbnail);
    ~StackThumbnailCache();

    // Calls `completion` on the main thread, now when the picture is known, else later.
    void image(const StackEntry& entry, Completion completion);

    static QString key(const StackEntry& entry);
    // The thumbnail cache of the desktop ($XDG_CACHE_HOME/thumbnails) when it holds a fresh
    // picture of the file, else the file decoded at thumbnail size; null when neither works.
    static QImage freedesktopThumbnail(const QString& path, QString* source);

    // The text stored under `key` in a PNG's tEXt chunks (the thumbnail's "Thumb::MTime").
    static QString pngText(const QByteArray& png, const QByteArray& key);

    int activeCount() const { return active; }

private:
    void drain();
    void finish(const QString& key, const Thumbnail& thumbnail, bool wasActive);

    struct Request {
        QString key;
        StackEntry entry;
    };

    IconProvider icon;
    Generator generator;
    QCache<QString, Thumbnail> cache;
    QHash<QString, std::vector<Completion>> pending;
    std::deque<Request> queued;
    int active = 0;
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

} // namespace wharf
