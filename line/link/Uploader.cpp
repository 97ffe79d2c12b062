#include "link/Uploader.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>

#include "protocol/FrameCodec.h"
#include "wire/Answer.h"

namespace zelline {
namespace {

constexpr int kWipes = 3;
constexpr std::uint8_t kNeverReached = 0;
constexpr Millis kSilence{400};  // the set waits 0.5 s for more before it looks at a burst at all
constexpr Millis kPerChunk{60};  // a set's own time for one chunk: two shell commands and a 10 ms pass
constexpr Millis kPollPause{700};
constexpr Millis kPollLost{3000};
constexpr int kPolls = 4;  // unchanged checksums in a row that show that no installation has begun
constexpr std::size_t kWireChunk = zel::kMaxWireFrame;

Millis WireTime(std::size_t bytes) {
    return Millis(static_cast<long>(bytes) * 10 * 1000 / 115200);
}

std::optional<std::uint32_t> Checksum(const UartFrame& frame) {
    const Reading reading = ReadAnswer(frame);
    return reading.type == ValueType::Checksum ? std::optional(reading.number) : std::nullopt;
}

bool IsStatus(const UartFrame& frame) {
    return frame.kind == static_cast<std::uint8_t>(zel::FrameKind::Plain) && frame.length == 1;
}

}  // namespace

Uploader::Uploader(Link& link, const zel::KeyFileInfo& type, std::string bytes, const UploadOptions& options,
                   UploadProgress* progress)
    : m_link(link),
      m_type(type),
      m_bytes(std::move(bytes)),
      m_options(options),
      m_progress(progress),
      m_isConfiguration(type.file == zel::KeyFile::Config),
      m_query(m_isConfiguration ? zel::command::kCrcHdcp1 : type.checksum),
      m_chunks((m_bytes.size() + zel::kMaxPayload - 1) / zel::kMaxPayload),
      m_fileChecksum(static_cast<std::uint32_t>(
          crc32(0, reinterpret_cast<const Bytef*>(m_bytes.data()), static_cast<uInt>(m_bytes.size())))) {
    if (m_fileChecksum == 0) {
        Fail(Exit::Unusable,
             "the file's CRC-32 is 0, which the set takes for a checksum that could not be "
             "computed: it cannot be shown that the set has received it, so it is not sent");
    }
}

std::uint32_t Uploader::QueryChecksum(bool fresh) {
    if (fresh) {
        m_link.LoseStep();
    }
    AskOptions ask;
    ask.retries = m_options.queryRetries;
    ask.timeout = m_options.query;
    return Checksum(m_link.Ask({m_query, "", 0, 0}, ask).frame).value_or(0);
}

std::size_t Uploader::SendChunks() {
    std::vector<UartFrame> frames;
    const std::uint16_t other =
        m_type.transfer == zel::command::kKeyHdcp1 ? zel::command::kKeyHdcp2 : zel::command::kKeyHdcp1;
    for (int i = 0; i < kWipes; ++i) {
        frames.push_back(FrameOf({other, std::string(1, '\0'), 0, kNeverReached}));
    }
    for (std::size_t i = 0; i < m_chunks; ++i) {
        frames.push_back(FrameOf({m_type.transfer, m_bytes.substr(i * zel::kMaxPayload, zel::kMaxPayload),
                                  static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(m_chunks)}));
    }
    frames.push_back(FrameOf({m_query, "", 0, 0}));

    constexpr std::size_t kLead = kWipes * (zel::kFrameOverhead + 1);
    const auto report = [this](std::size_t wire) {
        if (m_progress == nullptr) {
            return;
        }
        const std::size_t chunkBytes = wire > kLead ? wire - kLead : 0;
        const std::size_t inChunk = chunkBytes % kWireChunk;
        const std::size_t payload = inChunk > zel::kHeaderSize ? inChunk - zel::kHeaderSize : 0;
        m_progress->Advance(std::min(
            m_bytes.size(), chunkBytes / kWireChunk * zel::kMaxPayload + std::min(payload, zel::kMaxPayload)));
    };
    std::size_t size = 0;
    for (const UartFrame& frame : frames) {
        size += frame.length + zel::kFrameOverhead;
    }
    if (m_options.pace.count() == 0) {
        m_link.Send(frames, [&](std::size_t done, std::size_t) { report(done); });
        return size;
    }
    std::size_t done = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        m_link.Send({frames[i]});
        done += frames[i].length + zel::kFrameOverhead;
        report(done);
        const Millis next = m_link.Line().Now() + m_options.pace;
        while (i + 2 < frames.size() &&
               m_link.Receive(next)) {  // before the last chunk nothing can answer this file
        }
    }
    return size;
}

Uploader::Verdict Uploader::Compare(bool success) {
    try {
        m_setChecksum = QueryChecksum(false);
    } catch (const Error& error) {
        if (error.Status() != Exit::NoAnswer) {
            throw;
        }
        return Verdict::Unanswered;
    }
    if (*m_setChecksum != m_fileChecksum) {
        return Verdict::Damaged;
    }
    return success ? Verdict::Installed : Verdict::Refused;
}

