#include "stacks/stack_thumbnail_cache.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QStandardPaths>
#include <QThreadPool>
#include <QUrl>

namespace wharf {

namespace {

// Large pictures are far more than a decoder should be asked for: such a file gets its icon.
constexpr qint64 largestDecodedPixels = 64LL * 1024 * 1024;
// Thumbnails are small; anything bigger in the thumbnail folder is not one.
constexpr qint64 largestThumbnailFile = 4 * 1024 * 1024;

quint32 bigEndian(const QByteArray& data, qsizetype at)
{
    const auto* p = reinterpret_cast<const uchar*>(data.constData() + at);
    return quint32(p[0]) << 24 | quint32(p[1]) << 16 | quint32(p[2]) << 8 | quint32(p[3]);
}

} // namespace

StackThumbnailCache::StackThumbnailCache(IconProvider icon, Generator generator)
    : icon(std::move(icon)), generator(std::move(generator)), cache(maximumImages)
{
}

StackThumbnailCache::~StackThumbnailCache()
{
    *alive = false;
}

QString StackThumbnailCache::key(const StackEntry& entry)
{
    const double seconds = entry.modificationDate ? entry.modificationDate->toMSecsSinceEpoch() / 1000.0 : 0.0;
    return entry.path() + QLatin1Char('|') + QString::number(seconds, 'f', 3);
}

void StackThumbnailCache::image(const StackEntry& entry, Completion completion)
{
    const QString k = key(entry);
    if (const Thumbnail* known = cache.object(k)) {
        completion(*known);
        return;
    }
    if (auto it = pending.find(k); it != pending.end()) {
        it->push_back(std::move(completion));
        return;
    }
    pending[k].push_back(std::move(completion));
    if (entry.isDirectory) {
        // Folders take no slot and never wait: their icon is at hand.
        finish(k, {icon(entry), QStringLiteral("icon")}, false);
        return;
    }
    queued.push_back({k, entry});
    drain();
}

void StackThumbnailCache::drain()
{
    while (active < maximumActive && !queued.empty()) {
        Request request = std::move(queued.front());
        queued.pop_front();
        ++active;
        const std::weak_ptr<bool> weak = alive;
        QThreadPool::globalInstance()->start([this, weak, request, make = generator] {
            QString source;
            QImage picture = make ? make(request.entry.path(), &source) : QImage();
            QMetaObject::invokeMethod(
                qApp,
                [this, weak, request, picture = std::move(picture), source]() {
                    const auto alive = weak.lock();
                    if (!alive || !*alive)
                        return;
                    if (picture.isNull())
                        finish(request.key, {icon(request.entry), QStringLiteral("icon")}, true);
                    else
                        finish(request.key, {picture, source}, true);
                },
                Qt::QueuedConnection);
        });
    }
}

void StackThumbnailCache::finish(const QString& key, const Thumbnail& thumbnail, bool wasActive)
{
    cache.insert(key, new Thumbnail(thumbnail));
    const std::vector<Completion> callbacks = pending.take(key);
    if (wasActive)
        --active;
    for (const Completion& callback : callbacks)
        callback(thumbnail);
    if (wasActive)
        drain();
}

QString StackThumbnailCache::pngText(const QByteArray& png, const QByteArray& key)
{
    // Qt reads "Thumb::MTime" as the key "Thumb", so the chunks are walked here.
    if (!png.startsWith("\x89PNG\r\n\x1a\n"))
        return {};
    qsizetype at = 8;
    while (at + 8 <= png.size()) {
        const qint64 length = bigEndian(png, at);
        const QByteArray type = png.mid(at + 4, 4);
        if (length > png.size() - at - 12 || type == "IDAT")
            break;
        if (type == "tEXt") {
            const QByteArray chunk = png.mid(at + 8, length);
            const qsizetype zero = chunk.indexOf('\0');
            if (zero >= 0 && chunk.left(zero) == key)
                return QString::fromLatin1(chunk.mid(zero + 1));
        }
        at += 12 + length;
    }
    return {};
}

QImage StackThumbnailCache::freedesktopThumbnail(const QString& path, QString* source)
{
    const QFileInfo file(path);
    const QByteArray uri = QUrl::fromLocalFile(file.absoluteFilePath()).toEncoded();
    const QString name = QString::fromLatin1(QCryptographicHash::hash(uri, QCryptographicHash::Md5).toHex()) + ".png";
    const QString root = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + "/thumbnails/";
    const QString mtime = QString::number(file.lastModified().toSecsSinceEpoch());
    for (const char* size : {"large/", "normal/"}) {
        QFile thumbnail(root + QLatin1String(size) + name);
        if (!thumbnail.open(QIODevice::ReadOnly) || thumbnail.size() > largestThumbnailFile)
            continue;
        const QByteArray png = thumbnail.readAll();
        // A thumbnail of an older version of the file is no picture of this one.
        if (pngText(png, "Thumb::MTime") != mtime)
            continue;
        QImage image = QImage::fromData(png, "png");
        if (!image.isNull()) {
            if (source)
                *source = QStringLiteral("cache");
            return image.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        }
    }

    QImageReader reader(path);
    reader.setDecideFormatFromContent(true);
    const QSize size = reader.canRead() ? reader.size() : QSize();
    if (!size.isValid() || qint64(size.width()) * size.height() > largestDecodedPixels)
        return {};
    reader.setScaledSize(size.scaled(side, side, Qt::KeepAspectRatio).boundedTo(size));
    QImage image = reader.read();
    if (!image.isNull() && source)
        *source = QStringLiteral("image");
    return image;
}

} // namespace wharf
