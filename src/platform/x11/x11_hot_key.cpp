#include "platform/x11/x11_hot_key.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <xcb/xcb_keysyms.h>

#include <cstdlib>

namespace wharf {

namespace {

constexpr xcb_keysym_t keysymD = 0x0064;
constexpr xcb_keysym_t keysymNumLock = 0xff7f;
constexpr uint16_t shortcutModifiers = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
constexpr uint16_t allModifiers = 0xff; // Shift, Lock, Control, Mod1 … Mod5; not the buttons

struct KeySymbolsFree {
    void operator()(xcb_key_symbols_t* symbols) const { xcb_key_symbols_free(symbols); }
};
struct Free {
    void operator()(void* p) const { std::free(p); }
};

} // namespace

std::unique_ptr<X11HotKey> X11HotKey::create()
{
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return nullptr;
    xcb_connection_t* connection = x11->connection();
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    if (!screen)
        return nullptr;
    return std::unique_ptr<X11HotKey>(new X11HotKey(connection, screen->root));
}

X11HotKey::X11HotKey(xcb_connection_t* connection, xcb_window_t root) : connection(connection), root(root) {}

X11HotKey::~X11HotKey()
{
    remove();
}

Result<void, HotKeyError> X11HotKey::registerShortcut(std::function<void(std::uint32_t)> onPress)
{
    remove();
    const HotKeyError failed{QStringLiteral("register Control–Option–D"), 0};
    const std::unique_ptr<xcb_key_symbols_t, KeySymbolsFree> symbols(xcb_key_symbols_alloc(connection));
    if (!symbols)
        return failed;
    const std::unique_ptr<xcb_keycode_t, Free> codes(xcb_key_symbols_get_keycode(symbols.get(), keysymD));
    if (!codes || *codes == XCB_NO_SYMBOL)
        return failed;
    keycode = *codes;

    // Num Lock sits on whichever ModN the keyboard map says.
    lockMasks = XCB_MOD_MASK_LOCK;
    const std::unique_ptr<xcb_get_modifier_mapping_reply_t, Free> mapping(
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr));
    if (mapping) {
        const xcb_keycode_t* keys = xcb_get_modifier_mapping_keycodes(mapping.get());
        const int perModifier = mapping->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                const xcb_keycode_t key = keys[modifier * perModifier + i];
                if (key != 0 && xcb_key_symbols_get_keysym(symbols.get(), key, 0) == keysymNumLock)
                    lockMasks |= uint16_t(1u << modifier);
            }
        }
    }

    std::vector<uint16_t> combinations{0, XCB_MOD_MASK_LOCK};
    if (const uint16_t numLock = lockMasks & ~XCB_MOD_MASK_LOCK) {
        combinations.push_back(numLock);
        combinations.push_back(numLock | XCB_MOD_MASK_LOCK);
    }
    std::vector<xcb_void_cookie_t> cookies;
    for (const uint16_t extra : combinations)
        cookies.push_back(xcb_grab_key_checked(connection, 0, root, shortcutModifiers | extra, keycode,
                                               XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    int errorCode = 0;
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const std::unique_ptr<xcb_generic_error_t, Free> error(xcb_request_check(connection, cookies[i]));
        if (error) {
            errorCode = errorCode ? errorCode : error->error_code;
        } else {
            grabbed.push_back(combinations[i]);
        }
    }
    if (errorCode) {
        ungrab();
        return HotKeyError{failed.stage, errorCode};
    }
    handler = std::move(onPress);
    qApp->installNativeEventFilter(this);
    filtering = true;
    return {};
}

void X11HotKey::remove()
{
    if (filtering && qApp)
        qApp->removeNativeEventFilter(this);
    filtering = false;
    handler = nullptr;
    ungrab();
}

void X11HotKey::ungrab()
{
    if (grabbed.empty())
        return;
    for (const uint16_t extra : grabbed)
        xcb_ungrab_key(connection, keycode, root, shortcutModifiers | extra);
    grabbed.clear();
    xcb_flush(connection);
}

bool X11HotKey::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t" || !handler)
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const uint8_t type = event->response_type & 0x7f;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
        return false;
    const auto* key = static_cast<const xcb_key_press_event_t*>(message);
    if (key->detail != keycode || key->event != root
        || (key->state & allModifiers & ~lockMasks) != shortcutModifiers)
        return false;
    if (type == XCB_KEY_PRESS)
        handler(key->time);
    return true;
}

} // namespace wharf