Uploader::Verdict Uploader::AwaitAnswer(Millis start, std::size_t burst) {
    Transport& line = m_link.Line();
    const Millis sent = line.Now();
    const Millis onWire = std::max(sent, start + WireTime(burst));
    const Millis intake = onWire + kPerChunk * static_cast<int>(m_chunks) + kPollLost;
    Millis deadline = intake + m_options.install;
    Millis poll = intake;
    bool intakeSeen = false;
    bool begun = false;
    bool extended = false;
    int unchanged = 0;
    for (;;) {
        const auto frame = m_link.Receive(std::min(deadline, poll));
        const Millis now = line.Now();
        if (!frame && now >= deadline) {
            if (!begun || extended) {
                return Verdict::Unanswered;
            }
            extended = true;  // it is installing: a repeat would take the file from under it
            deadline += m_options.install;
        } else if (!frame) {
            m_link.Flush();  // a chunk that was damaged in its length may stand open
            m_link.Send({FrameOf({m_query, "", 0, 0})});
            poll = now + kPollLost;
        } else if (frame->CommandId() == m_type.transfer && now >= sent + kSilence) {
            if (const auto checksum = Checksum(*frame); m_isConfiguration && checksum) {
                m_setChecksum = checksum;
                return *checksum == m_fileChecksum ? Verdict::Installed : Verdict::Damaged;
            }
            if (IsStatus(*frame)) {
                const bool success = frame->payload[0] == 0;
                return m_isConfiguration ? (success ? Verdict::Damaged : Verdict::Refused) : Compare(success);
            }
        } else if (frame->CommandId() == m_query && Checksum(*frame)) {
            deadline = intakeSeen ? deadline : now + m_options.install;
            intakeSeen = true;
            poll = now + kPollPause;
            if (m_isConfiguration) {
                poll = deadline;  // another file's checksum tells nothing about this one
            } else if (*Checksum(*frame) != m_before) {
                begun = true;
                poll = deadline;
            } else if (m_before != m_fileChecksum && ++unchanged >= kPolls) {
                return Verdict::Lost;
            }
        }
    }
}

Uploader::Verdict Uploader::Transfer() {
    m_before = QueryChecksum(true);
    const Millis start = m_link.Line().Now();
    const std::size_t burst = SendChunks();
    if (m_progress != nullptr) {
        m_progress->Phase("the set is installing it");
    }
    return AwaitAnswer(start, burst);
}

UploadResult Uploader::Run() {
    UploadResult result;
    result.bytes = m_bytes.size();
    result.chunks = m_chunks;
    result.fileChecksum = m_fileChecksum;
    const Millis start = m_link.Line().Now();
    Verdict verdict = Verdict::Unanswered;
    do {
        ++result.transfers;
        m_setChecksum.reset();
        if (m_progress != nullptr) {
            m_progress->Begin(m_bytes.size(), result.transfers);
        }
        try {
            verdict = Transfer();
        } catch (...) {
            if (m_progress != nullptr) {
                m_progress->End();
            }
            throw;
        }
        if (m_progress != nullptr) {
            m_progress->End();
        }
    } while (verdict != Verdict::Installed && verdict != Verdict::Refused &&
             result.transfers <= m_options.retries);
    result.elapsed = m_link.Line().Now() - start;
    result.setChecksum = m_setChecksum;

    const std::string file =
        fmt::format("{}, {} bytes, CRC-32 {:08X}", m_type.words, m_bytes.size(), m_fileChecksum);
    const std::string tries = result.transfers == 1 ? "" : fmt::format(" (transfer {})", result.transfers);
    switch (verdict) {
        case Verdict::Installed:
            result.status = Exit::Success;
            result.words = fmt::format("{}: installed, and the set's checksum agrees{}", file, tries);
            break;
        case Verdict::Refused:
            result.status = Exit::Failure;
            result.words = fmt::format("{}: the set received it and could not install it{}", file, tries);
            break;
        case Verdict::Damaged:
            result.status = Exit::Failure;
            result.words = fmt::format(
                "{}: the set holds other bytes{} after {} transfers; look at the line", file,
                m_setChecksum ? fmt::format(", CRC-32 {:08X},", *m_setChecksum) : std::string(), result.transfers);
            break;
        case Verdict::Lost:
            result.status = Exit::NoAnswer;
            result.words = fmt::format(
                "{}: chunks were lost on the line in each of {} transfers; try --pace 20, or "
                "look at the line",
                file, result.transfers);
            break;
        case Verdict::Unanswered:
            result.status = Exit::NoAnswer;
            result.words =
                fmt::format("{}: no answer after {} transfers; if the set needs longer, give it --timeout", file,
                            result.transfers);
            break;
    }
    return result;
}

}  // namespace zelline
