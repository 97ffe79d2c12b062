#include "wire/Explain.h"

#include <fmt/format.h>

#include <algorithm>

#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Answer.h"

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
    const zel::CommandInfo* row = zel::FindCommand(frame.CommandId());
    const std::string name = Name(frame.CommandId());
    if (row != nullptr && row->payload == zel::PayloadRule::KeyChunk) {
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

// Why the bytes from `at` on are no frame, and how many of them to set aside together.
std::string Damage(const Bytes& stream, std::size_t at, std::size_t& size) {
    const std::size_t left = stream.size() - at;
    const auto next =
        std::find(stream.begin() + static_cast<std::ptrdiff_t>(at) + 1, stream.end(), zel::kFrameStart);
    size = static_cast<std::size_t>(next - stream.begin()) - at;
    if (stream[at] != zel::kFrameStart) {
        return "noise: no start byte 79";
    }
    if (left < zel::kHeaderSize) {
        return fmt::format("cut off: {} of at least {} bytes", left, zel::kFrameOverhead);
    }
    const std::size_t length = stream[at + 4];
    if (length > zel::kMaxPayload) {
        return fmt::format("no frame: length {} is above {}", length, zel::kMaxPayload);
    }
    const std::size_t whole = length + zel::kFrameOverhead;
    const std::string id = IdText(static_cast<std::uint16_t>(stream[at + 2] << 8 | stream[at + 3]));
    if (left < whole) {
        return fmt::format("cut off: {}, {} of {} bytes", id, left, whole);
    }
    if (stream[at + whole - 1] != zel::kFrameEnd) {
        return fmt::format("no frame: {} with length {} would end in FE, here {:02X}", id, length,
                           stream[at + whole - 1]);
    }
    size = whole;
    return fmt::format("damaged: {}, checksum {:02X}, but the bytes give {:02X}", id, stream[at + whole - 2],
                       FrameChecksum(stream.data() + at + 1, length + 6));
}

bool Intact(const Bytes& stream, std::size_t at, UartFrame& frame, std::size_t& size) {
    if (stream[at] != zel::kFrameStart || stream.size() - at < zel::kFrameOverhead) {
        return false;
    }
    const std::uint8_t* wire = stream.data() + at;
    const std::size_t length = wire[4];
    size = length + zel::kFrameOverhead;
    if (length > zel::kMaxPayload || stream.size() - at < size || wire[size - 1] != zel::kFrameEnd ||
        FrameChecksum(wire + 1, length + 6) != wire[size - 2]) {
        return false;
    }
    frame = zel::MakeFrame(zel::FrameKind::Ready, static_cast<std::uint16_t>(wire[2] << 8 | wire[3]));
    frame.kind = wire[1];
    zel::SetPayload(frame, {reinterpret_cast<const char*>(wire) + zel::kHeaderSize, length});
    frame.trailerA = wire[size - 4];
    frame.trailerB = wire[size - 3];
    frame.checksum = wire[size - 2];
    return true;
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
    for (std::size_t at = 0; at < stream.size();) {
        Stretch stretch;
        stretch.at = at;
        std::size_t size = 0;
        stretch.intact = Intact(stream, at, stretch.frame, size);
        stretch.words = stretch.intact ? Explain(stretch.frame) : Damage(stream, at, size);
        const auto first = stream.begin() + static_cast<std::ptrdiff_t>(at);
        stretch.bytes.assign(first, first + static_cast<std::ptrdiff_t>(size));
        at += size;
        stretches.push_back(std::move(stretch));
    }
    return stretches;
}

}  // namespace zelline
