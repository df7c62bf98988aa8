#pragma once

#include <QByteArray>
#include <QHash>
#include <QIcon>
#include <QSet>
#include <QString>

namespace wharf {

// Hands out one icon object per item for as long as its pixels stay the same. Programs and
// the icon theme recreate icon objects freely (a window that sets its icon again, a desktop
// entry read afresh); comparing the rendered pixels keeps such an item unchanged, so the model
// reports nothing and the dock's per-icon caches hold. Changed pixels (a new theme, a new
// window icon) give a new object.
class AppArtwork {
public:
    struct Entry {
        QByteArray digest;  // SHA-256 of the pixels at `digestSizes`
        QIcon image;        // what was handed out
        qint64 source = 0;  // the icon object the digest was taken of
        QString theme;      // the icon themes then in use
    };

    // Sizes in pixels the digest covers: a small tile's (themes draw those separately) and a large one's.
    static constexpr int digestSizes[] = {48, 128};

    // The icon to show for item `id`: the one handed out last time when the pixels are the same.
    QIcon stableImage(const QIcon& image, const QString& id);
    // Forgets the items not in `ids` (after every refresh).
    void retain(const QSet<QString>& ids);

    static QByteArray digest(const QIcon& image);

    QHash<QString, Entry> entries;
    int digestCount = 0; // digests taken since creation (a refresh with nothing new takes none)
};

} // namespace wharf
