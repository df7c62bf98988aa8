#pragma once

#include "platform/dock_window_platform.h"

#include <QAbstractNativeEventFilter>
#include <QString>

#include <xcb/xcb.h>

#include <array>
#include <memory>
#include <set>
#include <vector>

namespace wharf {

// Dock windows on X11, on Qt's own xcb connection: EWMH window type and state, the SHAPE input
// region, the strut, the compositing manager's selection (_NET_WM_CM_Sn) and the desktop
// background (_XROOTPMAP_ID, else the root window's own background).
class X11DockWindow final : public DockWindowSystem, public QAbstractNativeEventFilter {
public:
    // Whether an X display can be opened; otherwise a sentence saying why in `error`.
    static bool displayReachable(QString* error);
    // nullptr when the application does not run on the xcb platform.
    static std::unique_ptr<X11DockWindow> create();

    ~X11DockWindow() override;
    X11DockWindow(const X11DockWindow&) = delete;
    X11DockWindow& operator=(const X11DockWindow&) = delete;

    std::unique_ptr<DockWindowPlatform> attach(QWidget& window, DockWindowRole role) override;
    bool isCompositing() const override { return compositing; }
    QRect availableArea(const QRect& display) const override;
    QImage desktopBackground(const QRect& area) const override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    struct Atoms;

    // A reserved edge of another program: _NET_WM_STRUT_PARTIAL's twelve values, in root pixels.
    using Strut = std::array<uint32_t, 12>;

private:
    X11DockWindow(xcb_connection_t* connection, xcb_window_t root, int screenNumber);
    void updateCompositing();
    void updateStruts();
    QImage rootBackgroundSample() const;

    xcb_connection_t* connection;
    xcb_window_t root;
    std::unique_ptr<Atoms> atoms;
    xcb_atom_t compositorSelection = XCB_ATOM_NONE;
    xcb_window_t compositorOwner = XCB_WINDOW_NONE;
    bool compositing = false;
    int xfixesFirstEvent = -1;
    std::vector<Strut> struts; // of other programs' windows
    int rootWidth = 0;
    int rootHeight = 0;
    std::shared_ptr<std::set<xcb_window_t>> ownWindows = std::make_shared<std::set<xcb_window_t>>();
};

} // namespace wharf
