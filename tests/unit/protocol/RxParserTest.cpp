// The receive parser against a model of its own, written from the wire format and not from the parser.
#include <gtest/gtest.h>

#include <random>

#include "UartManager/LinkFixture.h"
#include "base/Seed.h"
#include "protocol/FrameCodec.h"
#include "protocol/RxParser.h"

using scripted::Bytes;
using scripted::Hex;
using scripted::ToBytes;
using scripted::WireFrameOf;

namespace {

// What a receiver of the protocol has to deliver, kept as a list of bytes. Each delivered frame is its 73 bytes.
class ModelReceiver {
  public:
    void Take(std::uint8_t byte) {
        if (m_open.empty() && byte != 0x79) {
            return;
        }
        m_open.push_back(byte);
        if (m_open.size() < 5) {
            return;
        }
        const std::size_t length = m_open[4];
        if (length > 64 || (m_open.size() >= length + 9 && m_open[length + 8] != 0xFE)) {
            std::size_t next = 1;
            while (next < m_open.size() && m_open[next] != 0x79) {
                ++next;
            }
            m_open.erase(m_open.begin(), m_open.begin() + static_cast<std::ptrdiff_t>(next));
            return;
        }
        if (m_open.size() < length + 9) {
            return;
        }
        unsigned sum = 0;
        for (std::size_t i = 1; i <= length + 7; ++i) {
            sum += m_open[i];
        }
        if (sum % 256 == 0) {
            Bytes record(m_open.begin(), m_open.begin() + 5 + static_cast<std::ptrdiff_t>(length));
            record.resize(69);
            for (std::size_t i = 5; i < 9; ++i) {
                record.push_back(m_open[length + i]);
            }
            frames.push_back(Hex(record));
        }
        m_open.clear();
    }

    std::vector<std::string> frames;

  private:
    Bytes m_open;
};

std::string RecordHex(const UartFrame& frame) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&frame);
    return Hex(Bytes(bytes, bytes + sizeof frame));
}

std::vector<std::string> ByModel(const Bytes& stream) {
    ModelReceiver model;
    for (const std::uint8_t byte : stream) {
        model.Take(byte);
    }
    return model.frames;
}

std::vector<std::string> ByteByByte(const Bytes& stream) {
    zel::RxParser parser;
    std::vector<std::string> frames;
    UartFrame frame{};
    for (const std::uint8_t byte : stream) {
        if (parser.ParseRxByte(byte, frame)) {
            frames.push_back(RecordHex(frame));
        }
    }
    return frames;
}

std::vector<std::string> InBlocks(const Bytes& stream, const std::vector<std::size_t>& sizes) {
    zel::RxParser parser;
    std::vector<std::string> frames;
    std::size_t at = 0;
    for (std::size_t i = 0; at < stream.size(); ++i) {
        const std::size_t size = std::min(i < sizes.size() ? sizes[i] : stream.size(), stream.size() - at);
        parser.ParseRxBytes(&stream[at], size,
                            [&](const UartFrame& frame) { frames.push_back(RecordHex(frame)); });
        at += size;
    }
    return frames;
}

