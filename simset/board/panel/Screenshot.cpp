#include <png.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "simset/board/panel/Panel.h"

namespace simset {
namespace {

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { ::xcb_disconnect(connection); }
};

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;
using Image = std::unique_ptr<xcb_get_image_reply_t, Free>;

}  // namespace

void TakeScreenshot(const std::string& display, const std::string& file) {
    const Connection connection(::xcb_connect(display.c_str(), nullptr));
    if (::xcb_connection_has_error(connection.get()) != 0) {
        throw std::runtime_error("the panel's X server does not answer");
    }
    const xcb_screen_t* screen = ::xcb_setup_roots_iterator(::xcb_get_setup(connection.get())).data;
    const std::uint16_t width = screen->width_in_pixels;
    const std::uint16_t height = screen->height_in_pixels;
    constexpr std::uint32_t kAllPlanes = ~0U;
    const xcb_get_image_cookie_t cookie = ::xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP,
                                                          screen->root, 0, 0, width, height, kAllPlanes);
    const Image image(::xcb_get_image_reply(connection.get(), cookie, nullptr));
    const std::size_t pixels = std::size_t{width} * height;
    if (!image || static_cast<std::size_t>(::xcb_get_image_data_length(image.get())) < pixels * 4) {
        throw std::runtime_error("the panel's picture cannot be read");
    }
    const std::uint8_t* source = ::xcb_get_image_data(image.get());
    std::vector<png_byte> rgb(pixels * 3);
    for (std::size_t i = 0; i < pixels; ++i) {  // four bytes per pixel: blue, green, red, unused
        rgb[3 * i] = source[4 * i + 2];
        rgb[3 * i + 1] = source[4 * i + 1];
        rgb[3 * i + 2] = source[4 * i];
    }
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = width;
    png.height = height;
    png.format = PNG_FORMAT_RGB;
    if (::png_image_write_to_file(&png, file.c_str(), 0, rgb.data(), 0, nullptr) == 0) {
        throw std::runtime_error(file + ": " + png.message);
    }
}

}  // namespace simset
