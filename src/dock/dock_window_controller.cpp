#include "dock/dock_window_controller.h"

#include "dock/dock_full_screen_state.h"
#include "dock/dock_panel.h"
#include "platform/dock_window_platform.h"
#include "settings/dock_preferences.h"

#include <QBitmap>
#include <QImage>
#include <QPainter>
#include <QScreen>

#include <algorithm>
#include <QVBoxLayout>

namespace wharf {

std::uint32_t DockWindowController::displayIdentifier(const QString& screenName)
{
    if (screenName.isEmpty())
        return 0;
    // FNV-1a: the same name gives the same identifier in every run.
    std::uint32_t hash = 2166136261u;
    for (const char byte : screenName.toUtf8()) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 16777619u;
    }
    return hash == 0 ? 1 : hash;
}

DockWindowController::DockWindowController(QScreen* screen, DockViewContext context, bool fullScreenOverlay,
                                           DockWindowSystem* system)
    : display(screen), name(screen ? screen->name() : QString()), window(std::make_unique<DockPanel>()),
      system(system)
{
    displayID = displayIdentifier(name);
    if (system)
        platform = system->attach(*window, fullScreenOverlay ? DockWindowRole::fullScreenOverlay : DockWindowRole::normal);
    else
        window->setWindowFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
    window->setAttribute(Qt::WA_TranslucentBackground);
    if (screen)
        window->setScreen(screen);
    place();

    // The view lays itself out once while it still has a child widget's placeholder size; an icon
    // size derived from that must not stick.
    DockPreferences* preferences = context.preferences;
    DockFullScreenState* fullScreen = context.fullScreenState;
    const bool hadRestingSize = preferences && preferences->restingIconSize() > 0;
    view = new DockView(std::move(context), fullScreenOverlay, window.get());
    auto* layout = new QVBoxLayout(window.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    // A layout does nothing for a window that is not shown, and the overlay dock is not: the view
    // needs its real size from the start, or its first layout derives the icon size from a stub.
    view->setGeometry(window->rect());
    if (preferences && !hadRestingSize)
        preferences->setRestingIconSize(0);

    view->onInputRegionChanged = [this] { applyInputRegion(); };
    view->hoverLabelView().onOutlineChanged = [this](const QRegion& outline) {
        if (platform)
            platform->setLabelRegion(outline.translated(view->pos()));
    };
    view->readPointer = [this]() -> std::optional<PointerReading> {
        auto reading = platform ? platform->readPointer() : std::nullopt;
        if (reading)
            reading->position -= view->pos();
        return reading;
    };
    view->pauseMotionEvents = [this](bool paused) { return platform && platform->pauseMotionEvents(paused); };
    view->followPointer = [this]() -> std::optional<QPointF> {
        auto moved = platform ? platform->followPointer() : std::nullopt;
        if (moved)
            *moved -= view->pos();
        return moved;
    };
    view->paintDirectly = [this](const QRegion& region) {
        const QPoint at = view->pos();
        // The window's widgets are the backdrop, the view and the view's badges: painted here
        // in that order, as Qt would, without a paint event for each.
        const auto draw = [this, at](QPainter& painter, const QRegion& area) {
            window->paintBackdrop(painter, area);
            painter.translate(at);
            view->paint(painter, area.translated(-at));
            painter.translate(-at);
        };
        // A backdrop is copied under everything it covers: nothing there needs clearing first.
        const QRect copied = window->hasBackdrop() ? window->backdropArea() : view->copiedArea().translated(at);
        return platform && platform->paintDirectly(region.translated(at), copied, draw);
    };
    view->onFullScreenChanged = [this](bool inFullScreen) { followFullScreen(inFullScreen); };
    if (fullScreenOverlay && fullScreen) {
        // Anything raised since (the full-screen window itself, when clicked) goes below again.
        stackingSubscription = fullScreen->onRestack.add([this] {
            if (isMapped())
                window->raise();
        });
    }
    window->onKeyboardModeChanged = [this](bool on, std::uint32_t eventTime) {
        view->markLayoutDirty(); // keyboard mode keeps an auto-hiding dock shown
        return platform ? platform->setAcceptsFocus(on, eventTime) : window->isActiveWindow();
    };
    if (system) {
        view->setOpaqueEdge(!system->isCompositing());
        compositingSubscription = system->compositingChanged.add([this](bool on) {
            view->setOpaqueEdge(!on);
            updateBackdrop();
            applyInputRegion();
        });
        if (platform)
            focusSubscription = platform->focusChanged.add([this](bool focused) { window->windowFocusChanged(focused); });
        areaSubscription = system->availableAreaChanged.add([this] { place(); });
        backgroundSubscription = system->desktopBackgroundChanged.add([this] { updateBackdrop(); });
    }
    applyInputRegion();

    if (!fullScreenOverlay) {
        window->show();
        applyInputRegion();
    }
    view->start();
}

DockWindowController::~DockWindowController() { close(); }

void DockWindowController::close()
{
    if (closed)
        return;
    closed = true;
    view->onInputRegionChanged = nullptr;
    view->onFullScreenChanged = nullptr;
    view->hoverLabelView().onOutlineChanged = nullptr;
    stackingSubscription.reset();
    compositingSubscription.reset();
    areaSubscription.reset();
    backgroundSubscription.reset();
    focusSubscription.reset();
    view->stop();
    window->onKeyboardModeChanged = nullptr;
    window->close();
}

void DockWindowController::setBottomReservation(int height)
{
    height = std::max(0, height);
    if (closed || height == reservation)
        return;
    reservation = height;
    if (platform)
        platform->setBottomReservation(height);
}

void DockWindowController::place()
{
    if (!display) {
        window->resize(1, DockPanel::height);
        return;
    }
    // Along the bottom of what other programs leave: another panel there stays visible.
    // (Qt's available geometry would also take off the docks' own reservation.)
    const QRect area = system ? system->availableArea(display->geometry()) : display->geometry();
    const QRect frame(area.x(), area.y() + area.height() - DockPanel::height, area.width(), DockPanel::height);
    if (frame == window->geometry())
        return;
    window->setGeometry(frame);
    if (view)
        view->setGeometry(window->rect());
    if (platform && reservation > 0)
        platform->setBottomReservation(reservation); // struts count from the window's new edge
    updateBackdrop();
}

void DockWindowController::updateBackdrop()
{
    if (!system || closed)
        return;
    window->setBackdrop(system->isCompositing() ? QImage() : system->desktopBackground(window->geometry()));
}

void DockWindowController::followFullScreen(bool inFullScreen)
{
    // The normal dock stays out of full-screen spaces; the overlay dock lives only in them.
    const bool shown = view->isFullScreenOverlay() == inFullScreen;
    if (shown) {
        window->show();
        window->raise();
        applyInputRegion();
    } else {
        window->hide();
    }
    if (onFullScreenChanged)
        onFullScreenChanged();
}

bool DockWindowController::isMapped() const { return !closed && window->isVisible(); }

void DockWindowController::applyInputRegion()
{
    if (!platform)
        return;
    platform->setInputRegion(view->inputRegion().translated(view->pos()));
    if (system && !system->isCompositing() && window->isVisible())
        platform->setVisibleRegion(drawnRegion());
}

QRegion DockWindowController::drawnRegion()
{
    // Only without a compositor, and only when the input region changes (the row settled or
    // the pointer left it): one extra frame, thresholded at half opacity. The hover label moves
    // on its own (the platform's label region).
    const QImage frame = view->grab().toImage();
    QRegion drawn(QBitmap::fromImage(frame.createAlphaMask(Qt::ThresholdAlphaDither)));
    const qreal scale = frame.devicePixelRatio();
    if (!qFuzzyCompare(scale, 1.0)) {
        QRegion logical;
        for (const QRect& r : drawn)
            logical += QRectF(r.x() / scale, r.y() / scale, r.width() / scale, r.height() / scale).toAlignedRect();
        drawn = logical;
    }
    return drawn.subtracted(view->hoverLabelView().outline()).translated(view->pos());
}

} // namespace wharf