void ExpectSame(const Bytes& stream, const char* what) {
    const auto expected = ByModel(stream);
    EXPECT_EQ(ByteByByte(stream), expected) << what << ": " << Hex(stream);
    EXPECT_EQ(InBlocks(stream, {}), expected) << what << ": " << Hex(stream);
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const Bytes kGood = WireFrameOf(0x00, 0x1274, ToBytes("AB12yyCD"), 3, 7);
const Bytes kReadyFrame = {0x79, 0x00, 0x12, 0x72, 0x01, 0x02, 0x00, 0x01, 0x78, 0xFE};

TEST(RxParser, DeliversTheRecordOfAFrame) {
    UartFrame frame{};
    zel::RxParser parser;
    bool done = false;
    for (const std::uint8_t byte : kReadyFrame) {
        EXPECT_FALSE(done);
        done = parser.ParseRxByte(byte, frame);
    }
    ASSERT_TRUE(done);
    EXPECT_EQ(frame.start, 0x79);
    EXPECT_EQ(frame.kind, 0x00);
    EXPECT_EQ(frame.CommandId(), 0x1272);
    EXPECT_EQ(frame.length, 1);
    EXPECT_EQ(frame.payload[0], 0x02);
    EXPECT_EQ(frame.payload[1], 0x00);
    EXPECT_EQ(frame.trailerA, 0x00);
    EXPECT_EQ(frame.trailerB, 0x01);
    EXPECT_EQ(frame.checksum, 0x78);
    EXPECT_EQ(frame.end, 0xFE);
}

TEST(RxParser, BytesBeforeTheStartAreDropped) {
    const Bytes stream = {0x00, 0x00, 0x79, 0x00, 0x12, 0x73, 0x00, 0x00, 0x00, 0x7B, 0xFE};
    EXPECT_EQ(ByteByByte(stream).size(), 1U);
    ExpectSame(stream, "leading zeros");
}

TEST(RxParser, EveryLengthIsDelivered) {
    for (std::size_t length = 0; length <= 64; ++length) {
        const Bytes frame = WireFrameOf(0x00, 0x1281, Bytes(length, 0x79), 1, 2);
        EXPECT_EQ(frame.size(), length + 9);
        EXPECT_EQ(ByteByByte(frame).size(), 1U) << length;
        ExpectSame(frame + kReadyFrame, "length");
    }
}

TEST(RxParser, Length65ResynchronisesAtTheFifthByte) {
    // The start byte inside the impossible header opens the next frame.
    const Bytes stream =
        Bytes{0x79, 0x00, 0x12, 0x79, 65} + Bytes{0x12, 0x73, 0x00, 0x00, 0x00, 0x7B - 0x41, 0xFE};
    ExpectSame(stream, "length 65");
    EXPECT_EQ(ByteByByte(stream).size(), 1U);
}

TEST(RxParser, AChecksumOfZeroIsValid) {
    Bytes payload = {0};
    while (WireFrameOf(0x00, 0x1274, payload)[8] != 0x00) {
        ++payload[0];
    }
    EXPECT_EQ(ByteByByte(WireFrameOf(0x00, 0x1274, payload)).size(), 1U);
}

TEST(RxParser, EverySplitOfAFrameOverTwoReads) {
    const Bytes stream = kGood + kReadyFrame;
    const auto expected = ByModel(stream);
    ASSERT_EQ(expected.size(), 2U);
    for (std::size_t split = 0; split <= stream.size(); ++split) {
        EXPECT_EQ(InBlocks(stream, {split}), expected) << split;
    }
}

TEST(RxParser, EveryByteValueAtEveryPlace) {
    const Bytes longest = WireFrameOf(0x00, 0x12A1, Bytes(64, 0x55), 0, 1);
    for (const Bytes& good : {kGood, longest}) {
        for (std::size_t at = 0; at < good.size(); ++at) {
            for (unsigned value = 0; value < 256; ++value) {
                Bytes damaged = good;
                damaged[at] = static_cast<std::uint8_t>(value);
                ExpectSame(damaged + kReadyFrame + kReadyFrame, "byte value");
            }
        }
    }
}

TEST(RxParser, EveryByteValueAsNoiseBeforeAFrame) {
    for (unsigned value = 0; value < 256; ++value) {
        for (std::size_t count = 1; count <= 80; count += 13) {
            ExpectSame(Bytes(count, static_cast<std::uint8_t>(value)) + kGood + kReadyFrame, "noise");
        }
    }
}

TEST(RxParser, ALostByteAnywhere) {
    for (std::size_t at = 0; at < kGood.size(); ++at) {
        Bytes damaged = kGood;
        damaged.erase(damaged.begin() + static_cast<std::ptrdiff_t>(at));
        ExpectSame(damaged + kReadyFrame + kGood, "lost byte");
    }
}

TEST(RxParser, AFlippedBitAnywhereNeverDeliversTheFrame) {
    for (std::size_t at = 0; at < kGood.size(); ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            Bytes damaged = kGood;
            damaged[at] = static_cast<std::uint8_t>(damaged[at] ^ (1U << bit));
            const auto frames = ByteByByte(damaged);
            EXPECT_TRUE(frames.empty()) << at << "/" << bit;
            ExpectSame(damaged + kReadyFrame + kGood, "flipped bit");
        }
    }
}

TEST(RxParser, ATruncatedFrameAtEveryLength) {
    for (std::size_t size = 1; size < kGood.size(); ++size) {
        ExpectSame(Bytes(kGood.begin(), kGood.begin() + static_cast<std::ptrdiff_t>(size)) + kReadyFrame + kGood +
                       kReadyFrame,
                   "truncated");
    }
}

TEST(RxParser, AStrayStartByteAnywhere) {
    for (std::size_t at = 0; at <= kGood.size(); ++at) {
        Bytes damaged = kGood;
        damaged.insert(damaged.begin() + static_cast<std::ptrdiff_t>(at), 0x79);
        ExpectSame(damaged + kReadyFrame + kGood + kReadyFrame, "stray start byte");
    }
}

TEST(RxParser, AWrongChecksumDropsTheFrameAndDeliversTheNext) {
    Bytes damaged = kGood;
    damaged[damaged.size() - 2] = static_cast<std::uint8_t>(damaged[damaged.size() - 2] + 1);
    EXPECT_EQ(ByteByByte(damaged + kReadyFrame), ByModel(kReadyFrame));
    ExpectSame(damaged + kReadyFrame, "checksum");
}

TEST(RxParser, ClearForgetsAnOpenFrame) {
    zel::RxParser parser;
    UartFrame frame{};
    for (std::size_t i = 0; i + 1 < kGood.size(); ++i) {
        parser.ParseRxByte(kGood[i], frame);
    }
    parser.Clear();
    EXPECT_FALSE(parser.ParseRxByte(0xFE, frame));
    bool done = false;
    for (const std::uint8_t byte : kReadyFrame) {
        done = parser.ParseRxByte(byte, frame);
    }
    EXPECT_TRUE(done);
}

