// Any bytes, cut anywhere: the parser fed in blocks delivers exactly what it delivers byte by byte, never a frame
// that is not one, and every delivered frame encodes to bytes that are delivered again.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "protocol/FrameCodec.h"
#include "protocol/RxParser.h"

namespace {

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool Same(const UartFrame& a, const UartFrame& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t block = data[0] + 1U;
    ++data;
    --size;
    std::vector<UartFrame> frames;
    zel::RxParser byByte;
    UartFrame frame{};
    for (std::size_t i = 0; i < size; ++i) {
        if (byByte.ParseRxByte(data[i], frame)) {
            frames.push_back(frame);
        }
    }
    std::size_t next = 0;
    zel::RxParser inBlocks;
    for (std::size_t at = 0; at < size; at += block) {
        inBlocks.ParseRxBytes(data + at, size - at < block ? size - at : block, [&](const UartFrame& delivered) {
            Require(next < frames.size() && Same(delivered, frames[next]));
            ++next;
        });
    }
    Require(next == frames.size());
    for (const UartFrame& delivered : frames) {
        Require(delivered.start == zel::kFrameStart && delivered.end == zel::kFrameEnd);
        Require(delivered.length <= zel::kMaxPayload);
        const zel::WireFrame wire = zel::EncodeFrame(delivered);
        zel::RxParser again;
        bool same = false;
        again.ParseRxBytes(wire.bytes.data(), wire.size,
                           [&](const UartFrame& second) { same = Same(second, delivered); });
        Require(same);
    }
    return 0;
}
