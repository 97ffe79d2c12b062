// Nanoseconds per received byte ("bytes_per_second" turned round: the counter "ns/byte").
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "protocol/FrameCodec.h"
#include "protocol/RxParser.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kStream = 1 << 20;

// Frames of every length, as a line would send them.
Bytes ValidStream() {
    Bytes stream;
    std::mt19937 random(1);
    while (stream.size() < kStream) {
        UartFrame frame =
            zel::MakeFrame(zel::FrameKind::Ready, static_cast<std::uint16_t>(0x1273 + random() % 72));
        frame.length = static_cast<std::uint8_t>(random() % 65);
        for (std::size_t i = 0; i < frame.length; ++i) {
            frame.payload[i] = static_cast<std::uint8_t>(random());
        }
        const zel::WireFrame wire = zel::EncodeFrame(frame);
        stream.insert(stream.end(), wire.bytes.begin(),
                      wire.bytes.begin() + static_cast<std::ptrdiff_t>(wire.size));
    }
    return stream;
}

Bytes Noise() {
    Bytes stream(kStream);
    std::mt19937 random(2);
    for (auto& byte : stream) {
        byte = static_cast<std::uint8_t>(random());
    }
    return stream;
}

// Every other byte opens a frame.
Bytes StartRichNoise() {
    Bytes stream = Noise();
    for (std::size_t i = 0; i < stream.size(); i += 2) {
        stream[i] = zel::kFrameStart;
    }
    return stream;
}

Bytes StartBytesOnly() {
    return Bytes(kStream, zel::kFrameStart);
}

void Count(benchmark::State& state, std::size_t bytes) {
    state.counters["ns/byte"] =
        benchmark::Counter(static_cast<double>(bytes) * static_cast<double>(state.iterations()) * 1e-9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The road of the command thread: whole bursts.
void InBursts(benchmark::State& state, const Bytes& stream) {
    zel::RxParser parser;
    for (auto _ : state) {
        std::size_t frames = 0;
        parser.ParseRxBytes(stream.data(), stream.size(), [&](const UartFrame& frame) {
            benchmark::DoNotOptimize(frame.checksum);
            ++frames;
        });
        benchmark::DoNotOptimize(frames);
    }
    Count(state, stream.size());
}

void ByteByByte(benchmark::State& state, const Bytes& stream) {
    zel::RxParser parser;
    UartFrame frame{};
    for (auto _ : state) {
        std::size_t frames = 0;
        for (const std::uint8_t byte : stream) {
            frames += parser.ParseRxByte(byte, frame) ? 1 : 0;
        }
        benchmark::DoNotOptimize(frames);
    }
    Count(state, stream.size());
}

// What the goal is measured against: a byte-fed parser of the same frame that keeps a 16-bit checksum as it goes
// (the reflected CCITT polynomial, a step per byte).
class ReferenceParser {
  public:
    bool Take(std::uint8_t byte) {
        switch (m_state) {
            case State::Start:
                if (byte == zel::kFrameStart) {
                    m_state = State::Header;
                    m_at = 0;
                    m_crc = 0xFFFF;
                }
                return false;
            case State::Header:
                Accumulate(byte);
                m_header[m_at++] = byte;
                if (m_at == 4) {
                    m_state = byte > zel::kMaxPayload ? State::Start : State::Body;
                    m_left = byte + 2U;
                    m_at = 0;
                }
                return false;
            case State::Body:
                Accumulate(byte);
                m_body[m_at++] = byte;
                if (m_at == m_left) {
                    m_state = State::Checksum;
                }
                return false;
            case State::Checksum:
                m_last = byte;
                m_state = State::End;
                return false;
            case State::End:
                m_state = State::Start;
                benchmark::DoNotOptimize(m_crc);
                return byte == zel::kFrameEnd;
        }
        return false;
    }

  private:
    enum class State : std::uint8_t { Start, Header, Body, Checksum, End };

    void Accumulate(std::uint8_t byte) {
        auto mixed = static_cast<std::uint8_t>(byte ^ static_cast<std::uint8_t>(m_crc & 0xFF));
        mixed = static_cast<std::uint8_t>(mixed ^ (mixed << 4));
        m_crc = static_cast<std::uint16_t>((m_crc >> 8) ^ (mixed << 8) ^ (mixed << 3) ^ (mixed >> 4));
    }

    State m_state = State::Start;
    std::size_t m_at = 0;
    std::size_t m_left = 0;
    std::uint16_t m_crc = 0;
    std::uint8_t m_last = 0;
    std::uint8_t m_header[4] = {};
    std::uint8_t m_body[zel::kMaxPayload + 2] = {};
};

void Reference(benchmark::State& state, const Bytes& stream) {
    ReferenceParser parser;
    for (auto _ : state) {
        std::size_t frames = 0;
        for (const std::uint8_t byte : stream) {
            frames += parser.Take(byte) ? 1 : 0;
        }
        benchmark::DoNotOptimize(frames);
    }
    Count(state, stream.size());
}

BENCHMARK_CAPTURE(InBursts, valid, ValidStream());
BENCHMARK_CAPTURE(InBursts, noise, Noise());
BENCHMARK_CAPTURE(InBursts, start_rich_noise, StartRichNoise());
BENCHMARK_CAPTURE(InBursts, start_bytes_only, StartBytesOnly());
BENCHMARK_CAPTURE(ByteByByte, valid, ValidStream());
BENCHMARK_CAPTURE(ByteByByte, noise, Noise());
BENCHMARK_CAPTURE(ByteByByte, start_rich_noise, StartRichNoise());
BENCHMARK_CAPTURE(ByteByByte, start_bytes_only, StartBytesOnly());
BENCHMARK_CAPTURE(Reference, valid, ValidStream());

}  // namespace
