#include "explain/Explain.h"

#include <fmt/format.h>

#include <algorithm>

#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Answer.h"
#include "wire/Request.h"

namespace zelline {
namespace {

bool IsPrintable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

std::string PayloadWords(std::string_view payload) {
    if (payload.empty()) {
        return "no payload";
    }
    return IsPrintable(payload) ? fmt::format("\"{}\"", payload)
                                : ToHex(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size());
}

std::string Name(std::uint16_t id) {
    const zel::CommandInfo* row = zel::FindCommand(id);
    if (row == nullptr) {
        return IdText(id) + " (outside the commands)";
    }
    return IdText(id) + ' ' + (row->name.empty() ? std::string("(ignored by the set)") : std::string(row->name));
}

std::string ExplainRequest(const UartFrame& frame) {
    const std::string name = Name(frame.CommandId());
    if (CarriesFileBytes(frame.CommandId())) {
        return fmt::format("request {}, chunk {} of {}, {} bytes", name, frame.trailerA + 1, frame.trailerB,
                           frame.length);
    }
    if (frame.CommandId() == zel::command::kSetVolume && frame.length == 1) {
        return fmt::format("request {} to {}", name, frame.payload[0]);
    }
    std::string words = fmt::format("request {}, {}", name, PayloadWords(zel::Payload(frame)));
    if (frame.kind != 0 || frame.trailerA != 0 || frame.trailerB != 0) {
        words += fmt::format(", kind {:02X}, trailer {:02X} {:02X}", frame.kind, frame.trailerA, frame.trailerB);
    }
    return words;
}

// Why `bytes`, which start with a start byte, are no intact frame.
std::string Damage(const std::uint8_t* bytes, std::size_t size, const zel::Inspection& seen) {
    if (size < zel::kHeaderSize) {
        return fmt::format("cut off: {} of at least {} bytes", size, zel::kFrameOverhead);
    }
    const std::size_t length = bytes[4];
    const std::string id = IdText(static_cast<std::uint16_t>(bytes[2] << 8 | bytes[3]));
    if (seen.verdict == zel::FrameVerdict::NeedMore) {
        return fmt::format("cut off: {}, {} of {} bytes", id, size, seen.size);
    }
    if (seen.verdict == zel::FrameVerdict::BadChecksum) {
        return fmt::format("damaged: {}, checksum {:02X}, but the bytes give {:02X}", id, bytes[seen.size - 2],
                           FrameChecksum(bytes + 1, length + 6));
    }
    if (length > zel::kMaxPayload) {
        return fmt::format("no frame: length {} is above {}", length, zel::kMaxPayload);
    }
    return fmt::format("no frame: {} with length {} would end in FE, here {:02X}", id, length,
                       bytes[seen.size - 1]);
}

}  // namespace

std::string Explain(const UartFrame& frame) {
    switch (static_cast<zel::FrameKind>(frame.kind)) {
        case zel::FrameKind::Plain:
        case zel::FrameKind::Result:
        case zel::FrameKind::LinkClosing: {
            const Reading reading = ReadAnswer(frame);
            if (RoleOf(frame) == FrameRole::KeyPress) {
                return "key press report, " + reading.words;
            }
            return fmt::format("answer {}, {}", Name(frame.CommandId()), reading.words);
        }
        default:
            break;
    }
    if (frame.CommandId() == zel::command::kReady) {
        return "ready frame: the set is on and nobody has connected";
    }
    return ExplainRequest(frame);
}

std::vector<Stretch> Dissect(const Bytes& stream) {
    std::vector<Stretch> stretches;
    auto at = stream.begin();
    while (at != stream.end()) {
        auto end = std::find(at + 1, stream.end(), zel::kFrameStart);
        Stretch stretch;
        stretch.at = static_cast<std::size_t>(at - stream.begin());
        if (*at != zel::kFrameStart) {
            const bool isFlush = std::equal(at, end, kFlush.begin(), kFlush.end());
            stretch.words = isFlush ? kFlushWords : "noise: no start byte 79";
        } else {
            const std::uint8_t* bytes = &*at;
            const auto left = static_cast<std::size_t>(stream.end() - at);
            const zel::Inspection seen = zel::Inspect(bytes, left);
            stretch.intact = seen.verdict == zel::FrameVerdict::Good;
            if (stretch.intact) {
                stretch.frame = zel::DecodeFrame(bytes);
            }
            if (stretch.intact || seen.verdict == zel::FrameVerdict::BadChecksum) {
                end = at + static_cast<std::ptrdiff_t>(seen.size);
            }
            stretch.words = stretch.intact ? Explain(stretch.frame) : Damage(bytes, left, seen);
        }
        stretch.bytes.assign(at, end);
        at = end;
        stretches.push_back(std::move(stretch));
    }
    return stretches;
}

}  // namespace zelline
