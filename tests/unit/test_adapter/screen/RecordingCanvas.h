// A panel that remembers what it was to show.
#ifndef ZELFAC_TESTS_TEST_ADAPTER_SCREEN_RECORDINGCANVAS_H
#define ZELFAC_TESTS_TEST_ADAPTER_SCREEN_RECORDINGCANVAS_H

#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "test_adapter/screen/Canvas.h"

namespace shell {

inline std::string Words(const zel::Color& color) {
    return std::to_string(color.red) + "," + std::to_string(color.green) + "," + std::to_string(color.blue) + "," +
           std::to_string(color.alpha);
}

// A picture in words: "fill COLOR | band ROW COLOR | text@COLUMN,ROW COLOR".
inline std::string Words(const zel::Picture& picture) {
    std::string words;
    const auto add = [&words](const std::string& part) { words += (words.empty() ? "" : " | ") + part; };
    if (picture.background) {
        add("fill " + Words(*picture.background));
    }
    if (picture.band) {
        add("band " + std::to_string(picture.band->row) + " " + Words(picture.band->color));
    }
    for (const zel::PictureText& text : picture.texts) {
        add(text.text + "@" + std::to_string(text.column) + "," + std::to_string(text.row) + " " +
            Words(text.color));
    }
    return words;
}

class RecordingCanvas final : public zel::Canvas {
  public:
    std::int32_t Width() const override { return 1920; }
    std::int32_t Height() const override { return 1080; }
    std::int32_t FontHeight() const override { return 54; }
    void Show(const zel::Picture& picture) override {
        shown.push_back(Words(picture));
        if (duringShow) {
            duringShow();
        }
    }
    zel::InputWait WaitForInput(std::uint32_t milliseconds) override {
        waits.push_back(milliseconds);
        if (duringWait) {
            duringWait();
        }
        return answer;
    }

    std::vector<std::string> shown;
    std::vector<std::uint32_t> waits;
    zel::InputWait answer = zel::InputWait::None;
    std::function<void()> duringShow;
    std::function<void()> duringWait;
};

}  // namespace shell

#endif
