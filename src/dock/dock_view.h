#pragma once

#include "dock/dock_auto_hide.h"
#include "dock/dock_badge_overlay.h"
#include "dock/dock_divider.h"
#include "dock/dock_entry.h"
#include "dock/dock_frame_clock.h"
#include "dock/dock_hover.h"
#include "dock/dock_hover_label.h"
#include "dock/dock_input_region.h"
#include "dock/dock_interaction.h"
#include "dock/dock_row_animation.h"
#include "dock/dock_stack_presenter.h"
#include "dock/dock_view_accessible.h"
#include "dock/dock_view_renderer.h"
#include "platform/callback_list.h"
#include "platform/dock_window_platform.h"
#include "windows/dock_window.h"

#include <QHash>
#include <QImage>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QRegion>
#include <QSet>
#include <QString>
#include <QUrl>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QAccessibleEvent;
class QDrag;
class QDropEvent;
class QMenu;
class QTimer;

namespace wharf {

class DockFullScreenState;
class DockModel;
class DockPreferences;
class DockTile;

// What the user's gestures ask for, carried out by the view's owner; entries are named by
// DockEntry::identifier() and indices are displayed model indices. `eventTime` is the X server
// time of the click or key press (0 when there was none). An empty callback does nothing.
struct DockViewActions {
    // A click, Return or an accessibility press: open or switch to the entry.
    std::function<void(const QString& entryID, std::uint32_t eventTime)> activate;
    // Ctrl-click on a folder: open the item itself (the folder in the file manager, not its stack).
    std::function<void(const QString& entryID, std::uint32_t eventTime)> openItem;
    // Fills the entry's context menu (the item's own entries and its windows).
    std::function<void(const QString& entryID, QMenu& menu)> fillMenu;
    // Drags inside the dock and drops from other programs.
    std::function<void(const QString& entryID, int displayedIndex)> move;
    std::function<void(const QString& entryID)> remove;
    std::function<void(const QString& path, std::optional<int> displayedIndex)> pin;
    std::function<void(const QList<QUrl>& urls, const QString& targetID, bool copyFiles)> open;
};

// What the view reads from its owner.
struct DockViewContext {
    DockModel* model = nullptr;                                // items() + onChange owned by the delegate
    std::function<std::vector<DockWindow>()> minimizedWindows; // may be empty
    DockPreferences* preferences = nullptr;
    std::function<bool()> platformIsDark;                      // desktop colour scheme (empty = light)
    std::function<bool()> reduceMotion;                        // empty = false
    DockFullScreenState* fullScreenState = nullptr;            // null: no display is ever full screen
    std::function<bool()> menuTracking;                        // a menu of the application is open
    // Seams for tests and benchmarks; empty = the real source.
    std::function<double()> uptime;                            // monotonic seconds
    std::function<void(QAccessibleEvent*)> accessibilityEvent;  // Qt's accessibility bridge
    DockViewActions actions;
    // Builds the application's menu (the divider's context menu); the caller owns it. Empty: none.
    std::function<QMenu*(QWidget* parent)> applicationMenu;
};

// The dock of one display: one tile per entry, animated on a tick at the display's
// refresh rate, drawn over a glass shelf. Each step of the tick belongs to a unit of its own:
// auto-hide, hover, interaction, the divider, stacks, the row animation, the input region,
// the hover label and the badges. Geometry from DockLayout is y-up from the
// view's bottom; everything public here is in widget coordinates (y down).
class DockView : public QWidget {
    Q_OBJECT

public:
    DockView(DockViewContext context, bool isFullScreenOverlay, QWidget* parent = nullptr);
    ~DockView() override;

    void start(); // timers and observers on
    void stop();  // and off
    void reload(); // re-read model items and minimized windows
    void reloadBadges(); // only badges, progress or attention changed: no layout, no scene repaint
    // A folder stack opened over this dock (`close` closes it), or gone (null): while one is open
    // the row holds still and the hover label hides.
    void setStack(std::function<void()> close);
    void tick();   // one animation step
    void markLayoutDirty();

