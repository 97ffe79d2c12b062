#include "trace/Trace.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>

#include "explain/Explain.h"
#include "trace/Capture.h"
#include "wire/Answer.h"
#include "wire/Error.h"
#include "wire/Request.h"

namespace zelline {
namespace {

std::string WallClock() {
    const auto now = std::chrono::duration_cast<Millis>(WallTime());
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(static_cast<std::time_t>(now.count() / 1000)),
                       now.count() % 1000);
}

}  // namespace

std::chrono::microseconds WallTime() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now().time_since_epoch());
}

bool IsSecret(const UartFrame& frame, bool sent) {
    return sent && CarriesFileBytes(frame.CommandId());
}

RecordingFile::RecordingFile(const std::string& path) : m_path(path), m_file(path, std::ios::app) {
    if (!m_file) {
        Fail(Exit::Record, "trace {} cannot be written: {}", path, std::strerror(errno));
    }
}

void RecordingFile::Begin() {
    m_file.close();
    m_file.open(m_path, std::ios::trunc | std::ios::binary);
    m_begun = true;
}

void RecordingFile::Write(std::string_view bytes) {
    if (!m_begun) {
        Begin();
    }
    m_file << bytes << std::flush;
    if (!m_file) {
        Fail(Exit::Record, "trace {} cannot be written any more: is the disk full?", m_path);
    }
}

Trace::Trace(const std::string& path, bool withKeyBytes) : m_file(path), m_withKeyBytes(withKeyBytes) {}

Json Trace::Head(const char* direction, Millis when) {
    m_start = m_start.count() < 0 ? when : m_start;
    return {{"v", 1}, {"time", WallClock()}, {"ms", (when - m_start).count()}, {"dir", direction}};
}

void Trace::Row(const char* direction, const UartFrame& frame, Millis when) {
    Json row = Head(direction, when);
    row["id"] = IdText(frame.CommandId());
    if (IsSecret(frame, std::strcmp(direction, "tx") == 0) && !m_withKeyBytes) {
        row["redacted"] = frame.length;
        row["index"] = frame.trailerA;
        row["total"] = frame.trailerB;
    } else {
        row["hex"] = WireHex(frame);
    }
    row["words"] = Explain(frame);
    m_file.Write(JsonLine(row) + '\n');
}

void Trace::Sent(const UartFrame& frame, Millis when) {
    Row("tx", frame, when);
}

void Trace::Flushed(Millis when) {
    Json row = Head("tx", when);
    row["flush"] = kFlush.size();
    row["words"] = kFlushWords;
    m_file.Write(JsonLine(row) + '\n');
}

void Trace::Received(const UartFrame& frame, Millis when) {
    Row("rx", frame, when);
}

void Trace::Noise(const Bytes& bytes, Millis when) {
    Json row = Head("rx", when);
    row["noise"] = ToHex(bytes);
    m_file.Write(JsonLine(row) + '\n');
}

namespace {

// Puts recorded frames together as the bursts that they were.
class BurstCollector {
  public:
    explicit BurstCollector(const std::string& path) : m_path(path) {}

    // A frame of line or packet `number`; `what` names where its bytes stand.
    void Take(bool sent, const Bytes& bytes, std::size_t number, std::string_view what) {
        const std::vector<Stretch> frames = Dissect(bytes);
        if (frames.size() != 1 || !frames[0].intact) {
            Fail(Exit::Unusable, "{}:{}: {} is not one intact frame", m_path, number, what);
        }
        if (sent) {
            if (m_flushed || m_bursts.empty() || !m_bursts.back().answers.empty()) {
                m_bursts.push_back({m_flushed, {}, {}, number});
                m_flushed = false;
            }
            m_bursts.back().requests.push_back(frames[0].frame);
        } else if (!m_bursts.empty() && RoleOf(frames[0].frame) == FrameRole::Answer) {
            m_bursts.back().answers.push_back(frames[0].frame);
        }
    }

    void TakeFlush() { m_flushed = true; }

    [[noreturn]] void RefuseSecret(std::size_t number) const {
        Fail(Exit::Unusable,
             "{}:{}: bytes of a file were left out here; only a trace that "
             "was recorded with --trace-key-bytes can send them again",
             m_path, number);
    }

    std::vector<RecordedBurst> Bursts() {
        if (m_bursts.empty()) {
            Fail(Exit::Unusable, "{} holds no requests", m_path);
        }
        return std::move(m_bursts);
    }

  private:
    const std::string& m_path;
    std::vector<RecordedBurst> m_bursts;
    bool m_flushed = false;  // in front of the next request
};

std::vector<RecordedBurst> CapturedBursts(const std::string& path) {
    BurstCollector collector(path);
    for (const CapturedPacket& packet : ReadCapture(path)) {
        if (!packet.whole) {
            collector.RefuseSecret(packet.number);
        }
        if (packet.sent && std::equal(packet.bytes.begin(), packet.bytes.end(), kFlush.begin(), kFlush.end())) {
            collector.TakeFlush();
            continue;
        }
        const std::vector<Stretch> frames = Dissect(packet.bytes);
        const bool isNoise = frames.size() != 1 || !frames[0].intact;
        if (packet.sent || !isNoise) {
            collector.Take(packet.sent, packet.bytes, packet.number, "this packet");
        }
    }
    return collector.Bursts();
}

}  // namespace

std::vector<RecordedBurst> ReadTrace(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        Fail(Exit::Unusable, "trace {} cannot be read: {}", path, std::strerror(errno));
    }
    if (IsCapture(path)) {
        return CapturedBursts(path);
    }
    BurstCollector collector(path);
    std::string text;
    for (std::size_t line = 1; std::getline(file, text); ++line) {
        if (text.empty()) {
            continue;
        }
        const Json row = Json::parse(text, nullptr, false);
        if (!row.is_object() || !row.contains("dir") || !row["dir"].is_string()) {
            Fail(Exit::Unusable, "{}:{}: this is no row of a trace", path, line);
        }
        if (row.contains("redacted")) {
            collector.RefuseSecret(line);
        }
        if (row.contains("flush")) {
            collector.TakeFlush();
        }
        if (!row.contains("hex") || !row["hex"].is_string()) {
            continue;
        }
        Bytes bytes;
        try {
            bytes = FromHex(row["hex"].get<std::string>());
        } catch (const Error& error) {
            Fail(Exit::Unusable, "{}:{}: {}", path, line, error.what());
        }
        collector.Take(row["dir"] == "tx", bytes, line, "\"hex\"");
    }
    return collector.Bursts();
}

}  // namespace zelline
