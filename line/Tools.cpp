#include "Tools.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>

#include "Explain.h"
#include "PortList.h"
#include "Trace.h"
#include "protocol/CommandCatalogue.h"
#include "protocol/FrameCodec.h"

namespace zelline {
namespace {

std::string TimeOfDay() {
    const auto now = std::chrono::system_clock::now();
    const auto ms = std::chrono::duration_cast<Millis>(now.time_since_epoch()).count() % 1000;
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(std::chrono::system_clock::to_time_t(now)), ms);
}

const char* RoleWord(const UartFrame& frame) {
    switch (RoleOf(frame)) {
        case FrameRole::Ready:
            return "ready";
        case FrameRole::KeyPress:
            return "key";
        default:
            return "answer";
    }
}

std::string Hex(const UartFrame& frame) {
    const zel::WireFrame wire = zel::EncodeFrame(frame);
    return ToHex(wire.bytes.data(), wire.size);
}

constexpr Millis kUnansweredPause{700};  // longer than the silence that ends a burst for the set

// The request of a burst that an answer belongs to; the last one when none has its id.
const UartFrame& RequestOf(const RecordedBurst& burst, const UartFrame& answer) {
    const auto asked = std::find_if(burst.requests.begin(), burst.requests.end(), [&](const UartFrame& request) {
        return request.CommandId() == answer.CommandId();
    });
    return asked == burst.requests.end() ? burst.requests.back() : *asked;
}

}  // namespace

void NoiseSink::Sent(const UartFrame& frame, Millis when) {
    if (m_next != nullptr) {
        m_next->Sent(frame, when);
    }
}

void NoiseSink::Received(const UartFrame& frame, Millis when) {
    if (m_next != nullptr) {
        m_next->Received(frame, when);
    }
}

void NoiseSink::Noise(const Bytes& bytes, Millis when) {
    m_console.Result({{"v", 1}, {"type", "noise"}, {"bytes", ToHex(bytes)}},
                     fmt::format("{}  noise: {}", TimeOfDay(), ToHex(bytes)));
    if (m_next != nullptr) {
        m_next->Noise(bytes, when);
    }
}

Exit Listen(const Console& console, Link& link, std::optional<Millis> time) {
    const Millis end = time ? link.Line().Now() + *time : Millis::max();
    for (;;) {
        const Millis now = link.Line().Now();
        if (now >= end) {
            return Exit::Success;
        }
        const auto frame = link.Receive(std::min(end, now + Millis(1000)));
        if (!frame) {
            continue;
        }
        Json object = {
            {"v", 1}, {"type", RoleWord(*frame)}, {"id", IdText(frame->CommandId())}, {"hex", Hex(*frame)}};
        if (RoleOf(*frame) == FrameRole::KeyPress) {
            object["key"] = Printable(zel::Payload(*frame));
        }
        object["words"] = Explain(*frame);
        console.Result(object, fmt::format("{}  {}", TimeOfDay(), Explain(*frame)));
    }
}

Exit ShowPorts(const Console& console) {
    const auto ports = ListPorts();
    for (const ListedPort& port : ports) {
        std::string words = fmt::format("{:<16} {}", port.path, port.description);
        if (!port.holder.empty()) {
            words += fmt::format("  taken by {}", port.holder);
        }
        console.Result({{"v", 1},
                        {"type", "port"},
                        {"path", port.path},
                        {"description", port.description},
                        {"holder", port.holder.empty() ? Json(nullptr) : Json(port.holder)}},
                       words);
    }
    if (ports.empty()) {
        console.Note("no serial ports on this machine");
    }
    return Exit::Success;
}