    // What a click, a key or an assistive tool does to the entry at `index`; shared by the
    // pointer, keyboard mode, accessibility and the D-Bus API.
    void activateEntry(int index, std::uint32_t eventTime);
    void showEntryMenu(int index, std::uint32_t eventTime);
    // Keyboard mode, started by the global shortcut: the dock's window takes the keyboard with the
    // first entry selected; arrows and Tab move the selection, Return activates it, Space and the
    // up and down arrows open its menu, Escape leaves. Leaving gives the keyboard back to the window
    // that had it. `eventTime` is the X server time of the key press (0 when none).
    void beginKeyboardNavigation(std::uint32_t eventTime);
    void endKeyboardNavigation(std::uint32_t eventTime = 0);
    std::optional<int> keyboardIndex() const { return interaction.keyboardIndex; }

    // A menu of this dock is open: the dock stays shown and keeps its hover state meanwhile.
    bool isMenuTracking() const { return openMenus > 0; }
    // Counts `menu` as open until it hides (every menu the dock pops up goes through here).
    void trackMenu(QMenu& menu);

    // The divider (dock_divider_view.cpp): a drag resizes the dock, `point` in view coordinates.
    void beginDividerResize(const QPointF& point);
    void updateDividerResize(const QPointF& point);
    void endDividerResize(const QPointF& point);
    void stepDividerSize(int direction); // +1 / -1: the icon size by 2 points, as assistive tools step
    double actualWidthFraction() const;
    std::optional<ResizeAxis> resizeAxis() const;
    std::optional<QRect> dividerFrame() const; // view coordinates; none while hidden
    // The application's menu at `globalPosition`, counted as one of the dock's menus.
    void showApplicationMenu(const QPoint& globalPosition);

    const DockHoverLabel& hoverLabelView() const { return hoverLabel; }
    DockHoverLabel& hoverLabelView() { return hoverLabel; }
    const DockBadgeOverlay& badgeOverlay() const { return *badges; }

    bool isFullScreenOverlay() const;
    // 0 shown to 1 hidden (auto-hide, and the overlay dock waiting at the screen edge).
    double hiddenAmount() const { return autoHide.hiddenAmount(); }
    // The view's display shows a full-screen window (as of the last tick).
    bool isInFullScreenSpace() const { return autoHide.isInFullScreenSpace(); }
    // Told when the view's display enters (true) or leaves a full-screen space, during the tick.
    std::function<void(bool)> onFullScreenChanged;
    // The window shows no translucency (no compositor): a hidden dock draws its edge strip.
    void setOpaqueEdge(bool opaque);
    const std::vector<DockEntry>& entries() const;
    std::vector<QRectF> tileFrames() const; // current frames in widget coordinates
    std::optional<int> hoveredIndex() const;
    std::optional<DockPendingDrop> pendingDrop() const; // none while no other program's drag is over
    std::optional<DockOwnDrag> ownDrag() const;
    double restingContentHeight() const;    // for window avoidance and struts
    QRegion inputRegion() const;            // where the view takes the mouse

    std::function<void()> onInputRegionChanged; // called only when inputRegion changes
    std::function<void(int)> onFrameRendered;   // optional, counts frames for benchmarks
    // The pointer in view coordinates and the buttons, asked of the window system: where the
    // pointer is while no motion events come, and how a drag ended. Empty or no answer = unknown
    // (a drag's end then goes by Qt's last known state).
    std::function<std::optional<PointerReading>()> readPointer;
    // Stops (true) or restarts the window's motion events while the pointer is read once a frame
    // instead; answers whether they stopped. Empty = motion events drive every step.
    std::function<bool(bool paused)> pauseMotionEvents;
    // Meanwhile: where the pointer has moved in the view since the last call, empty if nowhere.
    std::function<std::optional<QPointF>()> followPointer;
    // Draws a changed area of the view (view coordinates) straight to the screen; empty or false =
    // repaint through Qt.
    std::function<bool(const QRegion&)> paintDirectly;
    // What the next paint sets outright, with no need to clear it first.
    QRect copiedArea() const { return drawing->copiedArea(tickScene ? *tickScene : currentScene()); }
    // Paints `area` (view coordinates) of the view and its badges, as Qt's rendering of the view
    // and its children would, with far less of Qt's machinery per frame.
    void paint(QPainter& painter, const QRegion& area);
    // Runs a drag of one of the dock's own tiles to its end; empty = QDrag::exec. A seam for tests.
    std::function<Qt::DropAction(QDrag&)> runDrag;

    // The private drag type of the dock's own items; its value is the entry identifier.
    static inline const QString internalType = QStringLiteral("com.tamberly.Wharf.item");

