#include "run/OperatorStep.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "link/Fences.h"
#include "wire/Answer.h"
#include "wire/Hex.h"

namespace zelline {
namespace {

constexpr Millis kLookForAnswer{50};  // between two looks whether the operator has answered

// The question, from when it is put until it needs no answer any more.
class Standing {
  public:
    Standing(Operator& person, OperatorQuestion question) : m_person(person), m_question(std::move(question)) {
        m_person.Show(m_question);
    }
    Standing(const Standing&) = delete;
    Standing& operator=(const Standing&) = delete;
    ~Standing() { m_person.Withdraw(); }

    void PutAgain(const std::string& note, Doubt doubt, const std::string& said) {
        m_question.note = note;
        m_question.doubt = doubt;
        m_question.said = said;
        m_person.Show(m_question);
    }

  private:
    Operator& m_person;
    OperatorQuestion m_question;
};

std::string WithoutBlanksAround(const std::string& text) {
    const char* const blanks = " \t\r\n";
    const auto begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? std::string()
                                      : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

// Why what was said is no answer.
struct NoAnswer {
    std::string words;
    Doubt doubt;
};

// Takes in what the operator said, when it is an answer.
std::optional<NoAnswer> Understand(const Action& action, const std::string& text, Outcome& outcome) {
    const std::string said = WithoutBlanksAround(text);
    if (action.kind == Action::Kind::Question) {
        if (said.empty()) {
            return NoAnswer{"an empty answer is none", Doubt::Empty};
        }
        outcome.value = said;
        outcome.hasValue = true;
        outcome.words = fmt::format("the operator answered \"{}\"", Printable(said));
        return std::nullopt;
    }
    const auto yes = YesOrNo(said);
    if (action.kind == Action::Kind::Confirm) {
        if (!yes) {
            return NoAnswer{fmt::format("\"{}\" is neither yes nor no", Printable(said)), Doubt::Neither};
        }
        outcome.status = *yes ? Exit::Success : Exit::Failure;
        outcome.words = *yes ? "the operator said yes" : "the operator said no";
        return std::nullopt;
    }
    if (yes != false) {
        return NoAnswer{fmt::format("press {}, or answer no when the set does not react", action.key),
                        Doubt::Press};
    }
    outcome.status = Exit::Failure;
    outcome.words = fmt::format("the operator said that the set does not react to {}", action.key);
    return std::nullopt;
}

// Keys are reported once the set is connected.
void ConnectFor(Link& link) {
    if (!link.IsInStep()) {
        Request fence;  // and not a connect, which would hide a restart
        fence.id = kFences[0];
        link.Ask(fence, {});
    }
}

std::string MissingWords(const Action& action, Millis limit, const std::string& other) {
    const double seconds = static_cast<double>(limit.count()) / 1000;
    if (action.kind != Action::Kind::Press) {
        return fmt::format("the operator did not answer within {:.1f} s", seconds);
    }
    return fmt::format("the set did not report the key {} within {:.1f} s{}", action.key, seconds,
                       other.empty() ? "" : "; it reported " + other);
}

}  // namespace

std::optional<bool> YesOrNo(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const bool yes = text == "yes" || text == "y" || text == "是";
    return yes || text == "no" || text == "n" || text == "否" ? std::optional(yes) : std::nullopt;
}

const char* DoubtWord(Doubt doubt) {
    constexpr const char* kWords[] = {"", "empty", "neither", "press", "unfit"};
    return kWords[static_cast<std::size_t>(doubt)];
}

Outcome AskOperator(Link& link, Operator& person, const Action& action, OperatorQuestion question,
                    std::optional<Millis> limit) {
    const Millis start = link.Line().Now();
    Outcome outcome;
    outcome.tries = 1;
    const auto end = [&](Exit status, const std::string& words) {
        outcome.status = status;
        outcome.words = words;
        outcome.elapsed = link.Line().Now() - start;
        return outcome;
    };
    try {
        if (action.kind == Action::Kind::Press) {
            ConnectFor(link);
        }
        question.kind = action.kind;
        question.words = action.question;
        question.key = action.key;
        Standing standing(person, std::move(question));
        std::string other;  // a key that was reported in the place of the one that is awaited
        for (;;) {
            const Millis passed = link.Line().Now() - start;
            if (const auto text = person.Take()) {
                const auto none = Understand(action, *text, outcome);
                if (!none) {
                    return end(outcome.status, outcome.words);
                }
                standing.PutAgain(none->words, none->doubt, WithoutBlanksAround(*text));
            }
            if (limit && passed >= *limit) {
                return end(Exit::NoAnswer, MissingWords(action, *limit, other));
            }
            const auto frame = link.Receive(link.Line().Now() +
                                            (limit ? std::min(kLookForAnswer, *limit - passed) : kLookForAnswer));
            if (link.HasRestarted()) {
                return end(Exit::NoAnswer, "the set has restarted");
            }
            if (frame && action.kind == Action::Kind::Press && RoleOf(*frame) == FrameRole::KeyPress) {
                const std::string key = ReadAnswer(*frame).text;
                if (key == action.key) {
                    return end(Exit::Success, fmt::format("the set reported the key {}", key));
                }
                other = key.empty() ? "a key without a name" : Printable(key);
            }
        }
    } catch (const Error& error) {
        if (error.Status() != Exit::NoAnswer) {
            throw;
        }
        return end(Exit::NoAnswer, error.what());
    }
}

}  // namespace zelline
