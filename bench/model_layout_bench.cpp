// Layout runs on every animation tick and refresh every few seconds, so both must stay cheap.
#include "dock/dock_layout.h"
#include "model/dock_model.h"
#include "settings/dock_preferences.h"

#include "doubles/fake_workspace.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace wharf;

static void layoutFrames(benchmark::State& state)
{
    const int count = int(state.range(0));
    const double width = 1920;
    double pointer = 400;
    for (auto _ : state) {
        auto frames = DockLayout::frames(count, width, 58, 1.65, pointer, 150, width * 0.86,
                                         count / 2);
        benchmark::DoNotOptimize(frames.data());
        pointer = pointer > 1500 ? 400 : pointer + 7;
    }
}
BENCHMARK(layoutFrames)->Arg(10)->Arg(60);

static void modelRefreshWithoutChange(benchmark::State& state)
{
    QTemporaryDir dir;
    auto store = std::make_shared<QSettings>(dir.filePath("wharf.conf"), QSettings::IniFormat);
    DockPreferences preferences(store);
    FakeWorkspace workspace;
    workspace.fileManager = dir.filePath("files.desktop");
    workspace.bundleIDs[*workspace.fileManager] = "org.gnome.Nautilus";

    std::vector<DockModel::Pin> pins;
    for (int i = 0; i < 60; ++i) {
        const QString path = dir.filePath(QStringLiteral("pinned%1.desktop").arg(i));
        QFile(path).open(QIODevice::WriteOnly);
        workspace.bundleIDs[path] = QStringLiteral("org.example.Pinned%1").arg(i);
        pins.push_back({path, DockItem::Kind::application, std::nullopt});
    }
    store->setValue(DockModel::pinnedItemsKey, DockModel::encodePins(pins));
    // 20 of the pinned applications run, plus 20 that are not pinned.
    for (int i = 0; i < 40; ++i) {
        const QString path = i < 20 ? pins[size_t(i) * 3].path
                                    : dir.filePath(QStringLiteral("running%1.desktop").arg(i));
        if (i >= 20)
            QFile(path).open(QIODevice::WriteOnly);
        workspace.running.push_back(std::make_shared<const RunningApplication>(
            FakeWorkspace::app(QString::number(i), 100 + i, path)));
    }

    DockModel::Providers providers;
    providers.trashStateProvider = [] { return TrashState::empty; };
    providers.badgeLabelProvider = [](const QString&) { return std::optional<QString>(); };
    DockModel model(workspace, preferences, providers);
    int changes = 0;
    const Subscription counting = model.onChange.add([&] { ++changes; });
    model.refresh();
    changes = 0;
    for (auto _ : state)
        model.refresh();
    if (changes != 0 || model.items().size() != 1 + 60 + 20 + 1)
        state.SkipWithError("the refresh was expected to change nothing");
}
BENCHMARK(modelRefreshWithoutChange)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