// Streams of frames, damage and noise rich in the bytes that mean something, cut at random places.
TEST(RxParser, RandomStreams) {
    const unsigned seed = tests::Seed();
    SCOPED_TRACE("ZELFAC_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    for (int round = 0; round < 2000 && !::testing::Test::HasFailure(); ++round) {
        Bytes stream;
        for (unsigned piece = 0, pieces = 1 + below(12); piece < pieces; ++piece) {
            Bytes next;
            if (below(3) == 0) {
                for (unsigned i = 0, count = below(90); i < count; ++i) {
                    constexpr std::uint8_t kTelling[] = {0x79, 0xFE, 0x00, 0x40, 0x41, 0x01};
                    next.push_back(below(2) == 0 ? kTelling[below(6)] : static_cast<std::uint8_t>(below(256)));
                }
            } else {
                Bytes payload(below(65));
                for (auto& byte : payload) {
                    byte = below(4) == 0 ? 0x79 : static_cast<std::uint8_t>(below(256));
                }
                next = WireFrameOf(static_cast<std::uint8_t>(below(256)), static_cast<std::uint16_t>(below(65536)),
                                   payload, static_cast<std::uint8_t>(below(256)),
                                   static_cast<std::uint8_t>(below(256)));
                if (below(3) == 0) {
                    next[below(static_cast<unsigned>(next.size()))] = static_cast<std::uint8_t>(below(256));
                }
                if (below(4) == 0) {
                    next.resize(below(static_cast<unsigned>(next.size())));
                }
            }
            stream = stream + next;
        }
        std::vector<std::size_t> sizes;
        for (std::size_t total = 0; total < stream.size();) {
            sizes.push_back(1 + below(100));
            total += sizes.back();
        }
        const auto expected = ByModel(stream);
        EXPECT_EQ(ByteByByte(stream), expected) << Hex(stream);
        EXPECT_EQ(InBlocks(stream, sizes), expected) << Hex(stream);
    }
}

TEST(FrameCodec, ChecksumOfNothingIsZero) {
    EXPECT_EQ(FrameChecksum(nullptr, 0), 0);
}

TEST(FrameCodec, ChecksumMakesTheSumZero) {
    for (unsigned value = 0; value < 256; ++value) {
        const std::uint8_t byte = static_cast<std::uint8_t>(value);
        EXPECT_EQ(static_cast<std::uint8_t>(FrameChecksum(&byte, 1) + byte), 0);
    }
}

TEST(FrameCodec, ChecksumOfEveryLengthAndAlignment) {
    std::mt19937 random(3);
    Bytes bytes(600);
    for (auto& byte : bytes) {
        byte = static_cast<std::uint8_t>(random() % 4 == 0 ? 0xFF : random());
    }
    for (std::size_t offset = 0; offset < 9; ++offset) {
        for (std::size_t size = 0; size + offset <= bytes.size(); ++size) {
            unsigned sum = 0;
            for (std::size_t i = 0; i < size; ++i) {
                sum += bytes[offset + i];
            }
            ASSERT_EQ(FrameChecksum(&bytes[offset], size), (256 - sum % 256) % 256) << offset << "/" << size;
        }
    }
}

TEST(FrameCodec, EncodesEveryLengthAsTheWireHasIt) {
    for (std::size_t length = 0; length <= 64; ++length) {
        UartFrame frame = zel::MakeFrame(zel::FrameKind::Result, 0x129E);
        const Bytes payload(length, 0xA5);
        ASSERT_TRUE(zel::SetPayload(frame, {reinterpret_cast<const char*>(payload.data()), payload.size()}));
        frame.trailerB = 1;
        frame.checksum = 0x11;  // made afresh
        frame.start = 0x00;     // the wire's own
        const zel::WireFrame wire = zel::EncodeFrame(frame);
        EXPECT_EQ(Hex(Bytes(wire.bytes.begin(), wire.bytes.begin() + static_cast<std::ptrdiff_t>(wire.size))),
                  Hex(WireFrameOf(0x11, 0x129E, payload, 0, 1)));
    }
}

TEST(FrameCodec, APayloadTooLongIsCut) {
    UartFrame frame = zel::MakeFrame(zel::FrameKind::Result, 0x1275);
    EXPECT_FALSE(zel::SetPayload(frame, std::string(65, 'x')));
    EXPECT_EQ(frame.length, 64);
    EXPECT_EQ(zel::Payload(frame), std::string(64, 'x'));
    EXPECT_EQ(frame.trailerA, 0);
}

TEST(FrameCodec, AShorterPayloadLeavesNothingOfALongerOne) {
    UartFrame frame = zel::MakeFrame(zel::FrameKind::Result, 0x1275);
    zel::SetPayload(frame, "long text");
    zel::SetPayload(frame, "ab");
    EXPECT_EQ(zel::Payload(frame), "ab");
    EXPECT_EQ(frame.payload[2], 0);
}

}  // namespace
