#include "link/Link.h"

#include <algorithm>
#include <array>

#include "link/Fences.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"
#include "wire/Answer.h"
#include "wire/Error.h"

namespace zelline {

namespace {

constexpr Millis kSecondAnswer{400};  // both of a double answer leave the set back to back
constexpr std::size_t kSlice = 64;    // bytes per write, so that progress is the line's and not the buffer's
// A burst stays at most this far ahead of its wire, where the port's buffer would take all of it at once and tell
// nothing of what has left. 1 KiB is 89 ms of work for the wire: it never runs dry.
constexpr std::size_t kAhead = 1024;
constexpr Millis kAheadPause{10};
constexpr Millis kNoiseAge{1000};
constexpr Millis kFrameTime{7};         // of the longest frame
constexpr Millis kReadyUnderWay{1000};  // a ready frame may have been on its way when the set took the connect
constexpr std::size_t kUnparsedLimit = 4096;

// What the wire carries in that time, at 115200 baud and ten bits per byte.
std::size_t WireBytes(Millis time) {
    return static_cast<std::size_t>(time.count() * 115200 / 10 / 1000);
}

}  // namespace

void Mark::Take(const UartFrame& answer) {
    if (answer.CommandId() == m_frames[m_answered].CommandId()) {
        ++m_answered;
    } else {
        m_answered = answer.CommandId() == m_frames[0].CommandId() ? 1 : 0;
    }
}

Link::Link(Transport& transport, std::vector<LineObserver*> observers)
    : m_transport(transport), m_observers(std::move(observers)) {}

Link::~Link() {
    try {
        FlushNoise();
    } catch (const Error&) {  // a trace that cannot be written has been reported when it happened first
    }
}

void Link::FlushNoise() {
    if (m_unparsed.empty()) {
        return;
    }
    for (LineObserver* observer : m_observers) {
        observer->Noise(m_unparsed, m_transport.Now());
    }
    m_noisy = true;
    m_unparsed.clear();
}

void Link::Send(const std::vector<UartFrame>& frames,
                const std::function<void(std::size_t, std::size_t)>& onProgress) {
    Bytes burst;
    for (const UartFrame& frame : frames) {
        const zel::WireFrame wire = zel::EncodeFrame(frame);
        burst.insert(burst.end(), wire.bytes.begin(), wire.bytes.begin() + static_cast<std::ptrdiff_t>(wire.size));
    }
    for (LineObserver* observer : m_observers) {
        for (const UartFrame& frame : frames) {
            observer->Sent(frame, m_transport.Now());
        }
    }
    if (!onProgress) {
        m_transport.Write(burst.data(), burst.size());
        return;
    }
    const Millis start = m_transport.Now();
    const auto carried = [&] { return WireBytes(m_transport.Now() - start); };
    const auto report = [&](std::size_t handed) {
        onProgress(std::min(handed - std::min(handed, m_transport.Unsent()), carried()), burst.size());
    };
    for (std::size_t at = 0; at < burst.size(); at += kSlice) {
        const std::size_t size = std::min(kSlice, burst.size() - at);
        m_transport.Write(burst.data() + at, size);
        const std::size_t handed = at + size;
        report(handed);
        while (handed > carried() + (handed < burst.size() ? kAhead : 0)) {
            m_transport.Sleep(kAheadPause);
            report(handed);
        }
    }
}

void Link::Deliver(const UartFrame& frame) {
    const zel::WireFrame wire = zel::EncodeFrame(frame);
    const auto size = static_cast<std::ptrdiff_t>(wire.size);
    const auto at =
        std::search(m_unparsed.begin(), m_unparsed.end(), wire.bytes.begin(), wire.bytes.begin() + size);
    Bytes behind;
    if (at != m_unparsed.end()) {
        behind.assign(at + size, m_unparsed.end());
        m_unparsed.erase(at, m_unparsed.end());
    }
    FlushNoise();
    for (LineObserver* observer : m_observers) {
        observer->Received(frame, m_transport.Now());
    }
    m_unparsed = std::move(behind);
    const Millis now = m_transport.Now();
    if (RoleOf(frame) == FrameRole::Answer) {
        m_isConnected = m_isConnected || frame.CommandId() == zel::command::kConnect;
        m_answered = m_answered.value_or(now);
    } else if (RoleOf(frame) == FrameRole::Ready && m_answered) {
        m_restarted = m_restarted || now - *m_answered > kReadyUnderWay;
    }
    m_arrived.push_back(frame);
}

void Link::Flush() {
    for (LineObserver* observer : m_observers) {
        observer->Flushed(m_transport.Now());
    }
    m_transport.Write(kFlush.data(), kFlush.size());
}

void Link::Abandon() {
    Flush();
    SetStep(false);
}

Mark Link::NextMark() {
    const UartFrame fence = FrameOf({kFences.at(m_marks++ % kFences.size()), "", 0, 0});
    return Mark({IsConnected() ? fence : ConnectFrame(), fence});
}

void Link::SetStep(bool allAnswered) {
    m_inStep = allAnswered;
    m_missing = !allAnswered;
}

void Link::TakeIn() {
    while (Receive(m_transport.Now() + Millis(1))) {
    }
}

bool Link::TakeRestart() {
    if (!m_restarted) {
        return false;
    }
    m_restarted = false;
    ForgetAnswers();
    m_inStep = false;
    return true;
}

std::optional<UartFrame> Link::Receive(Millis deadline) {
    while (m_arrived.empty()) {
        const Millis left = deadline - m_transport.Now();
        if (left.count() <= 0) {
            return std::nullopt;
        }
        std::array<std::uint8_t, 512> bytes;
        const std::size_t count = m_transport.Read(bytes.data(), bytes.size(), std::min(left, kNoiseAge));
        if (count == 0 && left > kFrameTime) {  // what stands here by now will not become a frame
            FlushNoise();
        }
        for (std::size_t i = 0; i < count; ++i) {
            if (m_unparsed.size() >= kUnparsedLimit) {
                FlushNoise();
            }
            m_unparsed.push_back(bytes[i]);
            UartFrame frame{};
            if (m_parser.ParseRxByte(bytes[i], frame)) {
                Deliver(frame);
            }
        }
    }
    const UartFrame frame = m_arrived.front();
    m_arrived.erase(m_arrived.begin());
    return frame;
}

std::optional<Answered> Link::Try(const Request& request, const AskOptions& options, Mark mark, Seen& seen) {
    std::vector<UartFrame> burst = mark.Frames();
    burst.push_back(FrameOf(request));
    const Millis start = m_transport.Now();
    if (!m_inStep) {
        Flush();
    }
    Send(burst);
    const Millis deadline = start + options.timeout;
    while (m_transport.Now() < deadline || !m_arrived.empty()) {
        const auto frame = Receive(std::min(deadline, m_transport.Now() + kShowWait));
        if (!frame) {
            if (options.onWait) {
                options.onWait(m_transport.Now() - start);
            }
            continue;
        }
        if (RoleOf(*frame) != FrameRole::Answer) {
            seen.ready = seen.ready || RoleOf(*frame) == FrameRole::Ready;
            if (options.onEvent) {
                options.onEvent(*frame);
            }
            continue;
        }
        if (!mark.IsPassed()) {
            mark.Take(*frame);
            seen.connected = seen.connected || frame->CommandId() == mark.Frames()[0].CommandId();
            continue;
        }
        if (frame->CommandId() != request.id) {
            seen.other = true;
            continue;
        }
        // What is missing from before can come as long as no mark has kept it away.
        SetStep(!mark.Frames().empty() || !m_missing);
        Answered answered;
        answered.frame = *frame;
        if (options.second) {
            const auto again = Receive(m_transport.Now() + kSecondAnswer);
            answered.answers = again && again->CommandId() == request.id ? 2 : 1;
        }
        answered.elapsed = m_transport.Now() - start;
        return answered;
    }
    seen.noise = seen.noise || HasHeardNoise();
    return std::nullopt;
}

Answered Link::Ask(const Request& request, const AskOptions& options) {
    Seen seen;
    const Millis start = m_transport.Now();
    for (int attempt = 0; attempt <= options.retries; ++attempt) {
        Mark mark;
        if (options.connect && !m_inStep && request.id != zel::command::kConnect) {
            mark = m_missing || IsConnected() ? NextMark() : Mark({ConnectFrame()});
        }
        if (auto answered = Try(request, options, std::move(mark), seen)) {
            answered->tries = attempt + 1;
            answered->elapsed = m_transport.Now() - start;
            return *answered;
        }
        SetStep(false);
    }
    throw Error(Exit::NoAnswer, NoAnswerText(request, options.retries + 1, options.timeout, seen));
}

}  // namespace zelline
