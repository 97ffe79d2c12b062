// The panel as the application shell sees it: something that shows pictures and hands out input events.
#ifndef ZELFAC_TEST_ADAPTER_SCREEN_CANVAS_H
#define ZELFAC_TEST_ADAPTER_SCREEN_CANVAS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zel {

// 0 to 255 each; alpha 255 is opaque.
struct Color {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 0;
};

// All measures in font heights, so that a picture is the same on every panel.
struct PictureBand {
    std::int32_t row = 0;  // upper edge; one row high, the panel's full width
    Color color;
};

struct PictureText {
    std::string text;         // UTF-8
    std::int32_t column = 0;  // left edge
    std::int32_t row = 0;     // upper edge
    Color color;
};

// What is drawn in one go, in this order; what no part covers stays as it is on the panel.
struct Picture {
    std::optional<Color> background;  // the whole panel
    std::optional<PictureBand> band;
    std::vector<PictureText> texts;
};

enum class InputWait : std::uint8_t {
    None,        // the wait failed or timed out, or there was no event to fetch
    FirstClass,  // a raw input event
    Other,       // any other event
};

class Canvas {
  public:
    // In pixels; constant.
    virtual std::int32_t Width() const = 0;
    virtual std::int32_t Height() const = 0;
    virtual std::int32_t FontHeight() const = 0;

    // Draws and shows; pictures of several threads never mix. Any thread.
    virtual void Show(const Picture& picture) = 0;

    // Waits for an input event, at most that long, and fetches it. One thread at a time.
    virtual InputWait WaitForInput(std::uint32_t milliseconds) = 0;

  protected:
    ~Canvas() = default;
};

}  // namespace zel

#endif
