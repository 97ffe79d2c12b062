#include "simset/board/line/LineTap.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <utility>

namespace simset {
namespace {

using nlohmann::json;

constexpr char kStart = 0x79;
constexpr char kEnd = '\xFE';
constexpr std::size_t kAround = 9;  // bytes of a frame without its payload
constexpr std::size_t kHead = 5;    // start, kind, id, length
constexpr std::size_t kMaxPayload = 64;
constexpr unsigned kRequest = 0x00;

unsigned At(const std::string& frame, std::size_t index) {
    return static_cast<unsigned char>(frame[index]);
}

std::string Hex(const std::string& bytes, const char* digits = "0123456789abcdef") {
    std::string hex;
    for (const char byte : bytes) {
        hex += digits[static_cast<unsigned char>(byte) >> 4U];
        hex += digits[static_cast<unsigned char>(byte) & 0xFU];
    }
    return hex;
}

bool IsPrintable(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// Length of the frame that `bytes` begins with: 0 when it begins with none, nothing while that is open.
std::optional<std::size_t> FrameLength(const std::string& bytes) {
    if (bytes[0] != kStart) {
        return 0;
    }
    if (bytes.size() < kHead) {
        return std::nullopt;
    }
    const std::size_t size = At(bytes, kHead - 1) + kAround;
    if (size > kMaxPayload + kAround) {
        return 0;
    }
    if (bytes.size() < size) {
        return std::nullopt;
    }
    // All between start and end add up to 0.
    unsigned sum = 0;
    for (std::size_t i = 1; i < size - 1; ++i) {
        sum += At(bytes, i);
    }
    return bytes[size - 1] == kEnd && sum % 256 == 0 ? size : 0;
}

}  // namespace

void LineTap::Take(const char* bytes, std::size_t size, Nanos now) {
    if (const auto silent = SilentAt(); silent && now >= *silent) {
        TakeSilence(now);
    }
    if (size == 0) {
        return;
    }
    m_last = now;
    m_pending.append(bytes, size);
    Split(false, now);
}

void LineTap::TakeSilence(Nanos now) {
    Split(true, now);
    TellNoise();
    TellSkipped();
}

std::optional<LineTap::Nanos> LineTap::SilentAt() const {
    const bool nothing = m_pending.empty() && m_noise == 0 && m_skipped == 0;
    return nothing ? std::nullopt : std::optional(m_last + kSilence);
}

void LineTap::Split(bool silent, Nanos now) {
    std::size_t at = 0;
    while (at < m_pending.size()) {
        // A frame is short: what is looked at is too.
        const std::string head = m_pending.substr(at, kMaxPayload + kAround);
        const auto length = FrameLength(head);
        if (!length && !silent) {
            break;
        }
        if (length.value_or(0) > 0) {
            TellNoise();
            TellFrame(head.substr(0, *length), now);
            at += *length;
            continue;
        }
        if (m_noise++ == 0 && head[0] == kStart) {
            m_noiseHead = head.substr(0, kHead);
        }
        ++at;
    }
    m_pending.erase(0, at);
}

void LineTap::TellFrame(const std::string& frame, Nanos now) {
    if (now - m_second >= std::chrono::seconds(1)) {
        TellSkipped();
        m_second = now;
        m_frames = 0;
    }
    if (++m_frames > kMaxFramesPerSecond) {
        ++m_skipped;
        return;
    }
    const std::size_t size = frame.size() - kAround;
    const std::string payload = frame.substr(kHead, size);
    const unsigned kind = At(frame, 1);
    const unsigned chunk = At(frame, kHead + size);
    const unsigned chunks = At(frame, kHead + size + 1);
    json row = Row("frame");
    row["id"] = "0x" + Hex(frame.substr(2, 2), "0123456789ABCDEF");
    row["role"] = Role(kind, size);
    if (m_towardsSet && kind == kRequest && chunks != 0) {
        row["chunk"] = chunk;
        row["chunks"] = chunks;
        row["bytes"] = size;
    } else {
        row["payload"] = Hex(payload);
        if (IsPrintable(payload)) {
            row["text"] = payload;
        }
    }
    m_tell(row);
}

std::string LineTap::Role(unsigned kind, std::size_t size) const {
    switch (kind) {
        case kRequest:
            return m_towardsSet ? "request" : "ready";
        case 0x10:
            return size == 0 ? "empty" : "status";
        case 0x11:
            return "data";
        case 0x20:
            return "closing";
        default:
            return "0x" + Hex(std::string(1, static_cast<char>(kind)));
    }
}

void LineTap::TellNoise() {
    if (m_noise == 0) {
        return;
    }
    json row = Row("noise");
    row["bytes"] = std::exchange(m_noise, 0);
    if (!m_noiseHead.empty()) {
        row["head"] = Hex(std::exchange(m_noiseHead, {}));
    }
    m_tell(row);
}

void LineTap::TellSkipped() {
    if (m_skipped > 0) {
        json row = Row("skipped");
        row["frames"] = std::exchange(m_skipped, 0);
        m_tell(row);
    }
}

json LineTap::Row(const char* call) const {
    return {{"who", "line"}, {"call", call}, {"to", m_towardsSet ? "set" : "line"}};
}

}  // namespace simset
