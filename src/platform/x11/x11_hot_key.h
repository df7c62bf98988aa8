#pragma once

#include "platform/hot_key.h"

#include <QAbstractNativeEventFilter>

#include <xcb/xcb.h>

#include <memory>
#include <vector>

namespace wharf {

// Ctrl+Alt+D as a passive key grab on the root window of Qt's own X connection, once for every
// combination of Caps Lock and Num Lock (they change the modifier state of the press). Presses
// arrive through a native event filter on the main thread.
class X11HotKey : public HotKey, private QAbstractNativeEventFilter {
public:
    // Null when the application does not run on X11.
    static std::unique_ptr<X11HotKey> create();
    ~X11HotKey() override;
    X11HotKey(const X11HotKey&) = delete;
    X11HotKey& operator=(const X11HotKey&) = delete;

    Result<void, HotKeyError> registerShortcut(std::function<void(std::uint32_t eventTime)> handler) override;
    void remove() override;

private:
    X11HotKey(xcb_connection_t* connection, xcb_window_t root);
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void ungrab();

    xcb_connection_t* connection;
    xcb_window_t root;
    xcb_keycode_t keycode = 0;
    uint16_t lockMasks = 0;             // Caps Lock | Num Lock
    std::vector<uint16_t> grabbed;      // modifier sets held
    std::function<void(std::uint32_t)> handler;
    bool filtering = false;
};

} // namespace wharf
