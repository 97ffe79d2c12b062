// The record of a session: every frame both ways, as JSON Lines.
#ifndef ZELLINE_TRACE_TRACE_H
#define ZELLINE_TRACE_TRACE_H

#include <chrono>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "link/Link.h"
#include "wire/Json.h"

namespace zelline {

// Writes down what is on the line.
class Recording : public LineObserver {
  public:
    // Empties the file; what is first written down does it too. Throws Error with Exit::Record, as the observer's
    // members do, when the file cannot be written.
    virtual void Begin() = 0;
};

// The file of a recording, which keeps what it holds until that begins.
class RecordingFile {
  public:
    // Throws Error with Exit::Record when `path` cannot be written.
    explicit RecordingFile(const std::string& path);

    // Empties the file. Write without it does so once.
    void Begin();
    bool HasBegun() const { return m_begun; }

    // Throws Error with Exit::Record when the bytes cannot be written.
    void Write(std::string_view bytes);

  private:
    std::string m_path;
    std::ofstream m_file;
    bool m_begun = false;
};

// The time of day as it is in the world, since 1970.
std::chrono::microseconds WallTime();

// Whether the frame is a request that carries bytes of a file; answers under the same ids carry a status or a
// checksum.
bool IsSecret(const UartFrame& frame, bool sent);

// Writes one object per frame: "v", "time" (UTC), "ms" since the trace began, "dir" (tx, rx), "id", "hex" and
// "words"; bytes that belong to no frame have "noise" for "hex", and a flush has
// "flush", how many bytes it is, for "id" and "hex". Bytes of key and configuration files are left
// out unless asked for: such a row has "redacted", "index" and "total" and no "hex".
class Trace : public Recording {
  public:
    // Throws Error with Exit::Record when `path` cannot be written. What it holds stays until the trace begins.
    Trace(const std::string& path, bool withKeyBytes);

    void Begin() override { m_file.Begin(); }
    void Sent(const UartFrame& frame, Millis when) override;
    void Flushed(Millis when) override;
    void Received(const UartFrame& frame, Millis when) override;
    void Noise(const Bytes& bytes, Millis when) override;

  private:
    Json Head(const char* direction, Millis when);
    void Row(const char* direction, const UartFrame& frame, Millis when);

    RecordingFile m_file;
    bool m_withKeyBytes;
    Millis m_start{-1};
};

// What was recorded: requests in order, each burst up to one that was answered, or to a flush.
struct RecordedBurst {
    bool flushed = false;  // behind a flush
    std::vector<UartFrame> requests;
    std::vector<UartFrame> answers;  // ready frames and key presses are left out
    std::size_t line = 0;            // of the first request
};

// Reads a trace, or a capture as Capture writes it, for sending it again. Throws Error with Exit::Unusable that
// names the line or packet when the file is no trace, or holds requests whose bytes were left out.
std::vector<RecordedBurst> ReadTrace(const std::string& path);

}  // namespace zelline

#endif