    // Introspection for tests and the benchmark.
    const std::vector<DockTile*>& tiles() const;
    std::optional<int> separatorIndex() const;
    bool isAnimating() const;
    bool isTicking() const; // the tick timer runs
    int retiringIconCount() const;
    const DockViewRenderer& renderer() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void paintArea(QPainter& painter, const QRegion& area, bool withBadges);
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    double now() const;
    std::optional<QPointF> pointerInView();
    double backingScale() const;
    bool dark() const;
    bool reducesMotion() const;
    double magnification() const;
    double baseIconSize() const;
    double preferredDockWidth() const;
    std::vector<QRectF> layoutFrames(std::optional<double> pointerX, double magnificationFactor) const;
    std::vector<QRectF> layoutFrames(std::optional<double> pointerX, double magnificationFactor, double baseSize,
                                     double dockWidth) const;
    std::optional<double> magnificationCentre(const std::optional<QPointF>& pointer,
                                              const std::vector<QRectF>& resting) const;
    std::vector<DockEntry> assembleEntries() const;
    QIcon iconOfApplication(const QString& key) const;
    double hideDistance() const;
    bool keepsShown() const;
    void followFullScreen();
    bool placeTiles(); // true when a tile got a new frame
    void updateInputRegion(const std::optional<QPointF>& pointer);
    void repaintScene();
    // Draws `area` now, straight to the screen where the window allows, else through Qt.
    void repaintArea(const QRegion& area);
    void ensureTicking();
    void tickOnPointerMotion();
    void stopTicking();
    void resumeMotionEvents();
    void stopTickingWhenIdle(const std::optional<QPointF>& pointer);
    void notifyAccessibility();
    // Pointer and drag-and-drop (dock_view_pointer.cpp).
    void activateTile(int index, std::uint32_t eventTime, Qt::KeyboardModifiers modifiers);
    void beginDrag(int index, const QPointF& pressPoint);
    void dragUpdated(QDropEvent& event);
    void performDrop(QDropEvent& event);
    std::optional<int> indexOf(const QString& entryID) const;
    std::optional<int> dropTargetAt(const QPointF& layoutPoint) const;
    void keyboardModeChanged(bool on);
    void keepSelectionInRange();
    void announceSelection();
    DockViewRenderer::Scene currentScene() const;

    DockViewContext context;
    bool overlay = false;
    bool started = false;
    std::vector<DockEntry> entryList;
    std::vector<DockTile*> tileList;
    std::vector<QRectF> frames;  // current animated frames, layout coordinates
    std::vector<QRectF> targets; // where they are heading
    std::vector<QRectF> drawnFrames; // `frames` as drawn: resting icons kept steady while the row breathes
    QTimer* timer = nullptr; // single shot, armed for each frame while ticking
    DockFrameClock frameClock;
    bool ticking = false;
    bool restedOnce = false; // the row has stood at rest at the view's real size
    std::optional<QPointF> lastPointer;
    bool layoutDirty = true;
    bool animating = true;
    double lastTickTime = 0;
    std::vector<bool> running; // per entry: a running application
    std::optional<int> separator;
    DockViewRenderer::Footprint painted; // what the last scene put where
    // The scene a step compared with the last one, which the step's paint draws: nothing changes
    // in between. Empty outside a step.
    std::optional<DockViewRenderer::Scene> tickScene;
    mutable std::optional<QColor> accent; // the palette's highlight, until the palette or activation changes
    bool pointerEvents = false; // the pointer is inside: motion events report it
    QPointF lastEventPointer;   // widget coordinates
    bool motionPaused = false;  // the pointer is read each frame instead of by motion events
    bool confirmingPointer = false; // motion events resumed: one more reading, then they report it
    DockAutoHide autoHide;
    DockHover hover;
    DockInteraction interaction;
    DockDivider divider;
    DockStackPresenter stacks;
    DockRowAnimation animation;
    DockInputRegion inputArea;
    DockHoverLabel hoverLabel;
    bool collectingRepaint = false; // within a tick: repaints wait for its end
    QRegion collectedRepaint;
    DockBadgeOverlay* badges = nullptr; // a child widget above the tiles
    DockAccessibilityAnnouncer accessibility;
    int framesRendered = 0;
    int openMenus = 0;
    QPointer<DockTile> pressedTile; // the tile a press is in progress on
    bool opaqueEdge = false;
    std::unique_ptr<DockViewRenderer> drawing;
    Subscription fullScreenSubscription;
};

} // namespace wharf
