// Matching and scanning costs of the X11 workspace.
//   Matching needs nothing:       workspace_bench --benchmark_filter=Match
//   Scanning needs an X session:  scripts/session.sh workspace_bench
#include "platform/x11/app_matcher.h"
#include "platform/x11/window_icon_image.h"
#include "platform/x11/x11_workspace.h"

#include <QDir>
#include <QGuiApplication>

#include <benchmark/benchmark.h>
#include <xcb/xcb.h>

#include <unistd.h>

namespace {

using namespace wharf;

std::vector<DesktopEntryRecord> syntheticEntries(int count)
{
    std::vector<DesktopEntryRecord> entries;
    for (int i = 0; i < count; ++i) {
        DesktopEntryRecord entry;
        entry.id = QStringLiteral("org.example.App%1").arg(i);
        entry.path = QStringLiteral("/usr/share/applications/%1.desktop").arg(entry.id);
        entry.name = QStringLiteral("App %1").arg(i);
        if (i % 3 == 0)
            entry.startupWMClass = QStringLiteral("AppClass%1").arg(i);
        entry.program = QStringLiteral("app-%1").arg(i);
        entry.resolvedProgram = entry.program;
        if (i % 50 == 7)
            entry.steamGameId = QString::number(1000 + i);
        entries.push_back(entry);
    }
    return entries;
}

// Windows that hit every stage: toolkit ids, classes, executables behind interpreters,
// games, and programs that match nothing at all.
std::vector<WindowMetadata> syntheticWindows(int count)
{
    std::vector<WindowMetadata> windows;
    for (int i = 0; i < count; ++i) {
        WindowMetadata window;
        window.window = 0x400000 + i;
        window.pid = 1000 + i;
        const int app = (i * 37) % 500;
        switch (i % 5) {
        case 0:
            window.wmInstance = QStringLiteral("appclass%1").arg(app - app % 3);
            window.wmClass = QStringLiteral("AppClass%1").arg(app - app % 3);
            break;
        case 1:
            window.gtkApplicationId = QStringLiteral("org.example.App%1").arg(app);
            break;
        case 2:
            window.wmInstance = window.wmClass = QStringLiteral("Unknown%1").arg(i);
            window.executable = QStringLiteral("/usr/bin/python3.11");
            window.commandLine = {QStringLiteral("python3"), QStringLiteral("-u"), QStringLiteral("/opt/app-%1").arg(app)};
            break;
        case 3:
            window.wmInstance = window.wmClass = QStringLiteral("steam_app_%1").arg(1007 + 50 * (i % 10));
            break;
        default:
            window.wmInstance = window.wmClass = QStringLiteral("Stranger%1").arg(i);
            window.executable = QStringLiteral("/opt/stranger/stranger-%1").arg(i);
            break;
        }
        windows.push_back(window);
    }
    return windows;
}

void BM_Match100WindowsAgainst500Entries(benchmark::State& state)
{
    const DesktopEntryIndex index(syntheticEntries(500));
    const MatchRules rules = MatchRules::defaults();
    const std::vector<WindowMetadata> windows = syntheticWindows(100);
    int matched = 0;
    for (auto _ : state) {
        matched = 0;
        for (const WindowMetadata& window : windows)
            matched += matchWindow(window, index, rules).entry != nullptr;
        benchmark::DoNotOptimize(matched);
    }
    state.counters["matched"] = matched;
}
BENCHMARK(BM_Match100WindowsAgainst500Entries)->Unit(benchmark::kMicrosecond);

void BM_BuildIndexOf500Entries(benchmark::State& state)
{
    const std::vector<DesktopEntryRecord> entries = syntheticEntries(500);
    for (auto _ : state)
        benchmark::DoNotOptimize(DesktopEntryIndex(entries));
}
BENCHMARK(BM_BuildIndexOf500Entries)->Unit(benchmark::kMicrosecond);

// Managed client windows, each naming a different live process (so /proc is read for
// every one of them, as for real clients), in eight classes.
class ClientWindows {
public:
    explicit ClientWindows(int count)
    {
        connection = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(connection))
            return;
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        auto atom = [&](const char* name) {
            auto* reply = xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, strlen(name), name), nullptr);
            const xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
            free(reply);
            return result;
        };
        const xcb_atom_t pidAtom = atom("_NET_WM_PID");
        std::vector<uint32_t> pids;
        for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
            bool number = false;
            const uint32_t pid = entry.toUInt(&number);
            if (number && pid != static_cast<uint32_t>(getpid()))
                pids.push_back(pid);
        }
        if (pids.empty())
            pids.push_back(static_cast<uint32_t>(getppid()));
        for (int i = 0; i < count; ++i) {
            const uint32_t pid = pids[static_cast<size_t>(i) % pids.size()];
            const xcb_window_t window = xcb_generate_id(connection);
            xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 10 * i, 10, 50, 50, 0,
                              XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
            const QByteArray wmClass = QStringLiteral("bench%1").arg(i % 8).toLatin1() + '\0'
                + QStringLiteral("Bench%1").arg(i % 8).toLatin1() + '\0';
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                                wmClass.size(), wmClass.constData());
            xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, pidAtom, XCB_ATOM_CARDINAL, 32, 1, &pid);
            xcb_map_window(connection, window);
        }
        xcb_flush(connection);
    }
    ~ClientWindows() { xcb_disconnect(connection); }
    bool ok() const { return !xcb_connection_has_error(connection); }
    xcb_connection_t* connection = nullptr;
};

