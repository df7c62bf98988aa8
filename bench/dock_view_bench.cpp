// Cost of one dock frame while the pointer magnifies a 30-icon dock, drawn offscreen:
// the breakdown behind the whole-process figures (tick, paint, first paint).
#include "dock/dock_view_test_support.h"

#include <QApplication>
#include <QDirIterator>
#include <QPainter>

#include <benchmark/benchmark.h>

#include <utility>

namespace wharf::test {
namespace {

constexpr int entryCount = 30;

// Real SVG icons where the system has them, so the cold cache renders SVGs as the
// application would; one QIcon object per entry.
std::vector<QIcon> icons()
{
    QStringList files;
    QDirIterator it(QStringLiteral("/usr/share/icons/hicolor/scalable/apps"), {QStringLiteral("*.svg")});
    while (it.hasNext())
        files.append(it.next());
    std::vector<QIcon> result;
    for (int i = 0; i < entryCount; ++i) {
        if (!files.isEmpty())
            result.emplace_back(files[i % files.size()]);
        else
            result.push_back(DockViewHarness::solidIcon(QColor::fromHsv(i * 12, 200, 220)));
    }
    return result;
}

struct Dock {
    Dock()
    {
        h.size = QSize(1920, 340);
        QStringList pins;
        const auto list = icons();
        for (int i = 0; i < entryCount; ++i)
            pins << h.app(QStringLiteral("app%1").arg(i), list[size_t(i)]);
        h.pin(pins);
        h.makeView();
        // As a dock window draws a step: only what changed, straight into its image.
        h.view->paintDirectly = [this](const QRegion& area) {
            changed += area;
            return true;
        };
        h.view->start();
        h.settle();
        resting = h.view->tileFrames();
        image = QImage(h.size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
    }

    // One step of a left-to-right sweep at 60 Hz, 8 points per frame.
    void step()
    {
        x += 8;
        if (x > resting.back().right())
            x = resting.front().left();
        h.pointer = QPointF(x, resting.front().center().y());
        h.advance(1.0 / 60);
    }

    // What the window repaints: the area the last steps changed, cleared, then drawn.
    void paint()
    {
        const QRegion area = std::exchange(changed, QRegion()) & image.rect();
        if (area.isEmpty())
            return;
        QPainter p(&image);
        p.setCompositionMode(QPainter::CompositionMode_Source);
        for (const QRect& r : area)
            p.fillRect(r, Qt::transparent);
        p.setCompositionMode(QPainter::CompositionMode_SourceOver);
        h.view->render(&p, area.boundingRect().topLeft(), area, QWidget::DrawChildren);
    }

    // The whole dock, as when a window is first shown.
    void paintAll()
    {
        changed = h.view->inputRegion().boundingRect().adjusted(-40, -60, 40, 20);
        paint();
    }

    DockViewHarness h;
    std::vector<QRectF> resting;
    QImage image;
    QRegion changed;
    double x = 0;
};

void tickWhileMagnifying(benchmark::State& state)
{
    Dock dock;
    for (auto _ : state)
        dock.step();
}
BENCHMARK(tickWhileMagnifying)->Unit(benchmark::kMicrosecond);

void paintWhileMagnifying(benchmark::State& state)
{
    Dock dock;
    // Warm the caches with one full sweep, as the first seconds of use would.
    for (int i = 0; i < 300; ++i) {
        dock.step();
        dock.paint();
    }
    const int before = dock.h.view->renderer().statistics().iconRenders;
    for (auto _ : state) {
        state.PauseTiming();
        dock.step();
        state.ResumeTiming();
        dock.paint();
    }
    state.counters["iconRenders"] = dock.h.view->renderer().statistics().iconRenders - before;
}
BENCHMARK(paintWhileMagnifying)->Unit(benchmark::kMicrosecond);

void firstPaint(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto dock = std::make_unique<Dock>();
        state.ResumeTiming();
        dock->paintAll();
        state.PauseTiming();
        dock.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(firstPaint)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace
} // namespace wharf::test

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
