// The record of a session: every frame both ways, as JSON Lines.
#ifndef ZELLINE_LINK_TRACE_H
#define ZELLINE_LINK_TRACE_H

#include <fstream>
#include <string>
#include <vector>

#include "link/Link.h"
#include "wire/Json.h"

namespace zelline {

// Writes one object per frame: "v", "time" (UTC), "ms" since the trace began, "dir" (tx, rx), "id", "hex" and
// "words"; bytes that belong to no frame have "noise" for "hex". Bytes of key and configuration files are left
// out unless asked for: such a row has "redacted", "index" and "total" and no "hex".
class Trace : public LineObserver {
  public:
    // Throws Error with Exit::Record when `path` cannot be written. What it holds stays until the trace begins.
    Trace(const std::string& path, bool withKeyBytes);

    // Empties the file; the first row does it too.
    void Begin();

    // These throw Error with Exit::Record when the row cannot be written.
    void Sent(const UartFrame& frame, Millis when) override;
    void Received(const UartFrame& frame, Millis when) override;
    void Noise(const Bytes& bytes, Millis when) override;

  private:
    Json Head(const char* direction, Millis when);
    void Row(const char* direction, const UartFrame& frame, Millis when);
    void Write(const std::string& line);

    std::string m_path;
    std::ofstream m_file;
    bool m_withKeyBytes;
    bool m_begun = false;
    Millis m_start{-1};
};

// What was recorded: requests in order, each burst up to one that was answered.
struct RecordedBurst {
    std::vector<UartFrame> requests;
    std::vector<UartFrame> answers;  // ready frames and key presses are left out
    std::size_t line = 0;            // of the first request
};

// Reads a trace for sending it again. Throws Error with Exit::Unusable that names the line when the file is no
// trace, or holds requests whose bytes were left out.
std::vector<RecordedBurst> ReadTrace(const std::string& path);

}  // namespace zelline

#endif
