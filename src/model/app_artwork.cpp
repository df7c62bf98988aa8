#include "model/app_artwork.h"

#include <QCryptographicHash>
#include <QGuiApplication>
#include <QIconEngine>
#include <QImage>
#include <QPainter>
#include <QPixmap>

namespace wharf {

namespace {

// A new icon object for the same artwork: draws its source at any size, so a scalable icon stays
// sharp, while the view keys its caches on this object's identity.
class StableIconEngine : public QIconEngine {
public:
    explicit StableIconEngine(QIcon source) : source(std::move(source)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override
    {
        source.paint(painter, rect, Qt::AlignCenter, mode, state);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        return source.pixmap(size, 1.0, mode, state);
    }
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal) override
    {
        return pixmap(size, mode, state);
    }
    QSize actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        return source.actualSize(size, mode, state);
    }
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override
    {
        return source.availableSizes(mode, state);
    }
    QIconEngine* clone() const override { return new StableIconEngine(source); }
    QString key() const override { return QStringLiteral("wharf-stable"); }
    QString iconName() override { return source.name(); }
    bool isNull() override { return source.isNull(); }

private:
    QIcon source;
};

QString themeKey() { return QIcon::themeName() + QLatin1Char('\n') + QIcon::fallbackThemeName(); }

} // namespace

QByteArray AppArtwork::digest(const QIcon& image)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const int side : digestSizes) {
        QImage canvas(side, side, QImage::Format_ARGB32_Premultiplied);
        canvas.fill(Qt::transparent);
        {
            QPainter p(&canvas);
            p.setCompositionMode(QPainter::CompositionMode_Source);
            image.paint(&p, canvas.rect());
        }
        hash.addData(QByteArrayView(reinterpret_cast<const char*>(canvas.constBits()), canvas.sizeInBytes()));
    }
    return hash.result();
}

QIcon AppArtwork::stableImage(const QIcon& image, const QString& id)
{
    // Rendering needs a GUI application (`wharf --list-items` has none), and nothing to draw is nothing to keep.
    if (image.isNull() || !qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return image;
    const QString theme = themeKey();
    auto found = entries.find(id);
    // The very icon object digested last time, under the same themes: its pixels are known.
    if (found != entries.end() && found->source == image.cacheKey() && found->theme == theme)
        return found->image;

    ++digestCount;
    QByteArray pixels = digest(image);
    if (found != entries.end() && found->digest == pixels) {
        found->source = image.cacheKey();
        found->theme = theme;
        return found->image;
    }
    // Items showing the same pixels (every plain folder) share one icon object: the dock then
    // draws and keeps each size of it once, not once per item.
    QIcon copy;
    for (const Entry& other : std::as_const(entries)) {
        if (other.digest == pixels && other.theme == theme) {
            copy = other.image;
            break;
        }
    }
    if (copy.isNull())
        copy = QIcon(new StableIconEngine(image));
    entries.insert(id, Entry{std::move(pixels), copy, image.cacheKey(), theme});
    return copy;
}

void AppArtwork::retain(const QSet<QString>& ids)
{
    entries.removeIf([&](const auto& entry) { return !ids.contains(entry.key()); });
}

} // namespace wharf