void BM_FullScanOf40ClientWindows(benchmark::State& state)
{
    ClientWindows clients(40);
    if (!clients.ok()) {
        state.SkipWithError("no X display: run inside scripts/session.sh");
        return;
    }
    X11Workspace workspace;
    if (!workspace.ok()) {
        state.SkipWithError(qPrintable(workspace.error()));
        return;
    }
    // Let the window manager take all of them into its client list.
    for (int tries = 0; tries < 200; ++tries) {
        workspace.rescanAll();
        if (workspace.runningApplications().size() >= 8)
            break;
        usleep(20000);
    }
    size_t windows = 0;
    for (auto _ : state) {
        workspace.rescanAll(); // every window, property and process read again
        windows = workspace.runningApplications().size();
    }
    state.counters["applications"] = static_cast<double>(windows);
}
BENCHMARK(BM_FullScanOf40ClientWindows)->Unit(benchmark::kMillisecond);

void BM_ReloadInstalledEntriesAndRematch(benchmark::State& state)
{
    ClientWindows clients(40);
    X11Workspace workspace;
    if (!clients.ok() || !workspace.ok()) {
        state.SkipWithError("no X display: run inside scripts/session.sh");
        return;
    }
    for (auto _ : state)
        workspace.reloadEntries();
}
BENCHMARK(BM_ReloadInstalledEntriesAndRematch)->Unit(benchmark::kMillisecond);

void BM_IncrementalScanWithNothingChanged(benchmark::State& state)
{
    ClientWindows clients(40);
    X11Workspace workspace;
    if (!clients.ok() || !workspace.ok()) {
        state.SkipWithError("no X display: run inside scripts/session.sh");
        return;
    }
    workspace.rescanAll();
    for (auto _ : state)
        workspace.scan();
}
BENCHMARK(BM_IncrementalScanWithNothingChanged)->Unit(benchmark::kMicrosecond);

// Every model refresh asks for the default file manager; it is cached until the
// installed applications change.
void BM_DefaultFileManagerPerRefresh(benchmark::State& state)
{
    X11Workspace workspace;
    if (!workspace.ok()) {
        state.SkipWithError("no X display: run inside scripts/session.sh");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(workspace.fileManagerLocation());
}
BENCHMARK(BM_DefaultFileManagerPerRefresh)->Unit(benchmark::kMicrosecond);

// A typical toolkit icon property: 16, 48 and 256 pixel images, the best one picked for 128.
void BM_ParseNetWmIcon(benchmark::State& state)
{
    std::vector<uint32_t> words;
    for (uint32_t side : {16u, 48u, 256u}) {
        words.push_back(side);
        words.push_back(side);
        words.insert(words.end(), size_t(side) * side, 0xff336699u);
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(bestImage(parseNetWmIcon(words.data(), words.size()), 128));
}
BENCHMARK(BM_ParseNetWmIcon)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
