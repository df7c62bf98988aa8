// The icon artwork's cost per model refresh: 60 icons whose pixels did not change should cost next
// to nothing (the digest is kept per icon object); recreated objects and new icons show the real work.
#include "model/app_artwork.h"
#include "model/dock_artwork.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPixmap>

#include <benchmark/benchmark.h>

#include <vector>

using namespace wharf;

namespace {

constexpr int iconCount = 60;

// A 256-pixel icon with a transparent margin, different for each index.
QIcon makeIcon(int index)
{
    QPixmap pixmap(256, 256);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setBrush(QColor::fromHsv(index * 6 % 360, 200, 220));
    p.drawRoundedRect(QRectF(24, 24, 208, 208), 40, 40);
    return QIcon(pixmap);
}

QString idOf(int index) { return QStringLiteral("/usr/share/applications/app%1.desktop").arg(index); }

std::vector<QString> ids()
{
    std::vector<QString> result;
    for (int i = 0; i < iconCount; ++i)
        result.push_back(idOf(i));
    return result;
}

} // namespace

// What every refresh does when nothing changed: the same icon objects come back from the caches.
static void refreshUnchanged(benchmark::State& state)
{
    std::vector<QIcon> icons;
    for (int i = 0; i < iconCount; ++i)
        icons.push_back(makeIcon(i));
    const std::vector<QString> id = ids();
    AppArtwork artwork;
    for (size_t i = 0; i < iconCount; ++i)
        DockArtwork::image(artwork.stableImage(icons[i], id[i]), id[i]);
    const int digests = artwork.digestCount;
    for (auto _ : state) {
        for (size_t i = 0; i < iconCount; ++i)
            benchmark::DoNotOptimize(DockArtwork::image(artwork.stableImage(icons[i], id[i]), id[i]));
    }
    if (artwork.digestCount != digests)
        state.SkipWithError("an unchanged icon was digested again");
}
BENCHMARK(refreshUnchanged)->Unit(benchmark::kMicrosecond);

// Programs that hand out a new icon object every time: each is digested, none replaced.
static void refreshRecreatedSamePixels(benchmark::State& state)
{
    std::vector<QIcon> first, second;
    for (int i = 0; i < iconCount; ++i) {
        first.push_back(makeIcon(i));
        second.push_back(makeIcon(i));
    }
    const std::vector<QString> id = ids();
    AppArtwork artwork;
    std::vector<qint64> shown;
    for (size_t i = 0; i < iconCount; ++i)
        shown.push_back(artwork.stableImage(first[i], id[i]).cacheKey());
    bool flip = false;
    for (auto _ : state) {
        const auto& icons = flip ? first : second;
        flip = !flip;
        for (size_t i = 0; i < iconCount; ++i) {
            if (artwork.stableImage(icons[i], id[i]).cacheKey() != shown[i])
                state.SkipWithError("same pixels gave a new object");
        }
    }
}
BENCHMARK(refreshRecreatedSamePixels)->Unit(benchmark::kMillisecond);

// A new icon on the common canvas: measuring its content (once per icon object) ...
static void measureNewIcon(benchmark::State& state)
{
    const QIcon icon = makeIcon(7);
    for (auto _ : state)
        benchmark::DoNotOptimize(DockArtwork::contentBox(icon));
}
BENCHMARK(measureNewIcon)->Unit(benchmark::kMillisecond);

// ... and drawing it at a resting and a magnified tile's pixels (once per size; the view keeps them).
static void drawNormalizedTiles(benchmark::State& state)
{
    const QIcon normalized = DockArtwork::image(makeIcon(7), QStringLiteral("tile"));
    for (auto _ : state) {
        benchmark::DoNotOptimize(normalized.pixmap(QSize(116, 116), 1.0));
        benchmark::DoNotOptimize(normalized.pixmap(QSize(232, 232), 1.0));
    }
}
BENCHMARK(drawNormalizedTiles)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
