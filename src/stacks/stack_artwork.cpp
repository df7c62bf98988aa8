#include "stacks/stack_artwork.h"

#include "model/dock_artwork.h"
#include "stacks/folder_access_store.h"
#include "stacks/stack_contents.h"
#include "stacks/stack_preferences.h"

#include <QCoreApplication>
#include <QDir>
#include <QPainter>
#include <QThreadPool>

#include <cerrno>

namespace wharf {

namespace {

constexpr int canvas = 512;
constexpr int pileSize = 3;
constexpr int documentSide = 350;

QString keyOf(const QString& folder) { return QDir::cleanPath(folder); }

} // namespace

StackArtwork::StackArtwork(StackPreferences& preferences, FolderAccessStore& access, DocumentImage documentImage)
    : preferences(preferences), access(access), documentImage(std::move(documentImage))
{
}

StackArtwork::~StackArtwork()
{
    *alive = false;
}

std::optional<QIcon> StackArtwork::image(const QString& folder) const
{
    const auto it = cache.constFind(keyOf(folder));
    return it == cache.constEnd() ? std::nullopt : it->artwork;
}

QStringList StackArtwork::documents(const QString& folder) const
{
    QStringList titles;
    const auto it = cache.constFind(keyOf(folder));
    if (it != cache.constEnd() && it->artwork) {
        for (const Stamp& stamp : it->signature.documents)
            titles << stamp.title;
    }
    return titles;
}

void StackArtwork::update(const QString& folder, const std::vector<StackEntry>& entries, const StackSettings& settings)
{
    const QString key = keyOf(folder);
    pendingLoads.remove(key);
    Signature signature{settings.displayMode, {}};
    const std::size_t shown = std::min<std::size_t>(entries.size(), pileSize);
    for (std::size_t i = 0; i < shown; ++i) {
        const StackEntry& e = entries[i];
        signature.documents.push_back({e.path(), e.title, e.modificationDate, e.kind});
    }
    auto it = cache.find(key);
    if (it != cache.end() && it->signature == signature) {
        it->entries = entries;
        it->settings = settings;
        return;
    }
    std::optional<QIcon> artwork;
    if (settings.displayMode == StackDisplayMode::stack && shown > 0) {
        std::vector<QImage> pictures;
        for (std::size_t i = 0; i < shown; ++i) {
            const QImage picture = documentImage ? documentImage(entries[i]) : QImage();
            // Each document stands on the dock's common canvas, so padded icons pile up as large as tight ones.
            const QIcon document = DockArtwork::image(
                QIcon(QPixmap::fromImage(picture)), QStringLiteral("stack-document:%1:%2").arg(key).arg(i));
            pictures.push_back(document.pixmap(QSize(documentSide, documentSide), 1.0).toImage());
        }
        artwork = QIcon(QPixmap::fromImage(render(pictures)));
        ++renders;
    }
    const bool hadArtwork = it != cache.end() && it->artwork;
    cache.insert(key, CachedFolder{entries, settings, signature, artwork});
    if (!artwork && !hadArtwork)
        return;
    artworkChanged.notify(key);
}

void StackArtwork::preferencesChanged(const QString& folder)
{
    const QString key = keyOf(folder);
    const StackSettings settings = preferences.settings(key);
    std::vector<StackEntry> entries;
    if (const auto it = cache.constFind(key); it != cache.constEnd())
        entries = StackContents::sorted(it->entries, settings.sortOrder);
    const bool empty = entries.empty();
    update(key, entries, settings);
    if (settings.displayMode == StackDisplayMode::stack && empty)
        loadIfAlreadyAllowed(key, settings);
}

void StackArtwork::loadIfAlreadyAllowed(const QString& folder, const StackSettings& settings)
{
    const QString key = keyOf(folder);
    if (pendingLoads.contains(key))
        return;
    const auto saved = access.savedAncestor(key);
    if (!saved)
        return; // waits until the user opens the stack
    auto readable = access.resolve(*saved, key);
    if (!readable.ok()) {
        forget(key, settings);
        return;
    }
    const int token = ++nextToken;
    pendingLoads.insert(key, token);
    const std::weak_ptr<bool> weak = alive;
    QThreadPool::globalInstance()->start([this, weak, key, token, path = readable.value(), settings] {
        auto result = StackContents::load(path, settings);
        QMetaObject::invokeMethod(
            qApp,
            [this, weak, key, token, result = std::move(result)]() {
                const auto alive = weak.lock();
                if (!alive || !*alive || pendingLoads.value(key) != token)
                    return;
                if (!result.ok()) {
                    pendingLoads.remove(key);
                    if (result.error().code == ENOENT || result.error().code == ENOTDIR)
                        forget(key, preferences.settings(key));
                    return;
                }
                update(key, result.value(), preferences.settings(key));
            },
            Qt::QueuedConnection);
    });
}

void StackArtwork::folderChanged(const QString& folder)
{
    const QString key = keyOf(folder);
    const StackSettings settings = preferences.settings(key);
    if (settings.displayMode != StackDisplayMode::stack)
        return;
    pendingLoads.remove(key); // a listing under way may have read the folder before the change
    loadIfAlreadyAllowed(key, settings);
}

void StackArtwork::forget(const QString& key, const StackSettings& settings)
{
    if (cache.contains(key))
        update(key, {}, settings);
}

QImage StackArtwork::render(const std::vector<QImage>& documents)
{
    QImage pile(canvas, canvas, QImage::Format_ARGB32_Premultiplied);
    pile.fill(Qt::transparent);
    QPainter painter(&pile);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    // Front to back: (x, y from the bottom, rotation counter-clockwise in degrees).
    const struct {
        double x, y, degrees;
    } places[pileSize] = {{81, 28, 0}, {91, 56, 4}, {73, 84, -5}};
    const double side = documentSide;
    for (int i = int(std::min<std::size_t>(documents.size(), pileSize)) - 1; i >= 0; --i) {
        const QImage& picture = documents[std::size_t(i)];
        if (picture.isNull())
            continue;
        const QRectF rect(places[i].x, canvas - places[i].y - side, side, side);
        const QSizeF fitted = QSizeF(picture.size()).scaled(rect.size(), Qt::KeepAspectRatio);
        const QRectF target(rect.center() - QPointF(fitted.width() / 2, fitted.height() / 2), fitted);
        painter.save();
        painter.translate(rect.center());
        painter.rotate(-places[i].degrees);
        painter.translate(-rect.center());
        // A soft drop shadow: the picture's silhouette, darkened and a little lower.
        QImage shadow = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        {
            QPainter tint(&shadow);
            tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
            tint.fillRect(shadow.rect(), QColor(0, 0, 0, 71));
        }
        painter.drawImage(target.translated(0, 4), shadow);
        painter.drawImage(target, picture);
        painter.restore();
    }
    return pile;
}

} // namespace wharf
