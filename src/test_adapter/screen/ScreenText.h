// What of a text the panel is asked to draw.
#ifndef ZELFAC_TEST_ADAPTER_SCREEN_SCREENTEXT_H
#define ZELFAC_TEST_ADAPTER_SCREEN_SCREENTEXT_H

#include <string>
#include <string_view>

namespace zel {

// A line of the panel has room for 127 bytes.
constexpr std::size_t kScreenTextLimit = 127;

// The beginning of `text` that the panel has room for, up to the first zero byte. Each byte that is not part of
// well-formed UTF-8 becomes "?": records come from the line byte by byte as it sent them, and the font provider
// must not be handed anything else. Control characters are left out: a line end has no glyph.
std::string ScreenText(std::string_view text);

}  // namespace zel

#endif
