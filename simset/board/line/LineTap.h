// What travels on the serial line, as rows of the trace.
#ifndef SIMSET_LINE_LINETAP_H
#define SIMSET_LINE_LINETAP_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace simset {

// Listens to one direction of the line and tells each frame, bytes that belong to none once a frame or silence
// follows, and how many frames were left out where more came than the trace takes. Time is handed in. For one
// thread.
//
// The rows have "who":"line", "to":"set" or "line", and
//   "call":"frame"    "id" ("0x1275"), "role" (request; ready, status, empty, data, closing; or the kind in
//                     hexadecimal), "payload" in hexadecimal and, when it is printable, as "text"; a chunk of a
//                     file has "chunk", "chunks" and "bytes" in the payload's place, since key bytes appear in no
//                     trace
//   "call":"noise"    "bytes", and "head", the five bytes with which a broken frame begins
//   "call":"skipped"  "frames"
class LineTap {
  public:
    using Nanos = std::chrono::nanoseconds;
    using Tell = std::function<void(const nlohmann::json& row)>;

    static constexpr unsigned kMaxFramesPerSecond = 1500;  // above what a line of 115200 baud can carry
    static constexpr Nanos kSilence = std::chrono::milliseconds(500);

    LineTap(bool towardsSet, Tell tell) : m_towardsSet(towardsSet), m_tell(std::move(tell)) {}

    // These bytes came at `now`.
    void Take(const char* bytes, std::size_t size, Nanos now);

    // To be called when SilentAt has come.
    void TakeSilence(Nanos now);

    // When the line has been silent for so long that what was begun is no frame; nothing when nothing was.
    std::optional<Nanos> SilentAt() const;

  private:
    void Split(bool silent, Nanos now);
    void TellFrame(const std::string& frame, Nanos now);
    std::string Role(unsigned kind, std::size_t size) const;
    void TellNoise();
    void TellSkipped();
    nlohmann::json Row(const char* call) const;

    const bool m_towardsSet;
    const Tell m_tell;
    std::string m_pending;    // may become a frame
    std::size_t m_noise = 0;  // bytes that belong to no frame and were not told yet
    std::string m_noiseHead;  // where they begin as a frame does
    Nanos m_last{0};          // when the last byte came
    Nanos m_second{0};        // when the second began in which m_frames came
    unsigned m_frames = 0;
    std::uint64_t m_skipped = 0;
};

}  // namespace simset

#endif
