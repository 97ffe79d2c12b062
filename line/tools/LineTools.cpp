#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "explain/Explain.h"
#include "port/PortList.h"
#include "protocol/FrameCodec.h"
#include "tools/Tools.h"
#include "wire/Answer.h"

namespace zelline {
namespace {

std::string TimeOfDay() {
    const auto now = std::chrono::system_clock::now();
    const auto ms = std::chrono::duration_cast<Millis>(now.time_since_epoch()).count() % 1000;
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(std::chrono::system_clock::to_time_t(now)), ms);
}

// Shows the bytes that are no frame.
class NoiseSink : public LineObserver {
  public:
    explicit NoiseSink(const Console& console) : m_console(console) {}

    void Noise(const Bytes& bytes, Millis) override {
        m_console.Result({{"v", 1}, {"type", "noise"}, {"bytes", ToHex(bytes)}},
                         fmt::format("{}  noise: {}", TimeOfDay(), ToHex(bytes)));
    }

  private:
    const Console& m_console;
};

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

constexpr Millis kLongQuiet{3000};       // longer than the pause between two ready frames
constexpr Millis kUnansweredPause{700};  // longer than the silence that ends a burst for the set

// The request of a burst that one of `answers` belongs to, as far as none is missing; the last one when none has
// its id.
const UartFrame& RequestOf(const RecordedBurst& burst, const std::vector<UartFrame>& answers, std::size_t which) {
    const auto isSame = [&](const UartFrame& frame) { return frame.CommandId() == answers[which].CommandId(); };
    auto before = std::count_if(answers.begin(), answers.begin() + static_cast<std::ptrdiff_t>(which), isSame);
    const UartFrame* request = &burst.requests.back();
    for (const UartFrame& asked : burst.requests) {
        if (isSame(asked)) {
            request = &asked;
            if (before-- == 0) {
                break;
            }
        }
    }
    return *request;
}

// Sends one burst as it was recorded, and returns what is answered.
std::vector<UartFrame> SendAgain(Link& link, const RecordedBurst& burst, std::optional<Millis> given) {
    if (burst.flushed) {
        link.Flush();
    }
    link.Send(burst.requests);
    Millis timeout = given.value_or(kUnansweredPause);
    for (const UartFrame& answer : burst.answers) {
        timeout = given.value_or(std::max(timeout, DefaultTimeout(answer.CommandId())));
    }
    std::vector<UartFrame> answers;
    Millis last = link.Line().Now();  // when something was heard last
    while (burst.answers.empty() || answers.size() < burst.answers.size()) {
        const auto frame = link.Receive(last + timeout);
        if (!frame) {
            break;
        }
        if (RoleOf(*frame) == FrameRole::Answer) {
            answers.push_back(*frame);
            last = link.Line().Now();
        }
    }
    return answers;
}

// Tells of one answer beside the recorded one; either may be missing.
Exit Compare(const Console& console, const RecordedBurst& burst, const std::vector<UartFrame>& answers,
             std::size_t which) {
    const auto of = [&](const std::vector<UartFrame>& frames) {
        return which < frames.size() ? &frames[which] : nullptr;
    };
    const UartFrame* then = of(burst.answers);
    const UartFrame* now = of(answers);
    const UartFrame& asked = RequestOf(burst, then != nullptr ? burst.answers : answers, which);
    const auto hex = [](const UartFrame* frame) {
        return frame == nullptr ? Json(nullptr) : Json(WireHex(*frame));
    };
    const auto said = [](const UartFrame* frame) { return frame == nullptr ? "no answer" : Explain(*frame); };
    const bool same = hex(then) == hex(now);
    std::string words = fmt::format("{} {}", same ? "same   " : "differs", Explain(asked));
    if (!same) {
        words += fmt::format("\n          recorded: {}\n          now:      {}", said(then), said(now));
    }
    console.Result({{"v", 1},
                    {"type", "replay"},
                    {"line", burst.line},
                    {"request", WireHex(asked)},
                    {"recorded", hex(then)},
                    {"answer", hex(now)},
                    {"same", same}},
                   words);
    return same ? Exit::Success : now != nullptr ? Exit::Failure : Exit::NoAnswer;
}

}  // namespace

Exit ShowPorts(const Context& context) {
    const auto ports = ListPorts();
    for (const ListedPort& port : ports) {
        std::string words = fmt::format("{:<16} {}", port.path, port.description);
        if (!port.socket.empty()) {
            words += fmt::format("  USB socket {}{}{}", port.socket, port.serial.empty() ? "" : ", serial number ",
                                 port.serial);
        }
        if (!port.holder.empty()) {
            words += fmt::format("  taken by {}", port.holder);
        }
        context.console.Result({{"v", 1},
                                {"type", "port"},
                                {"path", port.path},
                                {"description", port.description},
                                {"serial", port.serial.empty() ? Json(nullptr) : Json(port.serial)},
                                {"socket", port.socket.empty() ? Json(nullptr) : Json(port.socket)},
                                {"holder", port.holder.empty() ? Json(nullptr) : Json(port.holder)}},
                               words);
    }
    if (ports.empty()) {
        context.console.Note("no serial ports on this machine");
    }
    return Exit::Success;
}

// Ends when the time is over, or with what comes out of the transport.
Exit Listen(const Context& context) {
    const Console& console = context.console;
    NoiseSink noise(console);
    const Session session(context, &noise);
    Link& link = *session.link;
    const long time = context.options.listenFor;
    const Millis begun = link.Line().Now();
    bool heard = false;
    const Millis end = time > 0 ? link.Line().Now() + Millis(time) : Millis::max();
    for (Millis now = link.Line().Now(); now < end; now = link.Line().Now()) {
        const auto frame = link.Receive(std::min(end, now + Millis(1000)));
        if (!frame) {
            if (!heard && link.Line().Now() - begun >= kLongQuiet) {
                heard = true;
                console.Note("nothing so far: a set that is connected says nothing of itself; ask it something");
            }
            continue;
        }
        heard = true;
        Json object = {
            {"v", 1}, {"type", RoleWord(*frame)}, {"id", IdText(frame->CommandId())}, {"hex", WireHex(*frame)}};
        if (RoleOf(*frame) == FrameRole::KeyPress) {
            object["key"] = Printable(zel::Payload(*frame));
        }
        object["words"] = Explain(*frame);
        console.Result(object, fmt::format("{}  {}", TimeOfDay(), Explain(*frame)));
    }
    return Exit::Success;
}

Exit Replay(const Context& context) {
    const std::vector<RecordedBurst> bursts = ReadTrace(context.options.words[0]);
    const Session session(context);
    Exit worst = Exit::Success;
    for (const RecordedBurst& burst : bursts) {
        const auto answers = SendAgain(*session.link, burst, context.options.ForVerbs().timeout);
        for (std::size_t i = 0; i < std::max(answers.size(), burst.answers.size()); ++i) {
            worst = Worse(worst, Compare(context.console, burst, answers, i));
        }
    }
    return worst;
}

}  // namespace zelline
