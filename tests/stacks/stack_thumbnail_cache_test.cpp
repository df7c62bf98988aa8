#include "stacks/stack_thumbnail_cache.h"

#include "support/files.h"
#include "support/thumbnail_png.h"
#include "support/wait_for.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QSemaphore>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QUrl>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

using namespace wharf;

namespace {

StackEntry fileEntry(const QString& path, int mtime = 1000, bool directory = false)
{
    return {.url = QUrl::fromLocalFile(path), .title = QFileInfo(path).fileName(), .isDirectory = directory,
            .modificationDate = QDateTime::fromSecsSinceEpoch(mtime, Qt::UTC), .creationDate = {}, .kind = {}};
}

QImage solid(QColor color)
{
    QImage image(8, 8, QImage::Format_ARGB32);
    image.fill(color);
    return image;
}

const auto iconImage = [](const StackEntry&) { return solid(Qt::gray); };

TEST(StackThumbnailCache, FourAtOnceFirstComeFirstServedDuplicatesMerged)
{
    QSemaphore gate;
    std::atomic<int> generated{0};
    QMutex lock;
    QStringList started;
    StackThumbnailCache cache(iconImage, [&](const QString& path, QString* source) {
        {
            const QMutexLocker locker(&lock);
            started << QFileInfo(path).baseName();
        }
        gate.acquire();
        ++generated;
        *source = "image";
        return solid(Qt::red);
    });
    QStringList arrived;
    for (int i = 0; i < 10; ++i) {
        const QString path = QStringLiteral("/f/%1.png").arg(i);
        cache.image(fileEntry(path), [&arrived, path](const Thumbnail& t) { arrived << path + ":" + t.source; });
    }
    int twice = 0;
    cache.image(fileEntry("/f/0.png"), [&](const Thumbnail&) { ++twice; });
    EXPECT_EQ(cache.activeCount(), 4);

    bool folderAnswered = false;
    cache.image(fileEntry("/f/folder", 1000, true), [&](const Thumbnail& t) { folderAnswered = t.source == "icon"; });
    EXPECT_TRUE(folderAnswered) << "folders take no slot";

    // Only once the first requests are under way (as many as the pool runs at once) may any of them
    // end and let the fifth in.
    const auto startedCount = [&] {
        const QMutexLocker locker(&lock);
        return started.size();
    };
    const int running = std::min(4, QThreadPool::globalInstance()->maxThreadCount());
    ASSERT_TRUE(waitFor([&] { return startedCount() == running; }));
    // Then one at a time: with fewer threads than requests, two freed at once would race to log
    // which queued request each took.
    for (int next = running; next < 4; ++next) {
        gate.release(1);
        ASSERT_TRUE(waitFor([&] { return startedCount() > next; }));
    }
    gate.release(10 - (4 - running));
    ASSERT_TRUE(waitFor([&] { return arrived.size() == 10; }));
    EXPECT_EQ(generated.load(), 10) << "the duplicate was made once";
    EXPECT_EQ(twice, 1);
    EXPECT_TRUE(arrived.contains("/f/0.png:image"));
    QStringList firstFour = started.mid(0, 4);
    firstFour.sort();
    EXPECT_EQ(firstFour, (QStringList{"0", "1", "2", "3"})) << "first come, first served";
    EXPECT_EQ(cache.activeCount(), 0);

    // Known now: answered at once. A saved file (new date) is made again.
    bool immediate = false;
    cache.image(fileEntry("/f/3.png"), [&](const Thumbnail&) { immediate = true; });
    EXPECT_TRUE(immediate);
    gate.release(1);
    cache.image(fileEntry("/f/3.png", 2000), [](const Thumbnail&) {});
    ASSERT_TRUE(waitFor([&] { return generated.load() == 11; }));
}

TEST(StackThumbnailCache, AFileWithoutAPictureGetsItsIconAndKeepsIt)
{
    std::atomic<int> generated{0};
    StackThumbnailCache cache(iconImage, [&](const QString&, QString*) {
        ++generated;
        return QImage();
    });
    Thumbnail got;
    cache.image(fileEntry("/f/broken.png"), [&](const Thumbnail& t) { got = t; });
    ASSERT_TRUE(waitFor([&] { return !got.source.isEmpty(); }));
    EXPECT_EQ(got.image.pixelColor(0, 0), QColor(Qt::gray));
    cache.image(fileEntry("/f/broken.png"), [](const Thumbnail&) {});
    EXPECT_EQ(generated.load(), 1);
}

TEST(StackThumbnailCache, ThePicturesOfFiles)
{
    QTemporaryDir dir;
    const QString photo = dir.filePath("photo.png");
    ASSERT_TRUE(solid(Qt::red).scaled(400, 200).save(photo));
    QString source;
    QImage made = StackThumbnailCache::freedesktopThumbnail(photo, &source);
    EXPECT_EQ(made.size(), QSize(144, 72));

    // A desktop thumbnail recorded for another date of the file is passed over (a fresh one is
    // taken, as the stacks end-to-end test shows on screen).
    const QString thumbDir = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + "/thumbnails/normal";
    ASSERT_TRUE(QDir().mkpath(thumbDir));
    const QByteArray uri = QUrl::fromLocalFile(QFileInfo(photo).absoluteFilePath()).toEncoded();
    const QString thumbPath = thumbDir + "/" + QCryptographicHash::hash(uri, QCryptographicHash::Md5).toHex() + ".png";
    const QByteArray stale = QByteArray::number(QFileInfo(photo).lastModified().toSecsSinceEpoch() - 60);
    ASSERT_TRUE(test::writeFile(thumbPath, test::pngWithText(solid(Qt::green), "Thumb::MTime", stale)));
    source.clear();
    made = StackThumbnailCache::freedesktopThumbnail(photo, &source);
    EXPECT_EQ(source, "image");
    EXPECT_EQ(made.pixelColor(0, 0), QColor(Qt::red));
    QFile::remove(thumbPath);

    // A header that claims an enormous picture makes nothing (a corrupt file's icon is checked on
    // screen by the stacks end-to-end test).
    const QString huge = dir.filePath("huge.ppm");
    ASSERT_TRUE(test::writeFile(huge, "P6\n60000 60000\n255\n" + QByteArray(1024, '\0')));
    EXPECT_TRUE(StackThumbnailCache::freedesktopThumbnail(huge, nullptr).isNull());
}

} // namespace
