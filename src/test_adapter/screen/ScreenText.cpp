#include "test_adapter/screen/ScreenText.h"

#include <cstdint>

namespace zel {
namespace {

std::uint8_t ByteAt(std::string_view text, std::size_t place) {
    return static_cast<std::uint8_t>(text[place]);
}

// Length of the character that begins at `place`, 0 when it is not well formed (cut off, overlong, a surrogate or
// beyond Unicode).
std::size_t CharacterLength(std::string_view text, std::size_t place) {
    const std::uint8_t lead = ByteAt(text, place);
    if (lead < 0x80) {
        return 1;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || length > text.size() - place) {
        return 0;
    }
    const std::uint8_t second = ByteAt(text, place + 1);
    const std::uint8_t lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const std::uint8_t highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (second < lowest || second > highest) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if ((ByteAt(text, place + i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return length;
}

bool IsControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

}  // namespace

std::string ScreenText(std::string_view text) {
    text = text.substr(0, text.find('\0')).substr(0, kScreenTextLimit);
    std::string drawn;
    for (std::size_t place = 0; place < text.size();) {
        const std::size_t length = CharacterLength(text, place);
        if (!IsControl(text[place])) {
            drawn += length == 0 ? "?" : text.substr(place, length);
        }
        place += length == 0 ? 1 : length;
    }
    return drawn;
}

}  // namespace zel
