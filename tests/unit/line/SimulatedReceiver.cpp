#include "line/SimulatedReceiver.h"

#include <zlib.h>

#include <algorithm>
#include <utility>

#include "protocol/KeyFiles.h"

namespace zelline {
namespace {

constexpr std::int64_t kSilence = 500000;
constexpr std::int64_t kPass = 10000;
constexpr std::int64_t kByte = 87;  // 10 bits at 115200 baud

const std::map<int, int>& Queries() {
    static const std::map<int, int> kQueries = [] {
        std::map<int, int> queries;
        for (const zel::KeyFileInfo& type : zel::kKeyFiles) {
            if (type.file != zel::KeyFile::Config) {
                queries[type.checksum] = type.transfer;
            }
        }
        return queries;
    }();
    return kQueries;
}

bool IsTransfer(int id) {
    return id == 0x12A7 ||
           std::any_of(Queries().begin(), Queries().end(), [&](const auto& q) { return q.second == id; });
}

}  // namespace

std::optional<std::uint8_t> SimulatedReceiver::Damage(std::uint8_t byte) {
    std::uniform_real_distribution<double> chance(0, 1);
    if (chance(m_random) < m_noise.drop) {
        return std::nullopt;
    }
    if (chance(m_random) < m_noise.flip) {
        return static_cast<std::uint8_t>(byte ^ (1U << (m_random() % 8)));
    }
    return byte;
}

void SimulatedReceiver::Write(const std::uint8_t* bytes, std::size_t size) {
    Advance(m_now);
    for (std::size_t i = 0; i < size && !isDead; ++i) {
        m_wireFree = std::max(m_wireFree, m_now) + kByte;
        if (const auto byte = Damage(bytes[i])) {
            m_burst.push_back(*byte);
            m_lastByte = m_wireFree;
        }
    }
}

std::size_t SimulatedReceiver::Read(std::uint8_t* bytes, std::size_t size, Millis wait) {
    const Micros end = m_now + wait.count() * 1000;
    while (m_outgoing.empty() && m_now < end) {
        Advance(std::min(end, m_now + 1000));
    }
    if (m_outgoing.empty() || m_outgoing.front().first > end) {
        Advance(end);
        return 0;
    }
    Advance(std::max(m_now, m_outgoing.front().first));
    std::size_t count = 0;
    while (count < size && !m_outgoing.empty() && m_outgoing.front().first <= m_now) {
        bytes[count++] = m_outgoing.front().second;
        m_outgoing.pop_front();
    }
    return count;
}

void SimulatedReceiver::Settle() {
    m_noise = {};
    Advance(m_now + 60000000);
    m_outgoing.clear();
}

void SimulatedReceiver::Advance(Micros until) {
    for (;;) {
        constexpr Micros kNever = INT64_MAX;
        const Micros burst = m_burst.empty() ? kNever : std::max(m_lastByte, m_booted) + kSilence;
        const Micros pass = m_frames.empty() ? kNever : m_nextPass;
        const Micros worker = m_busy ? m_workerEnd : kNever;
        const Micros next = std::min({burst, pass, worker, m_restart, m_nextReady});
        if (next > until) {
            m_now = std::max(m_now, until);
            return;
        }
        m_now = std::max(m_now, next);
        if (next == m_restart) {
            connected = false;
            m_frames.clear();
            m_booted = std::exchange(m_restart, kNever) + bootMs * 1000;
            m_nextReady = m_booted + (bootMs > 0 ? 2000000 : 0);
        } else if (next == m_nextReady) {
            m_nextReady += 2000000;
            Answer(0x1272, 0x00, "\x02", 1);
        } else if (next == burst) {
            EndBurst();
        } else if (next == worker) {
            FinishWorker();
        } else {
            const Frame frame = m_frames.front();
            m_frames.pop_front();
            m_nextPass = m_now + kPass;
            Handle(frame);
        }
    }
}

void SimulatedReceiver::EndBurst() {
    for (std::size_t i = 0; i + 9 <= m_burst.size();) {
        const std::size_t length = m_burst[i + 4];
        if (m_burst[i] != 0x79 || length > 64 || i + length + 9 > m_burst.size() ||
            m_burst[i + length + 8] != 0xFE) {
            ++i;
            continue;
        }
        unsigned sum = 0;
        for (std::size_t k = 1; k < length + 8; ++k) {
            sum += m_burst[i + k];
        }
        if (sum % 256 == 0) {
            const auto payload = m_burst.begin() + static_cast<std::ptrdiff_t>(i) + 5;
            m_frames.push_back({m_burst[i + 2] << 8 | m_burst[i + 3],
                                std::string(payload, payload + static_cast<std::ptrdiff_t>(length)),
                                m_burst[i + length + 5], m_burst[i + length + 6]});
        }
        i += length + 9;
    }
    m_burst.clear();
    m_nextPass = std::max(m_nextPass, m_now);
}

void SimulatedReceiver::Handle(const Frame& frame) {
    if (onFrame) {
        onFrame(frame.id);
    }
    received.push_back(frame.id);
    payloads.push_back(frame.payload);
    if (frame.id == 0x1273) {
        connected = true;
        m_nextReady = INT64_MAX;
        ++connects;
        Answer(frame.id, 0x10, std::string(1, '\0'), 1);
    } else if (!connected) {
        return;
    } else if (const auto query = Queries().find(frame.id); query != Queries().end()) {
        m_finished = false;
        std::string payload;
        for (int shift = 24; shift >= 0; shift -= 8) {
            payload.push_back(static_cast<char>(m_checksums[query->second] >> shift & 0xFF));
        }
        Answer(frame.id, 0x11, payload, 1);
    } else if (IsTransfer(frame.id)) {
        TakeChunk(frame);
    } else if (const auto text = texts.find(frame.id); text != texts.end()) {
        Answer(frame.id, 0x11, text->second, 1);
    } else if (frame.id != 0x1299) {
        Answer(frame.id, 0x10, std::string(1, '\0'), 1);
    }
}

void SimulatedReceiver::TakeChunk(const Frame& frame) {
    if (frame.payload.empty()) {
        Answer(frame.id, 0x10, std::string(1, '\1'), 1);
        return;
    }
    if (frame.id == m_transfer && m_busy) {
        m_frames.clear();
        return;
    }
    if (frame.id == m_transfer && (m_indices.count(frame.index) != 0 || m_finished)) {
        return;
    }
    if (frame.id != m_transfer || m_indices.empty()) {
        m_transfer = frame.id;
        m_indices.clear();
        m_assembled.clear();
    }
    m_indices.insert(frame.index);
    m_assembled += frame.payload;
    m_nextPass = m_now + kPass + 2000;  // two shell commands
    if (static_cast<int>(m_indices.size()) == frame.total && !m_busy) {
        m_busy = true;
        if (damages > 0) {
            --damages;
            m_assembled[0] = static_cast<char>(m_assembled[0] ^ 0x40);
        }
        m_workerEnd = m_now + installMs * 1000;
        m_frames.clear();
        m_checksums[frame.id] = static_cast<std::uint32_t>(
            crc32(0, reinterpret_cast<const Bytef*>(m_assembled.data()), static_cast<uInt>(m_assembled.size())));
        handedToInstaller.push_back(m_assembled);
    }
}

void SimulatedReceiver::FinishWorker() {
    m_frames.clear();
    m_busy = false;
    if (!refuses) {
        installed[m_transfer] = handedToInstaller.back();
        m_finished = m_transfer != 0x12A7;
    }
    if (!swallowsAnswers) {
        if (m_transfer == 0x12A7 && !refuses) {
            const std::uint32_t checksum = m_checksums[m_transfer];
            Answer(m_transfer, 0x11,
                   {static_cast<char>(checksum >> 24), static_cast<char>(checksum >> 16),
                    static_cast<char>(checksum >> 8), static_cast<char>(checksum)},
                   1);
        } else {
            Answer(m_transfer, 0x10, std::string(1, refuses ? '\1' : '\0'), 1);
        }
    }
    m_transfer = 0;
    m_indices.clear();
}

void SimulatedReceiver::Answer(int id, int kind, const std::string& payload, int trailerB) {
    Bytes wire = {0x79, static_cast<std::uint8_t>(kind), static_cast<std::uint8_t>(id >> 8),
                  static_cast<std::uint8_t>(id), static_cast<std::uint8_t>(payload.size())};
    wire.insert(wire.end(), payload.begin(), payload.end());
    wire.push_back(0);
    wire.push_back(static_cast<std::uint8_t>(trailerB));
    unsigned sum = 0;
    for (std::size_t i = 1; i < wire.size(); ++i) {
        sum += wire[i];
    }
    wire.push_back(static_cast<std::uint8_t>(256 - sum % 256));
    wire.push_back(0xFE);
    Micros at = m_now;
    for (const std::uint8_t byte : wire) {
        at += kByte;
        if (const auto damaged = Damage(byte)) {
            m_outgoing.emplace_back(at, *damaged);
        }
    }
}

}  // namespace zelline
