// A small X client for the window-avoidance tests: maps one window at a requested place, optionally
// typed as a dialog or with a red icon, and with --snap-back puts itself back wherever anyone moves it, printing
// "moved" each time. With --iconic-state, once managed it marks itself IconicState without being minimized, as
// mutter marks the windows of other workspaces (right after the window manager's own WM_STATE). With
// --no-minimize it rewrites the actions the window manager allows it without minimizing, as kwin lists
// them for a window that takes no input.
#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

xcb_atom_t atom(xcb_connection_t* c, const char* name)
{
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr);
    const xcb_atom_t a = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return a;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 5) {
        std::fprintf(stderr, "usage: band_client X Y WIDTH HEIGHT [--dialog] [--snap-back] [--red-icon] [--iconic-state] [--no-minimize]\n");
        return 2;
    }
    const int x = std::atoi(argv[1]), y = std::atoi(argv[2]);
    const int width = std::atoi(argv[3]), height = std::atoi(argv[4]);
    bool dialog = false, snapBack = false, icon = false, iconic = false, noMinimize = false;
    for (int i = 5; i < argc; ++i) {
        dialog |= std::string(argv[i]) == "--dialog";
        snapBack |= std::string(argv[i]) == "--snap-back";
        icon |= std::string(argv[i]) == "--red-icon";
        iconic |= std::string(argv[i]) == "--iconic-state";
        noMinimize |= std::string(argv[i]) == "--no-minimize";
    }
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 1;
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t window = xcb_generate_id(c);
    const uint32_t values[] = {screen->white_pixel, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, x, y, width, height, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    const char title[] = "band client";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, sizeof(title) - 1, title);
    const char wmClass[] = "bandclient\0BandClient";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, sizeof(wmClass), wmClass);
    const uint32_t pid = getpid();
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom(c, "_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1, &pid);
    const xcb_atom_t type = atom(c, dialog ? "_NET_WM_WINDOW_TYPE_DIALOG" : "_NET_WM_WINDOW_TYPE_NORMAL");
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom(c, "_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, 1, &type);
    if (icon) {
        // A 16x16 opaque red _NET_WM_ICON.
        uint32_t pixels[2 + 16 * 16];
        pixels[0] = pixels[1] = 16;
        std::fill(pixels + 2, pixels + 2 + 16 * 16, 0xffff0000u);
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom(c, "_NET_WM_ICON"), XCB_ATOM_CARDINAL, 32,
                            2 + 16 * 16, pixels);
    }
    xcb_size_hints_t hints{};
    xcb_icccm_size_hints_set_position(&hints, 1, x, y);
    xcb_icccm_size_hints_set_size(&hints, 1, width, height);
    xcb_icccm_set_wm_normal_hints(c, window, &hints);
    xcb_map_window(c, window);
    xcb_flush(c);

    bool placed = false;
    int homeX = 0, homeY = 0;
    const xcb_atom_t wmState = atom(c, "WM_STATE"), allowedActions = atom(c, "_NET_WM_ALLOWED_ACTIONS");
    while (xcb_generic_event_t* event = xcb_wait_for_event(c)) {
        const xcb_atom_t changed = (event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY
            ? reinterpret_cast<xcb_property_notify_event_t*>(event)->atom : xcb_atom_t(XCB_ATOM_NONE);
        if (iconic && changed == wmState) {
            iconic = false;
            const uint32_t state[] = {XCB_ICCCM_WM_STATE_ICONIC, XCB_WINDOW_NONE};
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, wmState, wmState, 32, 2, state);
            xcb_flush(c);
        }
        if (noMinimize && changed == allowedActions) {
            noMinimize = false;
            const xcb_atom_t actions[] = {atom(c, "_NET_WM_ACTION_MOVE"), atom(c, "_NET_WM_ACTION_CLOSE")};
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, allowedActions, XCB_ATOM_ATOM, 32, 2, actions);
            xcb_flush(c);
        }
        if ((event->response_type & 0x7f) == XCB_CONFIGURE_NOTIFY) {
            const auto* configure = reinterpret_cast<xcb_configure_notify_event_t*>(event);
            // The window manager's synthetic notices carry root coordinates.
            const bool synthetic = event->response_type & 0x80;
            if (synthetic && !placed) {
                placed = true;
                homeX = configure->x;
                homeY = configure->y;
            } else if (snapBack && placed
                       && ((synthetic && (configure->x != homeX || configure->y != homeY))
                           || configure->width != width || configure->height != height)) {
                std::printf("moved %d %d %d %d\n", configure->x, configure->y, configure->width, configure->height);
                std::fflush(stdout);
                const uint32_t back[] = {uint32_t(x), uint32_t(y), uint32_t(width), uint32_t(height)};
                xcb_configure_window(c, window,
                                     XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH
                                         | XCB_CONFIG_WINDOW_HEIGHT,
                                     back);
                xcb_flush(c);
            }
        }
        std::free(event);
    }
    xcb_disconnect(c);
    return 0;
}
