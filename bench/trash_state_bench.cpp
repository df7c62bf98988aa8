// Latency from a file landing in a Trash folder to the monitor reporting a full Trash on the main
// thread (where the Trash tile is refreshed), with the shipped 80 ms coalescing. Target: <= 200 ms.
//   build/bench/trash_state_bench
#include "trash/trash_state_monitor.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

namespace {

using namespace wharf;

bool waitFor(TrashStateMonitor& monitor, TrashState wanted)
{
    QElapsedTimer limit;
    limit.start();
    while (monitor.currentState() != wanted) {
        if (limit.hasExpired(5000))
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    }
    return true;
}

void FileLandsToFullTrash(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString files = dir.filePath(QStringLiteral("Trash/files"));
    QDir().mkpath(files);
    TrashStateMonitor::Options options;
    options.directories = [files] { return Result<QStringList>(QStringList{files}); };
    TrashStateMonitor monitor(options);
    monitor.start();
    if (!waitFor(monitor, TrashState::empty)) {
        state.SkipWithError("the monitor never reported");
        return;
    }
    int round = 0;
    for (auto _ : state) {
        const QString path = files + QStringLiteral("/item-%1").arg(round++);
        QElapsedTimer timer;
        timer.start();
        QFile(path).open(QIODevice::WriteOnly);
        if (!waitFor(monitor, TrashState::full)) {
            state.SkipWithError("the full Trash was never seen");
            return;
        }
        state.SetIterationTime(double(timer.nsecsElapsed()) / 1e9);
        QFile::remove(path);
        waitFor(monitor, TrashState::empty);
    }
}
BENCHMARK(FileLandsToFullTrash)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
