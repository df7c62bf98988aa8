// Sets the desktop background the way wallpaper setters do: a pixmap of one colour as the root
// window's background, published in _XROOTPMAP_ID and ESETROOT_PMAP_ID and kept after exit.
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

int main(int argc, char** argv)
{
    if (argc != 2 || std::strlen(argv[1]) != 7 || argv[1][0] != '#') {
        std::fprintf(stderr, "usage: root_background '#rrggbb'\n");
        return 2;
    }
    const auto rgb = static_cast<uint32_t>(std::strtoul(argv[1] + 1, nullptr, 16));
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 1;
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, screen->root_depth, pixmap, screen->root, screen->width_in_pixels,
                      screen->height_in_pixels);
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, pixmap, XCB_GC_FOREGROUND, &rgb); // a TrueColor root: the pixel is the colour
    const xcb_rectangle_t all{0, 0, screen->width_in_pixels, screen->height_in_pixels};
    xcb_poly_fill_rectangle(c, pixmap, gc, 1, &all);
    xcb_change_window_attributes(c, screen->root, XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_clear_area(c, 0, screen->root, 0, 0, 0, 0);
    for (const char* name : {"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"}) {
        xcb_intern_atom_reply_t* atom =
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
        if (atom)
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, screen->root, atom->atom, XCB_ATOM_PIXMAP, 32, 1, &pixmap);
        std::free(atom);
    }
    xcb_set_close_down_mode(c, XCB_CLOSE_DOWN_RETAIN_PERMANENT); // the pixmap outlives this client
    xcb_free_gc(c, gc);
    free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)); // everything has arrived
    xcb_disconnect(c);
    return 0;
}
