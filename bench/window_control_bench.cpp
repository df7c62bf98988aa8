// Window control against a real X server and window manager (run inside scripts/session.sh):
//   scripts/session.sh build/bench/window_control_bench
// Reading every window of 40 programs with 5 windows each, and the time from a window landing in
// the dock's band to its corrected frame (the worker's 0.1-second gathering delay included).
#include "platform/x11/x11_window_control.h"
#include "platform/x11/x11_window_mover.h"
#include "windows/dock_avoidance_worker.h"
#include "windows/serial_worker.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>
#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <unistd.h>

namespace {

using namespace wharf;

xcb_atom_t atom(xcb_connection_t* c, const char* name)
{
    auto* reply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr);
    const xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return result;
}

// Normal client windows, `perProcess` of each of `processes` made-up pids, managed by the window manager.
struct Clients {
    Clients(int processes, int perProcess)
    {
        c = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(c))
            return;
        screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        const xcb_atom_t pidAtom = atom(c, "_NET_WM_PID");
        for (int p = 0; p < processes; ++p) {
            for (int w = 0; w < perProcess; ++w) {
                const uint32_t pid = 100000 + p;
                windows.push_back(make(pid, 20 + 10 * w, 20 + 10 * p, 200, 150, pidAtom));
            }
        }
        xcb_flush(c);
    }
    ~Clients() { xcb_disconnect(c); }

    xcb_window_t make(uint32_t pid, int x, int y, int width, int height, xcb_atom_t pidAtom)
    {
        const xcb_window_t window = xcb_generate_id(c);
        const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, x, y, width, height, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, &mask);
        const char title[] = "bench window";
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, sizeof(title) - 1, title);
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, pidAtom, XCB_ATOM_CARDINAL, 32, 1, &pid);
        xcb_size_hints_t hints{};
        xcb_icccm_size_hints_set_position(&hints, 1, x, y);
        xcb_icccm_set_wm_normal_hints(c, window, &hints);
        xcb_map_window(c, window);
        return window;
    }

    bool ok() const { return c && !xcb_connection_has_error(c); }
    xcb_connection_t* c = nullptr;
    xcb_screen_t* screen = nullptr;
    std::vector<xcb_window_t> windows;
};

void BM_ReadWindowsOf40ProgramsWith5Each(benchmark::State& state)
{
    Clients clients(40, 5);
    X11WindowControl control;
    if (!clients.ok() || !control.ok()) {
        state.SkipWithError("no X display: run inside scripts/session.sh");
        return;
    }
    const auto reader = control.makeReader();
    std::size_t read = 0;
    for (int tries = 0; tries < 300 && read < 200; ++tries, usleep(20000))
        read = reader->clientWindows(128).size();
    for (auto _ : state)
        read = reader->clientWindows(128).size();
    state.counters["windows"] = double(read);
}
BENCHMARK(BM_ReadWindowsOf40ProgramsWith5Each)->Unit(benchmark::kMillisecond);

void BM_WindowInTheBandToCorrectedFrame(benchmark::State& state)
{
    Clients clients(0, 0);
    if (!clients.ok()) {
        state.SkipWithError("no X display: run inside scripts/session.sh");
        return;
    }
    const xcb_window_t window = clients.make(uint32_t(getppid()), 300, 200, 400, 300, atom(clients.c, "_NET_WM_PID"));
    xcb_flush(clients.c);
    usleep(300000); // managed and decorated

    const DockAvoidanceRegion region{1, QRectF(0, 0, clients.screen->width_in_pixels, clients.screen->height_in_pixels),
                                     QRectF(0, 0, clients.screen->width_in_pixels, clients.screen->height_in_pixels - 80)};
    const auto permit = std::make_shared<DockAvoidancePermit>();
    permit->setActive(true);
    auto worker = std::make_shared<DockAvoidanceWorker>(permit, [] { return std::make_unique<X11WindowMover>(); });
    auto queue = std::make_unique<SerialWorker>(QStringLiteral("com.tamberly.Wharf.window-avoidance"));
    queue->post([worker, region] { worker->configure({region}, true, true); });
    usleep(300000);

    const int usableBottom = int(region.usableFrame.bottom());
    int y = 0;
    std::vector<double> times;
    for (auto _ : state) {
        // The client puts itself 40 pixels into the band, as a drag that just ended would.
        const uint32_t into[] = {uint32_t(300 + (y++ % 2) * 7), uint32_t(usableBottom - 300 + 40)};
        const auto start = std::chrono::steady_clock::now();
        xcb_configure_window(clients.c, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, into);
        xcb_flush(clients.c);
        // Done when the window manager reports the client above the band (its frame adds a title bar).
        bool inBand = false, corrected = false;
        while (!corrected) {
            xcb_generic_event_t* event = xcb_wait_for_event(clients.c);
            if (!event)
                break;
            if (event->response_type == (XCB_CONFIGURE_NOTIFY | 0x80)) {
                const auto* configure = reinterpret_cast<xcb_configure_notify_event_t*>(event);
                const int bottom = configure->y + configure->height;
                inBand = inBand || bottom > usableBottom;
                corrected = inBand && bottom <= usableBottom;
            }
            std::free(event);
        }
        times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        state.SetIterationTime(times.back());
        usleep(900000); // past the corrected window's cooldown
    }
    std::sort(times.begin(), times.end());
    if (!times.empty())
        state.counters["median_ms"] = times[times.size() / 2] * 1000;
    queue->post([worker = std::move(worker)]() mutable { worker.reset(); });
    queue.reset();
}
BENCHMARK(BM_WindowInTheBandToCorrectedFrame)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
