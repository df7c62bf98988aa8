#include "platform/x11/x11_icon_reader.h"

#include "platform/x11/window_icon_image.h"

#include <xcb/xcb_icccm.h>

namespace wharf {

namespace {

constexpr uint32_t iconLengthWords = 1024 * 1024; // a 1024x1024 icon at most
constexpr int maximumPixmapSide = 512;

struct PixmapRequest {
    size_t index = 0;
    xcb_pixmap_t pixmap = XCB_NONE;
    xcb_pixmap_t mask = XCB_NONE;
    xcb_get_geometry_cookie_t pixmapGeometry{};
    xcb_get_geometry_cookie_t maskGeometry{};
    int width = 0;
    int height = 0;
    int depth = 0;
    bool maskUsable = false;
    xcb_get_image_cookie_t pixmapImage{};
    xcb_get_image_cookie_t maskImage{};
};

std::vector<uint8_t> imageData(xcb_connection_t* c, xcb_get_image_cookie_t cookie)
{
    const auto reply = xcbReply(xcb_get_image_reply(c, cookie, nullptr));
    if (!reply)
        return {};
    const uint8_t* data = xcb_get_image_data(reply.get());
    return std::vector<uint8_t>(data, data + xcb_get_image_data_length(reply.get()));
}

ImageLayout layoutFor(xcb_connection_t* c, int depth)
{
    const xcb_setup_t* setup = xcb_get_setup(c);
    ImageLayout layout;
    layout.lsbFirstBits = setup->bitmap_format_bit_order == XCB_IMAGE_ORDER_LSB_FIRST;
    layout.lsbFirstBytes = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    layout.scanlinePad = setup->bitmap_format_scanline_pad;
    for (auto it = xcb_setup_pixmap_formats_iterator(setup); it.rem; xcb_format_next(&it)) {
        if (it.data->depth == depth) {
            layout.bitsPerPixel = it.data->bits_per_pixel;
            layout.scanlinePad = it.data->scanline_pad;
        }
    }
    return layout;
}

} // namespace

std::vector<QImage> X11IconReader::read(const std::vector<xcb_window_t>& windows, int side)
{
    xcb_connection_t* c = connection_.xcb();
    std::vector<xcb_get_property_cookie_t> iconCookies, hintCookies;
    for (xcb_window_t window : windows) {
        iconCookies.push_back(xcb_get_property(c, 0, window, connection_.ewmh()->_NET_WM_ICON, XCB_ATOM_CARDINAL, 0,
                                               iconLengthWords));
        hintCookies.push_back(xcb_icccm_get_wm_hints(c, window));
    }
    std::vector<QImage> images(windows.size());
    std::vector<PixmapRequest> pixmaps;
    for (size_t i = 0; i < windows.size(); ++i) {
        const auto reply = xcbReply(xcb_get_property_reply(c, iconCookies[i], nullptr));
        if (reply && reply->format == 32) {
            images[i] = bestImage(parseNetWmIcon(static_cast<const uint32_t*>(xcb_get_property_value(reply.get())),
                                                 size_t(xcb_get_property_value_length(reply.get())) / 4),
                                  side);
        }
        xcb_icccm_wm_hints_t hints{};
        if (!xcb_icccm_get_wm_hints_reply(c, hintCookies[i], &hints, nullptr) || !images[i].isNull())
            continue;
        if ((hints.flags & XCB_ICCCM_WM_HINT_ICON_PIXMAP) && hints.icon_pixmap != XCB_NONE) {
            PixmapRequest request;
            request.index = i;
            request.pixmap = hints.icon_pixmap;
            request.mask = (hints.flags & XCB_ICCCM_WM_HINT_ICON_MASK) ? hints.icon_mask : XCB_NONE;
            pixmaps.push_back(request);
        }
    }
    if (pixmaps.empty())
        return images;

    // Sizes and depths, then the pixels: two more round trips for all old clients together.
    for (PixmapRequest& request : pixmaps) {
        request.pixmapGeometry = xcb_get_geometry(c, request.pixmap);
        if (request.mask != XCB_NONE)
            request.maskGeometry = xcb_get_geometry(c, request.mask);
    }
    for (PixmapRequest& request : pixmaps) {
        const auto geometry = xcbReply(xcb_get_geometry_reply(c, request.pixmapGeometry, nullptr));
        if (request.mask != XCB_NONE) {
            const auto mask = xcbReply(xcb_get_geometry_reply(c, request.maskGeometry, nullptr));
            request.maskUsable = mask && geometry && mask->depth == 1 && mask->width == geometry->width
                && mask->height == geometry->height;
        }
        if (!geometry || geometry->width == 0 || geometry->height == 0 || geometry->width > maximumPixmapSide
            || geometry->height > maximumPixmapSide)
            continue;
        request.width = geometry->width;
        request.height = geometry->height;
        request.depth = geometry->depth;
        request.pixmapImage = xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, request.pixmap, 0, 0, geometry->width,
                                            geometry->height, ~0u);
        if (request.maskUsable)
            request.maskImage = xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, request.mask, 0, 0, geometry->width,
                                              geometry->height, ~0u);
    }
    for (const PixmapRequest& request : pixmaps) {
        if (request.width == 0)
            continue;
        const std::vector<uint8_t> pixels = imageData(c, request.pixmapImage);
        const std::vector<uint8_t> mask = request.maskUsable ? imageData(c, request.maskImage) : std::vector<uint8_t>();
        images[request.index] = imageFromPixmapData(pixels, request.depth, mask, request.width, request.height,
                                                    layoutFor(c, request.depth));
    }
    return images;
}

} // namespace wharf
