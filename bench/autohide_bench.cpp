// Auto-hide on the real clock and the real tick timer, drawn offscreen: frames per second while
// the dock reveals and hides, and what a hidden dock does at idle (frames drawn, timer wakeups).
//   build/bench/autohide_bench [idle seconds, default 10]
#include "dock/dock_view_test_support.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEnterEvent>
#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <cstdio>

namespace wharf::test {
namespace {

double seconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Counts the timer events that reach the view or anything it owns.
class WakeCounter : public QObject {
public:
    explicit WakeCounter(QWidget* view) : view(view) {}
    int wakes = 0;

protected:
    bool eventFilter(QObject* receiver, QEvent* event) override
    {
        if ((event->type() == QEvent::Timer || event->type() == QEvent::ZeroTimerEvent)
            && (receiver == view || receiver->parent() == view))
            ++wakes;
        return false;
    }

private:
    QWidget* view;
};

void spin(const std::function<bool()>& done, double limit)
{
    const double end = seconds() + limit;
    while (!done() && seconds() < end)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

struct Frame {
    double time;
    double hidden;
};

// Frames per second over the frames drawn while hiddenAmount moved strictly between its ends
// (a hiding dock stops drawing once its icons are below the screen edge).
void report(const char* what, const std::vector<Frame>& frames)
{
    std::vector<double> times;
    for (const Frame& f : frames) {
        if (f.hidden > 0 && f.hidden < 1)
            times.push_back(f.time);
    }
    if (times.size() < 2) {
        std::printf("%s: too few frames (%zu)\n", what, times.size());
        return;
    }
    const double span = times.back() - times.front();
    double longest = 0;
    for (size_t i = 1; i < times.size(); ++i)
        longest = std::max(longest, times[i] - times[i - 1]);
    std::printf("%s: %zu frames in %.3f s, %.1f fps, longest gap %.1f ms\n", what, times.size(), span,
                (times.size() - 1) / span, longest * 1000);
}

int run(double idleSeconds)
{
    DockViewHarness h;
    h.size = QSize(1920, 340);
    QStringList pins;
    for (int i = 0; i < 30; ++i)
        pins << h.app(QStringLiteral("app%1").arg(i), DockViewHarness::solidIcon(QColor::fromHsv(i * 12, 200, 220)));
    h.pin(pins);
    h.preferences.setValue(DockPreferences::autoHideKey, true);

    std::optional<QPointF> pointer; // view coordinates
    DockViewContext context;
    context.model = &h.model;
    context.preferences = &h.preferences;
    DockView view(std::move(context), false);
    view.readPointer = [&]() -> std::optional<PointerReading> {
        if (!pointer)
            return std::nullopt;
        return PointerReading{*pointer, false};
    };
    view.resize(h.size);
    view.show();
    std::vector<Frame> frames;
    view.onFrameRendered = [&](int) { frames.push_back({seconds(), view.hiddenAmount()}); };
    view.start();
    pointer = QPointF(960, -200);
    QEvent leave(QEvent::Leave); // the pointer is elsewhere: asked for, not followed by events
    QCoreApplication::sendEvent(&view, &leave);
    spin([&] { return view.hiddenAmount() == 1 && !view.isTicking(); }, 5);

    // Reveal from the edge strip: the window's enter event wakes it.
    const double centre = view.tileFrames()[15].center().x();
    frames.clear();
    pointer = QPointF(centre, h.size.height() - 1);
    QEnterEvent enter(*pointer, *pointer, view.mapToGlobal(*pointer));
    QCoreApplication::sendEvent(&view, &enter);
    spin([&] { return view.hiddenAmount() == 0 && !view.isAnimating(); }, 5);
    report("reveal", frames);

    frames.clear();
    pointer = QPointF(centre, -200);
    QCoreApplication::sendEvent(&view, &leave);
    spin([&] { return view.hiddenAmount() == 1 && !view.isTicking(); }, 5);
    report("hide", frames);

    WakeCounter counter(&view);
    qApp->installEventFilter(&counter);
    frames.clear();
    QEventLoop idle;
    QTimer::singleShot(int(idleSeconds * 1000), &idle, &QEventLoop::quit);
    idle.exec();
    qApp->removeEventFilter(&counter);
    std::printf("hidden, idle %.0f s: %zu frames drawn, %d timer wakeups, ticking %s\n", idleSeconds, frames.size(),
                counter.wakes, view.isTicking() ? "yes" : "no");
    view.stop();
    return 0;
}

} // namespace
} // namespace wharf::test

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const double idle = argc > 1 ? std::atof(argv[1]) : 10;
    return wharf::test::run(idle > 0 ? idle : 10);
}
