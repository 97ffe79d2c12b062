#include "simset/core/Control.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <map>
#include <optional>

#include "simset/core/Middleware.h"

namespace simset {

namespace {

using nlohmann::json;

constexpr std::size_t kSuggestions = 3;
constexpr char kWildcards[] = "*?[";
const std::vector<std::string> kModelSteps = {"proxy",   "interface", "root",  "connect",
                                              "operate", "execute",   "count", "rows"};

template <typename Number>
std::optional<Number> ParseNumber(const std::string& text) {
    Number value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc() && result.ptr == end ? std::optional<Number>(value) : std::nullopt;
}

std::string Print(const json& value) {
    if (value.is_string()) {
        return value.get<std::string>() + '\n';
    }
    return value.dump(-1, ' ', false, json::error_handler_t::replace) + '\n';
}

[[noreturn]] void Usage(const std::string& usage) {
    throw ControlError("usage: " + usage);
}

[[noreturn]] void Unknown(const std::string& what, const std::string& name,
                          const std::vector<std::string>& names) {
    throw ControlError(fmt::format("there is no {} \"{}\"; did you mean {}?", what, name,
                                   fmt::join(NearNames(name, names, kSuggestions), " or ")));
}

const KeyInfo& KeyOf(const std::string& name) {
    if (const KeyInfo* const info = FindKey(name)) {
        return *info;
    }
    std::vector<std::string> names;
    for (const auto& info : Catalogue()) {
        names.emplace_back(info.key);
    }
    Unknown("model key", name, names);
}

json ValueFor(const KeyInfo& info, const std::string& text) {
    const json value = json::parse(text, nullptr, false);
    if (info.kind == Kind::kText && !value.is_string()) {
        return text;  // a text need not be quoted
    }
    if (Fits(info.kind, value)) {
        return value;
    }
    switch (info.kind) {
        case Kind::kInteger:
            throw ControlError(fmt::format("{} holds a 32-bit integer: give a number such as 5", info.key));
        case Kind::kIntegers:
            throw ControlError(fmt::format("{} holds a list of integers: give one such as [1,2,3]", info.key));
        case Kind::kTexts:
            throw ControlError(fmt::format("{} holds a list of texts: give one such as [\"a\",\"b\"]", info.key));
        case Kind::kTable:
            throw ControlError(
                fmt::format("{} is a table: give rows such as [[\"a\",\"b\"],[\"c\",\"d\"]]", info.key));
        default:
            throw ControlError(
                fmt::format("{} is an action and cannot be set; model get shows its last use", info.key));
    }
}

int ItemOf(const std::string& text) {
    const auto item = ParseNumber<int>(text);
    if (!item || *item < 0 || *item > 255) {
        throw ControlError(fmt::format("\"{}\" is no metadata item: give its number, 0 to 255", text));
    }
    return *item;
}

std::string KeyNumberOf(const std::string& name) {
    const auto number = KeyStore::Number(name);
    if (!number) {
        Unknown("key type", name, KeyStore::Names());
    }
    return std::to_string(*number);
}

Control::Words From(const Control::Words& words, std::size_t first) {
    return {words.begin() + static_cast<std::ptrdiff_t>(std::min(first, words.size())), words.end()};
}

}  // namespace

bool Control::HasVerb(const std::string& verb) {
    static const std::vector<std::string> kVerbs = {"model",  "flash", "meta", "keys",
                                                    "behave", "press", "apm",  "trace"};
    return std::find(kVerbs.begin(), kVerbs.end(), verb) != kVerbs.end();
}

std::string Control::Run(const Words& words) {
    using Verb = std::string (Control::*)(const Words&);
    static const std::map<std::string, Verb> kVerbs = {
        {"model", &Control::RunModel}, {"flash", &Control::RunFlash}, {"meta", &Control::RunMeta},
        {"keys", &Control::RunKeys},   {"behave", &Control::Behave},  {"press", &Control::Press},
        {"apm", &Control::RunApm},     {"trace", &Control::Trace},
    };
    const auto verb = words.empty() ? kVerbs.end() : kVerbs.find(words.front());
    if (verb == kVerbs.end()) {
        std::vector<std::string> names;
        for (const auto& [name, function] : kVerbs) {
            (void)function;
            names.push_back(name);
        }
        Unknown("verb", words.empty() ? std::string() : words.front(), names);
    }
    return (this->*verb->second)(words);
}

std::string Control::Fail(const std::string& area, const std::string& name, const std::string& step,
                          const Words& rest, const std::string& usage) {
    const bool counted = rest.size() == 3 && rest[1] == "--times";
    if (rest.size() != 1 && !counted) {
        Usage(usage);
    }
    const auto status = ParseNumber<std::int32_t>(rest[0]);
    if (!status) {
        throw ControlError(fmt::format("\"{}\" is no status: give a 32-bit number, 0 to end the fault", rest[0]));
    }
    const auto times = counted ? ParseNumber<std::uint32_t>(rest[2]) : std::optional<std::uint32_t>(0);
    if (!times || (counted && *times == 0)) {
        throw ControlError("--times wants a number from 1 on; leave it out for a fault without end");
    }
    m_parts.faults.Set(area, name, step, *status, *times);
    return {};
}

std::string Control::RunModel(const Words& words) {
    static const std::string kUsage =
        "model get KEY | model set KEY JSON | model fail KEY STEP STATUS [--times N]";
    const std::string action = words.size() > 1 ? words[1] : std::string();
    if (action == "get" && words.size() == 3) {
        return Print(m_parts.model.Value(std::string(KeyOf(words[2]).key)));
    }
    if (action == "set" && words.size() == 4) {
        const KeyInfo& info = KeyOf(words[2]);
        m_parts.model.Assign(info, ValueFor(info, words[3]));
        return {};
    }
    if (action == "fail" && words.size() == 2) {
        return Print(m_parts.faults.List("model"));
    }
    if (action == "fail" && words.size() >= 5) {
        if (words[2].find_first_of(kWildcards) == std::string::npos) {
            KeyOf(words[2]);
        }
        if (std::find(kModelSteps.begin(), kModelSteps.end(), words[3]) == kModelSteps.end()) {
            throw ControlError(
                fmt::format("there is no step \"{}\": give one of {}", words[3], fmt::join(kModelSteps, ", ")));
        }
        return Fail("model", words[2], words[3], From(words, 4), kUsage);
    }
    Usage(kUsage);
}

std::string Control::RunFlash(const Words& words) {
    static const std::string kUsage = "flash get NAME | flash set NAME TEXT | flash fail NAME STATUS [--times N]";
    const std::string action = words.size() > 1 ? words[1] : std::string();
    if (action == "get" && words.size() == 3) {
        return m_parts.flash.Value(words[2]) + '\n';
    }
    if (action == "set" && words.size() == 4) {
        m_parts.flash.Assign(words[2], words[3]);
        return {};
    }
    if (action == "fail" && words.size() == 2) {
        return Print(m_parts.faults.List("flash"));
    }
    if (action == "fail" && words.size() >= 4) {
        return Fail("flash", words[2], "any", From(words, 3), kUsage);
    }
    Usage(kUsage);
}

std::string Control::RunMeta(const Words& words) {
    static const std::string kUsage =
        "meta get ITEM | meta set ITEM VALUE | meta fail ITEM|init|access-route STATUS [--times N]";
    const std::string action = words.size() > 1 ? words[1] : std::string();
    if (action == "get" && words.size() == 3) {
        return Print(m_parts.metadata.Value(ItemOf(words[2])));
    }
    if (action == "set" && words.size() == 4) {
        const int item = ItemOf(words[2]);
        if (Metadata::IsText(item)) {
            m_parts.metadata.Assign(item, words[3]);
        } else if (const auto number = ParseNumber<std::int32_t>(words[3])) {
            m_parts.metadata.Assign(item, *number);
        } else {
            throw ControlError(
                fmt::format("metadata item {} holds a 32-bit integer: give a number such as 5", item));
        }
        return {};
    }
    if (action == "fail" && words.size() == 2) {
        return Print(m_parts.faults.List("meta"));
    }
    if (action == "fail" && words.size() >= 4) {
        const bool named = words[2] == "init" || words[2] == "access-route" || words[2] == "*";
        return Fail("meta", named ? words[2] : std::to_string(ItemOf(words[2])), "any", From(words, 3), kUsage);
    }
    Usage(kUsage);
}

std::string Control::RunKeys(const Words& words) {
    static const std::string kUsage = "keys list | keys fail KEY write|check STATUS [--times N]";
    const std::string action = words.size() > 1 ? words[1] : std::string();
    if (action == "list" && words.size() == 2) {
        return Print(m_parts.keys.List());
    }
    if (action == "fail" && words.size() == 2) {
        return Print(m_parts.faults.List("keys"));
    }
    if (action == "fail" && words.size() >= 5 && (words[3] == "write" || words[3] == "check")) {
        return Fail("keys", words[2] == "*" ? words[2] : KeyNumberOf(words[2]), words[3], From(words, 4), kUsage);
    }
    Usage(kUsage);
}

std::string Control::RunApm(const Words& words) {
    static const std::string kUsage = "apm fail CALL STATUS [--times N]";
    if (words.size() == 2 && words[1] == "fail") {
        return Print(m_parts.faults.List("apm"));
    }
    if (words.size() < 4 || words[1] != "fail") {
        Usage(kUsage);
    }
    const auto calls = AppManager::Calls();
    if (words[2] != "*" && std::find(calls.begin(), calls.end(), words[2]) == calls.end()) {
        Unknown("call", words[2], calls);
    }
    return Fail("apm", words[2], "any", From(words, 3), kUsage);
}

std::string Control::Behave(const Words& words) {
    const auto names = Behaviours::Names();
    if (words.size() == 1) {
        json settings = json::object();
        for (const auto& name : names) {
            settings[name] = m_parts.behaviours.Setting(name);
        }
        return Print(settings);
    }
    if (words.size() != 3) {
        Usage("behave NAME on|off|MS");
    }
    if (std::find(names.begin(), names.end(), words[1]) == names.end()) {
        Unknown("behaviour", words[1], names);
    }
    if (!m_parts.behaviours.Set(words[1], words[2])) {
        throw ControlError(
            fmt::format("\"{}\" is no setting: give on, off, or milliseconds from 0 to 86400000", words[2]));
    }
    return {};
}

std::string Control::Press(const Words& words) {
    if (words.size() != 2) {
        Usage("press CODE");
    }
    const auto code = ParseNumber<std::int32_t>(words[1]);
    if (!code) {
        throw ControlError(
            fmt::format("\"{}\" is no key code: give a number such as 70, the power key", words[1]));
    }
    m_parts.press(*code);
    return {};
}

std::string Control::Trace(const Words& words) {
    if (words.size() == 1) {
        return m_parts.trace.Lines();
    }
    if (words.size() != 2 || words[1] != "--clear") {
        Usage("trace [--clear]");
    }
    return m_parts.trace.TakeLines();
}

}  // namespace simset
