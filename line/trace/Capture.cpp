#include "trace/Capture.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <sstream>

#include "explain/Explain.h"
#include "protocol/FrameCodec.h"
#include "wire/Error.h"
#include "wire/Request.h"

namespace zelline {
namespace {

constexpr std::uint16_t kLinkUser0 = 147;
constexpr std::uint32_t kSectionBlock = 0x0A0D0D0A;
constexpr std::uint32_t kInterfaceBlock = 1;
constexpr std::uint32_t kPacketBlock = 6;
constexpr std::uint32_t kByteOrder = 0x1A2B3C4D;
constexpr std::uint16_t kComment = 1;
constexpr std::uint16_t kUserProgram = 4;  // of a section
constexpr std::uint16_t kInterfaceName = 2;
constexpr std::uint16_t kInterfaceText = 3;
constexpr std::uint16_t kInterfaceSpeed = 8;
constexpr std::uint16_t kPacketFlags = 2;
constexpr std::uint32_t kInbound = 1;
constexpr std::uint32_t kOutbound = 2;
constexpr std::uint64_t kBaud = 115200;

// A block of the file, little-endian.
class Block {
  public:
    template <typename Number>
    Block& Add(Number number) {
        for (std::size_t i = 0; i < sizeof number; ++i) {
            m_body += static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * i) & 0xFFU);
        }
        return *this;
    }

    // Bytes, filled up to whole words.
    Block& Add(std::string_view bytes) {
        m_body += bytes;
        m_body.append((4 - bytes.size() % 4) % 4, '\0');
        return *this;
    }

    Block& Option(std::uint16_t code, std::string_view value) {
        return Add(code).Add(static_cast<std::uint16_t>(value.size())).Add(value);
    }

    // The block around what was added, with the mark that ends its options.
    std::string Whole(std::uint32_t type) {
        Add(std::uint32_t{0});
        const auto size = static_cast<std::uint32_t>(m_body.size() + 12);
        return Block().Add(type).Add(size).m_body + m_body + Block().Add(size).m_body;
    }

    const std::string& Body() const { return m_body; }

  private:
    std::string m_body;
};

// Reads numbers and stretches out of a file, in its byte order.
class Reader {
  public:
    Reader(const std::string& text, std::size_t at, std::size_t end, bool swapped)
        : m_text(text), m_at(at), m_end(end), m_swapped(swapped) {}

    std::uint32_t Number(std::size_t size) {
        const std::string_view bytes = Take(size);
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < size; ++i) {
            number = number << 8U | static_cast<unsigned char>(bytes[m_swapped ? i : size - 1 - i]);
        }
        return number;
    }

    // Throws Error when there are fewer.
    std::string_view Take(std::size_t size) {
        if (m_end - m_at < size) {
            Fail(Exit::Unusable, "the capture is cut off or damaged at byte {}", m_at);
        }
        m_at += size;
        return std::string_view(m_text).substr(m_at - size, size);
    }

    std::size_t Left() const { return m_end - m_at; }

  private:
    const std::string& m_text;
    std::size_t m_at;
    std::size_t m_end;
    bool m_swapped;
};

std::size_t Padded(std::size_t size) {
    return (size + 3) / 4 * 4;
}

// The flags among the options of a packet, 0 without.
std::uint32_t Flags(Reader options) {
    while (options.Left() >= 4) {
        const std::uint32_t code = options.Number(2);
        const std::uint32_t size = options.Number(2);
        if (code == kPacketFlags && size == 4) {
            return options.Number(4);
        }
        options.Take(std::min(Padded(size), options.Left()));
    }
    return 0;
}

CapturedPacket ReadPacket(Reader block, std::size_t number) {
    block.Take(12);  // interface and time
    const std::uint32_t kept = block.Number(4);
    const std::uint32_t size = block.Number(4);
    const std::string_view bytes = block.Take(kept);
    block.Take(std::min(Padded(kept) - kept, block.Left()));
    const std::uint32_t direction = Flags(block) & 3U;
    if (direction != kInbound && direction != kOutbound) {
        Fail(Exit::Unusable, "packet {} does not say in which direction it went", number);
    }
    return {direction == kOutbound, {bytes.begin(), bytes.end()}, kept == size, number};
}

