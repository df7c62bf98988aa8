#pragma once

#include "dock/dock_entry.h"
#include "dock/dock_view_renderer.h"
#include "windows/dock_window.h"

#include <QHash>
#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QRegion>
#include <QSet>
#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QTimer;

namespace wharf {

class DockModel;
class DockPreferences;
class DockTile;

// What the view reads from its owner.
struct DockViewContext {
    DockModel* model = nullptr;                                // items() + onChange owned by the delegate
    std::function<std::vector<DockWindow>()> minimizedWindows; // may be empty
    DockPreferences* preferences = nullptr;
    std::function<bool()> platformIsDark;                      // desktop colour scheme (empty = light)
    std::function<bool()> reduceMotion;                        // empty = false
    // Seams for tests and benchmarks; empty = the real source.
    std::function<double()> uptime;                            // monotonic seconds
    std::function<std::optional<QPointF>()> pointerLocation;   // global pointer, Qt screen coordinates
};

// The dock of one display: one tile per entry, animated on a tick at the display's
// refresh rate, drawn over a glass shelf. Geometry from DockLayout is y-up from the
// view's bottom; everything public here is in widget coordinates (y down).
class DockView : public QWidget {
    Q_OBJECT

public:
    DockView(DockViewContext context, bool isFullScreenOverlay, QWidget* parent = nullptr);
    ~DockView() override;

    void start(); // timers and observers on
    void stop();  // and off
    void reload(); // re-read model items and minimized windows
    void tick();   // one animation step
    void markLayoutDirty();

    bool isFullScreenOverlay() const;
    const std::vector<DockEntry>& entries() const;
    std::vector<QRectF> tileFrames() const; // current frames in widget coordinates
    std::optional<int> hoveredIndex() const;
    double restingContentHeight() const;    // for window avoidance and struts
    QRegion inputRegion() const;            // where the view takes the mouse

    std::function<void()> onInputRegionChanged; // called only when inputRegion changes
    std::function<void(int)> onFrameRendered;   // optional, counts frames for benchmarks

    // Introspection for tests and the benchmark.
    const std::vector<DockTile*>& tiles() const;
    std::optional<int> separatorIndex() const;
    bool isAnimating() const;
    bool isTicking() const; // the tick timer runs
    int retiringIconCount() const;
    const DockViewRenderer& renderer() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool event(QEvent* event) override;

private:
    struct RetiringIcon {
        DockEntry entry;
        QRectF frame;
        double started = 0;
        double alpha = 1;
    };
    struct Transition {
        double started = 0;
        bool closing = false;
    };

    double now() const;
    std::optional<QPointF> pointerInView() const;
    double backingScale() const;
    bool dark() const;
    bool reducesMotion() const;
    double magnification() const;
    double baseIconSize() const;
    double preferredDockWidth() const;
    std::vector<QRectF> layoutFrames(std::optional<double> pointerX, double magnificationFactor) const;
    std::vector<QRectF> layoutFrames(std::optional<double> pointerX, double magnificationFactor, double baseSize,
                                     double dockWidth) const;
    std::vector<DockEntry> assembleEntries() const;
    QIcon iconForPid(pid_t pid) const;
    QRectF clickFrame(const DockTile& tile) const;
    bool insideHoverZone(const QPointF& pointer) const;
    double hideDistance() const;
    bool placeTiles(); // true when a tile got a new frame
    bool updateHovered(const std::optional<QPointF>& pointer);
    void updateInputRegion(const std::optional<QPointF>& pointer);
    void repaintScene();
    void ensureTicking();
    void stopTickingWhenIdle(const std::optional<QPointF>& pointer);
    void notifyAccessibility();
    DockViewRenderer::Scene currentScene() const;

    DockViewContext context;
    bool overlay = false;
    bool started = false;
    std::vector<DockEntry> entryList;
    std::vector<DockTile*> tileList;
    std::vector<QRectF> frames;  // current animated frames, layout coordinates
    std::vector<QRectF> targets; // where they are heading
    QRectF hoverShelf;           // shelf of the current frames, for the hover zone
    std::optional<int> hovered;
    QTimer* timer = nullptr;
    std::optional<int> dropIndex;
    QString activeDragID;
    double hiddenAmount = 0;
    std::optional<QPointF> lastPointer;
    bool layoutDirty = true;
    bool animating = true;
    double lastTickTime = 0;
    QSet<QString> appearingIDs;
    QSet<QString> runningIDs;
    std::optional<Transition> membershipTransition;
    std::vector<QRectF> membershipOrigins;
    QHash<QString, double> appearanceOrigins;
    std::vector<RetiringIcon> retiringIcons;
    std::optional<int> separator;
    QRegion currentInputRegion;
    QRegion paintedBounds; // widget area covered by the last scene
    bool pointerEvents = false; // the pointer is inside: motion events report it
    QPointF lastEventPointer;   // global
    int framesRendered = 0;
    std::unique_ptr<DockViewRenderer> drawing;
};

} // namespace wharf
