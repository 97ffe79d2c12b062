// The record of a session as a capture that Wireshark reads.
#ifndef ZELLINE_TRACE_CAPTURE_H
#define ZELLINE_TRACE_CAPTURE_H

#include <memory>
#include <string>
#include <vector>

#include "trace/Trace.h"

namespace zelline {

// Writes a pcapng file: one packet per frame, per flush and per stretch of bytes that belong to no frame, with
// direction (outbound: to the set), time in microseconds, and its words as a comment. The link type is USER0
// (147): a packet is what was on the wire and nothing else, so any program that reads pcapng has the frames
// themselves. Of a frame with bytes of a key or configuration file the head alone is written unless the bytes are
// asked for; its comment tells its place in the file.
class Capture : public Recording {
  public:
    // `port` is the interface's name. Throws Error with Exit::Record when `path` cannot be written. What it holds
    // stays until the capture begins.
    Capture(const std::string& path, bool withKeyBytes, std::string port);

    void Begin() override;
    void Sent(const UartFrame& frame, Millis when) override;
    void Flushed(Millis when) override;
    void Received(const UartFrame& frame, Millis when) override;
    void Noise(const Bytes& bytes, Millis when) override;

  private:
    void Packet(const Bytes& bytes, std::size_t size, bool sent, const std::string& comment);

    RecordingFile m_file;
    bool m_withKeyBytes;
    std::string m_port;
};

struct CapturedPacket {
    bool sent = false;
    Bytes bytes;
    bool whole = true;       // nothing was left out
    std::size_t number = 0;  // as Wireshark counts them, from 1
};

// Whether the file begins as captures do.
bool IsCapture(const std::string& path);

// The packets of a capture of either byte order. Throws Error with Exit::Unusable that names the packet when the
// file is cut off, or a packet has no direction.
std::vector<CapturedPacket> ReadCapture(const std::string& path);

// A Capture for a path that ends in .pcapng, else a Trace. Throws as they do.
std::unique_ptr<Recording> MakeRecording(const std::string& path, bool withKeyBytes, const std::string& port);

}  // namespace zelline

#endif
