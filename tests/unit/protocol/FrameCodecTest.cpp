// The wire form of frames, and the verdict on received bytes.
#include <gtest/gtest.h>

#include "UartManager/LinkFixture.h"
#include "protocol/FrameCodec.h"

using scripted::Bytes;
using scripted::Hex;
using scripted::ToBytes;
using scripted::WireFrameOf;

namespace zel {
namespace {

const Bytes kWhole = WireFrameOf(0x11, 0x1275, ToBytes("AB12"), 3, 7);

Inspection Look(const Bytes& bytes) {
    return Inspect(bytes.data(), bytes.size());
}

TEST(Inspect, AGoodFrameWhateverLiesBehindIt) {
    Bytes bytes = kWhole;
    EXPECT_EQ(Look(bytes).verdict, FrameVerdict::Good);
    EXPECT_EQ(Look(bytes).size, 13U);
    bytes.push_back(0x79);
    EXPECT_EQ(Look(bytes).verdict, FrameVerdict::Good);
    EXPECT_EQ(Look(bytes).size, 13U);
    const Bytes longest = WireFrameOf(0, 0x1274, Bytes(64, 0x79));
    EXPECT_EQ(Look(longest).verdict, FrameVerdict::Good);
    EXPECT_EQ(Look(longest).size, 73U);
}

TEST(Inspect, EveryPartOfAFrameNeedsMore) {
    for (std::size_t size = 1; size < kWhole.size(); ++size) {
        const Inspection inspection = Inspect(kWhole.data(), size);
        EXPECT_EQ(inspection.verdict, FrameVerdict::NeedMore) << size;
        EXPECT_EQ(inspection.size, size < 5 ? 5U : 13U) << size;
    }
}

TEST(Inspect, EveryOtherByteButTheEnvelopeIsABadChecksum) {
    for (std::size_t at = 1; at < kWhole.size(); ++at) {
        Bytes bytes = kWhole;
        bytes[at] ^= 0x40;
        const bool envelope = at == 4 || at == 12;
        EXPECT_EQ(Look(bytes).verdict, envelope ? FrameVerdict::BadEnvelope : FrameVerdict::BadChecksum) << at;
    }
}

TEST(Inspect, ALengthAbove64IsRefusedAsSoonAsItIsThere) {
    Bytes bytes = {0x79, 0, 0x12, 0x73, 65};
    EXPECT_EQ(Look(bytes).verdict, FrameVerdict::BadEnvelope);
    bytes[4] = 64;
    EXPECT_EQ(Look(bytes).verdict, FrameVerdict::NeedMore);
    EXPECT_EQ(Look(bytes).size, 73U);
}

TEST(FrameCodec, TheRecordOfAFrameKeepsItsFields) {
    const UartFrame frame = DecodeFrame(kWhole.data());
    EXPECT_EQ(frame.start, 0x79);
    EXPECT_EQ(frame.kind, 0x11);
    EXPECT_EQ(frame.CommandId(), 0x1275);
    EXPECT_EQ(Payload(frame), "AB12");
    EXPECT_EQ(frame.payload[4], 0);
    EXPECT_EQ(frame.trailerA, 3);
    EXPECT_EQ(frame.trailerB, 7);
    EXPECT_EQ(frame.checksum, kWhole[11]);
    EXPECT_EQ(frame.end, 0xFE);
}

TEST(FrameCodec, ALengthAbove64IsSentAs64) {
    for (const unsigned length : {65U, 200U, 255U}) {
        UartFrame frame = MakeFrame(FrameKind::Result, 0x1275);
        frame.payload.fill('s');
        frame.length = static_cast<std::uint8_t>(length);
        const WireFrame wire = EncodeFrame(frame);
        EXPECT_EQ(Hex({wire.bytes.begin(), wire.bytes.begin() + static_cast<std::ptrdiff_t>(wire.size)}),
                  Hex(WireFrameOf(0x11, 0x1275, Bytes(64, 's'))));
        EXPECT_EQ(Payload(frame).size(), 64U);
    }
}

}  // namespace
}  // namespace zel
