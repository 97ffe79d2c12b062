#include "simset/board/panel/Screenshot.h"

#include <png.h>
#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

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

Screenshot::Screenshot(const std::string& display) {
    const Connection connection(::xcb_connect(display.c_str(), nullptr));
    if (::xcb_connection_has_error(connection.get()) != 0) {
        throw std::runtime_error("the panel's X server does not answer");
    }
    const xcb_screen_t* screen = ::xcb_setup_roots_iterator(::xcb_get_setup(connection.get())).data;
    m_width = screen->width_in_pixels;
    m_height = screen->height_in_pixels;
    constexpr std::uint32_t kAllPlanes = ~0U;
    const xcb_get_image_cookie_t cookie =
        ::xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0, screen->width_in_pixels,
                        screen->height_in_pixels, kAllPlanes);
    const Image image(::xcb_get_image_reply(connection.get(), cookie, nullptr));
    m_pixels.resize(std::size_t{m_width} * m_height);
    const std::size_t bytes = m_pixels.size() * sizeof m_pixels[0];
    if (!image || static_cast<std::size_t>(::xcb_get_image_data_length(image.get())) < bytes) {
        throw std::runtime_error("the panel's picture cannot be read");
    }
    std::memcpy(m_pixels.data(), ::xcb_get_image_data(image.get()), bytes);
}

std::uint64_t Screenshot::Digest() const {
    constexpr std::uint64_t kBegin = 0xCBF29CE484222325;
    constexpr std::uint64_t kFactor = 0x100000001B3;
    std::uint64_t sum = (kBegin ^ m_width) * kFactor;
    for (const std::uint32_t pixel : m_pixels) {
        sum = (sum ^ pixel) * kFactor;
    }
    return sum;
}

std::string Screenshot::Png() const {
    std::vector<png_byte> rgb(m_pixels.size() * 3);
    png_byte* to = rgb.data();
    for (const std::uint32_t pixel : m_pixels) {
        std::array<png_byte, sizeof pixel> bytes{};
        std::memcpy(bytes.data(), &pixel, sizeof pixel);
        *to++ = bytes[2];
        *to++ = bytes[1];
        *to++ = bytes[0];
    }
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = m_width;
    png.height = m_height;
    png.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(png);
    std::string content(size, '\0');
    if (::png_image_write_to_memory(&png, content.data(), &size, 0, rgb.data(), 0, nullptr) == 0) {
        throw std::runtime_error(png.message);
    }
    content.resize(size);
    return content;
}

}  // namespace simset