std::string Content(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace

bool IsCapture(const std::string& path) {
    std::string head(4, '\0');
    std::ifstream(path, std::ios::binary).read(head.data(), 4);
    return head == "\x0A\x0D\x0D\x0A";
}

std::vector<CapturedPacket> ReadCapture(const std::string& path) {
    const std::string text = Content(path);
    std::vector<CapturedPacket> packets;
    bool swapped = false;
    for (std::size_t at = 0; at < text.size();) {
        if (Reader(text, at, text.size(), false).Number(4) == kSectionBlock) {
            Reader section(text, at, text.size(), false);
            section.Take(8);
            swapped = section.Number(4) != kByteOrder;
        }
        Reader head(text, at, text.size(), swapped);
        const std::uint32_t type = head.Number(4);
        const std::uint32_t size = head.Number(4);
        head.Take(size < 12 ? text.size() : size - 8);
        if (type == kPacketBlock) {
            packets.push_back(ReadPacket(Reader(text, at + 8, at + size - 4, swapped), packets.size() + 1));
        }
        at += size;
    }
    return packets;
}

Capture::Capture(const std::string& path, bool withKeyBytes, std::string port)
    : m_file(path), m_withKeyBytes(withKeyBytes), m_port(std::move(port)) {}

void Capture::Begin() {
    m_file.Begin();
    m_file.Write(Block()
                     .Add(kByteOrder)
                     .Add(std::uint16_t{1})
                     .Add(std::uint16_t{0})
                     .Add(~std::uint64_t{0})  // of unknown length
                     .Option(kUserProgram, "zelline")
                     .Whole(kSectionBlock));
    m_file.Write(Block()
                     .Add(kLinkUser0)
                     .Add(std::uint16_t{0})
                     .Add(std::uint32_t{0})  // packets of any length
                     .Option(kInterfaceName, m_port)
                     .Option(kInterfaceText, "factory serial line, 115200 baud, 8N1")
                     .Option(kInterfaceSpeed, Block().Add(kBaud).Body())
                     .Whole(kInterfaceBlock));
}

void Capture::Packet(const Bytes& bytes, std::size_t size, bool sent, const std::string& comment) {
    if (!m_file.HasBegun()) {
        Begin();
    }
    const auto time = static_cast<std::uint64_t>(WallTime().count());
    Block block;
    block.Add(std::uint32_t{0})
        .Add(static_cast<std::uint32_t>(time >> 32U))
        .Add(static_cast<std::uint32_t>(time))
        .Add(static_cast<std::uint32_t>(bytes.size()))
        .Add(static_cast<std::uint32_t>(size))
        .Add(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()))
        .Option(kPacketFlags, Block().Add(sent ? kOutbound : kInbound).Body())
        .Option(kComment, comment);
    m_file.Write(block.Whole(kPacketBlock));
}

void Capture::Sent(const UartFrame& frame, Millis) {
    const zel::WireFrame wire = zel::EncodeFrame(frame);
    const std::size_t kept = IsSecret(frame, true) && !m_withKeyBytes ? zel::kHeaderSize : wire.size;
    Packet({wire.bytes.begin(), wire.bytes.begin() + static_cast<std::ptrdiff_t>(kept)}, wire.size, true,
           Explain(frame));
}

void Capture::Flushed(Millis) {
    Packet({kFlush.begin(), kFlush.end()}, kFlush.size(), true, kFlushWords);
}

void Capture::Received(const UartFrame& frame, Millis) {
    const zel::WireFrame wire = zel::EncodeFrame(frame);
    Packet({wire.bytes.begin(), wire.bytes.begin() + static_cast<std::ptrdiff_t>(wire.size)}, wire.size, false,
           Explain(frame));
}

void Capture::Noise(const Bytes& bytes, Millis) {
    Packet(bytes, bytes.size(), false, "bytes that belong to no frame");
}

std::unique_ptr<Recording> MakeRecording(const std::string& path, bool withKeyBytes, const std::string& port) {
    constexpr std::string_view kEnd = ".pcapng";
    if (path.size() >= kEnd.size() && path.compare(path.size() - kEnd.size(), kEnd.size(), kEnd) == 0) {
        return std::make_unique<Capture>(path, withKeyBytes, port);
    }
    return std::make_unique<Trace>(path, withKeyBytes);
}

}  // namespace zelline
