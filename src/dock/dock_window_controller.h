#pragma once

#include "dock/dock_view.h"
#include "platform/callback_list.h"

#include <QPointer>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>

class QScreen;

namespace wharf {

class DockPanel;
class DockWindowPlatform;
class DockWindowSystem;

// One dock window along the bottom of one display: the panel and the dock view it hosts.
// The normal dock is shown at once; the full-screen overlay dock stays unmapped until its
// display shows a full-screen window.
class DockWindowController {
public:
    // `system` may be null (no window system integration, e.g. the offscreen platform).
    DockWindowController(QScreen* screen, DockViewContext context, bool fullScreenOverlay,
                         DockWindowSystem* system);
    ~DockWindowController();
    DockWindowController(const DockWindowController&) = delete;
    DockWindowController& operator=(const DockWindowController&) = delete;

    // Stops the view and closes the window; the controller is finished afterwards.
    void close();

    DockView& dockView() { return *view; }
    const DockView& dockView() const { return *view; }
    DockPanel& panel() { return *window; }
    const DockPanel& panel() const { return *window; }
    QScreen* screen() const { return display; }
    QString displayName() const { return name; }
    bool isMapped() const;
    // Keeps maximized and newly placed windows out of the bottom `height` points; 0 for none.
    void setBottomReservation(int height);

    // The display entered or left a full-screen space (the windows are already shown or hidden).
    std::function<void()> onFullScreenChanged;

    // 0 when the screen has no name to derive it from.
    std::uint32_t displayID = 0;

    // A stable identifier per output, derived from the screen's name ("HDMI-1", "LEFT").
    static std::uint32_t displayIdentifier(const QString& screenName);

private:
    void place();
    void followFullScreen(bool inFullScreen);
    void applyInputRegion();
    void updateBackdrop();
    QRegion drawnRegion();

    QPointer<QScreen> display;
    QString name;
    std::unique_ptr<DockPanel> window;
    DockView* view = nullptr; // owned by the panel
    std::unique_ptr<DockWindowPlatform> platform;
    DockWindowSystem* system = nullptr;
    CallbackList<bool>::Subscription compositingSubscription;
    CallbackList<>::Subscription areaSubscription;
    CallbackList<>::Subscription backgroundSubscription;
    Subscription stackingSubscription;
    CallbackList<bool>::Subscription focusSubscription;
    int reservation = 0;
    bool closed = false;
};

} // namespace wharf
