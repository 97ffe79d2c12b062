// What a display shows, as a picture.
#ifndef SIMSET_PANEL_SCREENSHOT_H
#define SIMSET_PANEL_SCREENSHOT_H

#include <cstdint>
#include <string>
#include <vector>

namespace simset {

class Screenshot {
  public:
    // Takes a picture of a display. Throws std::runtime_error with a sentence.
    explicit Screenshot(const std::string& display);

    // Differs between pictures that differ, as far as 64 bits can tell. Much cheaper than a PNG.
    std::uint64_t Digest() const;

    // The picture as a PNG file's content. Throws std::runtime_error.
    std::string Png() const;

  private:
    unsigned m_width = 0;
    unsigned m_height = 0;
    std::vector<std::uint32_t> m_pixels;  // four bytes each: blue, green, red, unused
};

}  // namespace simset

#endif
