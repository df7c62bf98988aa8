// Opening a stack: listing and sorting a big folder, and the click on a tile to the first
// frame of a grid.
#include "settings/dock_preferences.h"
#include "stacks/folder_access_store.h"
#include "stacks/stack_contents.h"
#include "stacks/stack_controller.h"
#include "stacks/stack_preferences.h"

#include "doubles/fake_workspace.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace wharf;

namespace {

void fill(const QTemporaryDir& dir, int count)
{
    for (int i = 0; i < count; ++i)
        QFile(dir.filePath(QStringLiteral("Document %1.txt").arg(i))).open(QIODevice::WriteOnly);
}

} // namespace

static void listAndSort(benchmark::State& state)
{
    QTemporaryDir dir;
    fill(dir, int(state.range(0)));
    const StackSettings byName{StackViewMode::automatic, StackSortOrder::name, StackDisplayMode::folder};
    for (auto _ : state) {
        auto entries = StackContents::load(dir.path(), byName);
        benchmark::DoNotOptimize(entries.value().data());
    }
}
BENCHMARK(listAndSort)->Arg(10000)->Unit(benchmark::kMillisecond);

static void clickToFirstGridFrame(benchmark::State& state)
{
    QTemporaryDir dir;
    fill(dir, 100);
    auto store = std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat);
    DockPreferences preferences(store);
    StackPreferences stackPreferences(preferences);
    stackPreferences.setSettings({StackViewMode::grid, StackSortOrder::name, StackDisplayMode::folder}, dir.path());
    FolderAccessStore access(preferences);
    FakeWorkspace workspace;
    for (auto _ : state) {
        StackController stack(dir.path(), {&workspace, &stackPreferences, &access, nullptr, nullptr, 200, {}});
        stack.open(QRectF(380, 540, 40, 40));
        // Done when the grid's window has painted its cells.
        QDeadlineTimer deadline(5000);
        while (stack.snapshot()[QStringLiteral("loads")].toInt() == 0 && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        QCoreApplication::processEvents();
        if (stack.snapshot()[QStringLiteral("columns")].toInt() == 0)
            state.SkipWithError("no grid");
    }
}
BENCHMARK(clickToFirstGridFrame)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
