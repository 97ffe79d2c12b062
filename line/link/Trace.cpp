#include "link/Trace.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>
#include <cstring>

#include "wire/Answer.h"
#include "wire/Error.h"
#include "wire/Explain.h"

namespace zelline {
namespace {

std::string WallClock() {
    const auto now = std::chrono::system_clock::now();
    const auto ms = std::chrono::duration_cast<Millis>(now.time_since_epoch()).count() % 1000;
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(now)), ms);
}

// A request that carries bytes of a file; answers under the same ids carry a status or a checksum.
bool IsSecret(const char* direction, const UartFrame& frame) {
    return std::strcmp(direction, "tx") == 0 && CarriesFileBytes(frame.CommandId());
}

}  // namespace

Trace::Trace(const std::string& path, bool withKeyBytes)
    : m_path(path), m_file(path, std::ios::app), m_withKeyBytes(withKeyBytes) {
    if (!m_file) {
        Fail(Exit::Record, "trace {} cannot be written: {}", path, std::strerror(errno));
    }
}

void Trace::Begin() {
    m_file.close();
    m_file.open(m_path, std::ios::trunc);
    m_begun = true;
}

void Trace::Write(const std::string& line) {
    if (!m_begun) {
        Begin();
    }
    m_file << line << '\n' << std::flush;
    if (!m_file) {
        Fail(Exit::Record, "trace {} cannot be written any more: is the disk full?", m_path);
    }
}

Json Trace::Head(const char* direction, Millis when) {
    m_start = m_start.count() < 0 ? when : m_start;
    return {{"v", 1}, {"time", WallClock()}, {"ms", (when - m_start).count()}, {"dir", direction}};
}

void Trace::Row(const char* direction, const UartFrame& frame, Millis when) {
    Json row = Head(direction, when);
    row["id"] = IdText(frame.CommandId());
    if (IsSecret(direction, frame) && !m_withKeyBytes) {
        row["redacted"] = frame.length;
        row["index"] = frame.trailerA;
        row["total"] = frame.trailerB;
    } else {
        row["hex"] = WireHex(frame);
    }
    row["words"] = Explain(frame);
    Write(JsonLine(row));
}

void Trace::Sent(const UartFrame& frame, Millis when) {
    Row("tx", frame, when);
}

void Trace::Received(const UartFrame& frame, Millis when) {
    Row("rx", frame, when);
}

void Trace::Noise(const Bytes& bytes, Millis when) {
    Json row = Head("rx", when);
    row["noise"] = ToHex(bytes);
    Write(JsonLine(row));
}

std::vector<RecordedBurst> ReadTrace(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        Fail(Exit::Unusable, "trace {} cannot be read: {}", path, std::strerror(errno));
    }
    std::vector<RecordedBurst> bursts;
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
            Fail(Exit::Unusable,
                 "{}:{}: bytes of a file were left out here; only a trace that "
                 "was recorded with --trace-key-bytes can send them again",
                 path, line);
        }
        if (!row.contains("hex") || !row["hex"].is_string()) {
            continue;
        }
        std::vector<Stretch> frames;
        try {
            frames = Dissect(FromHex(row["hex"].get<std::string>()));
        } catch (const Error& error) {
            Fail(Exit::Unusable, "{}:{}: {}", path, line, error.what());
        }
        if (frames.size() != 1 || !frames[0].intact) {
            Fail(Exit::Unusable, "{}:{}: \"hex\" is not one intact frame", path, line);
        }
        if (row["dir"] == "tx") {
            if (bursts.empty() || !bursts.back().answers.empty()) {
                bursts.push_back({{}, {}, line});
            }
            bursts.back().requests.push_back(frames[0].frame);
        } else if (!bursts.empty() && RoleOf(frames[0].frame) == FrameRole::Answer) {
            bursts.back().answers.push_back(frames[0].frame);
        }
    }
    if (bursts.empty()) {
        Fail(Exit::Unusable, "{} holds no requests", path);
    }
    return bursts;
}

}  // namespace zelline