Exit Decode(const Console& console, const std::string& hex) {
    const auto stretches = Dissect(FromHex(hex));
    if (stretches.empty()) {
        throw Error(Exit::Unusable,
                    "there are no bytes to decode: write them as 'zelline decode 79 00 12 73 ...'");
    }
    for (const Stretch& stretch : stretches) {
        Json object = {{"v", 1}, {"type", stretch.intact ? "frame" : "damage"}, {"at", stretch.at}};
        if (stretch.intact) {
            object["id"] = IdText(stretch.frame.CommandId());
            object["kind"] = stretch.frame.kind;
            object["length"] = stretch.frame.length;
            object["payload"] = ToHex(stretch.frame.payload.data(), stretch.frame.length);
            object["trailer"] = {stretch.frame.trailerA, stretch.frame.trailerB};
        }
        object["hex"] = ToHex(stretch.bytes);
        object["words"] = stretch.words;
        console.Result(object,
                       fmt::format("{:5}  {}\n       {}", stretch.at, ToHex(stretch.bytes), stretch.words));
    }
    return Exit::Success;
}

Exit ShowCommands(const Console& console, bool markdown) {
    if (markdown) {
        console.out << ProtocolReference();
        return Exit::Success;
    }
    for (const zel::CommandInfo& row : zel::kCommandCatalogue) {
        if (row.reply == zel::ReplyRule::None && row.name.empty() && !console.json) {
            continue;
        }
        console.Result({{"v", 1},
                        {"type", "command"},
                        {"id", IdText(row.id)},
                        {"decimal", row.id},
                        {"name", row.name},
                        {"payload", row.payloadText},
                        {"answer", row.answerText}},
                       fmt::format("{}  {:<26} {}\n{:36}-> {}", IdText(row.id), row.name,
                                   row.payloadText.empty() ? "none" : row.payloadText, "", row.answerText));
    }
    if (!console.json) {
        console.Note("Ids from 0x1273 to 0x12BA that are not listed are dropped by the set.");
    }
    return Exit::Success;
}

Exit Replay(const Console& console, Link& link, const std::string& path, const Settings& settings) {
    Exit worst = Exit::Success;
    for (const RecordedBurst& burst : ReadTrace(path)) {
        link.Send(burst.requests);
        const Millis sent = link.Line().Now();
        Millis timeout = settings.timeout.value_or(kUnansweredPause);
        if (!burst.answers.empty() && !settings.timeout) {
            timeout = DefaultTimeout(burst.answers.back().CommandId());
            timeout += Millis(100) * static_cast<int>(burst.requests.size());
        }
        std::vector<UartFrame> answers;
        while (burst.answers.empty() || answers.size() < burst.answers.size()) {
            const auto frame = link.Receive(sent + timeout);
            if (!frame) {
                break;
            }
            if (RoleOf(*frame) == FrameRole::Answer) {
                answers.push_back(*frame);
            }
        }
        for (std::size_t i = 0; i < std::max(answers.size(), burst.answers.size()); ++i) {
            const bool came = i < answers.size();
            const bool expected = i < burst.answers.size();
            const UartFrame& asked = RequestOf(burst, expected ? burst.answers[i] : answers[i]);
            const std::string now = came ? Hex(answers[i]) : std::string();
            const std::string then = expected ? Hex(burst.answers[i]) : std::string();
            const bool same = now == then;
            worst = Worse(worst, same ? Exit::Success : came ? Exit::Failure : Exit::NoAnswer);
            std::string words = fmt::format("{} {}", same ? "same   " : "differs", Explain(asked));
            if (!same) {
                words += fmt::format("\n          recorded: {}\n          now:      {}",
                                     expected ? Explain(burst.answers[i]) : "no answer",
                                     came ? Explain(answers[i]) : "no answer");
            }
            console.Result({{"v", 1},
                            {"type", "replay"},
                            {"line", burst.line},
                            {"request", Hex(asked)},
                            {"recorded", expected ? Json(then) : Json(nullptr)},
                            {"answer", came ? Json(now) : Json(nullptr)},
                            {"same", same}},
                           words);
        }
    }
    return worst;
}

}  // namespace zelline
