#include "simset/board/scenario/ScenarioFile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <toml++/toml.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>
#include <string_view>

#include "simset/base/Errors.h"

namespace simset {
namespace {

constexpr std::int64_t kMostMs = 86'400'000;
constexpr std::int64_t kMostRows = std::numeric_limits<std::int32_t>::max();

// Reads a file and gathers what is wrong in it.
class Reader {
  public:
    Reader(const std::string& file, const std::vector<VerbForm>& forms) : m_file(file), m_forms(forms) {}

    Scenario Read() {
        Scenario scenario;
        scenario.file = m_file;
        scenario.folder = std::filesystem::absolute(m_file).parent_path().string();
        toml::table table;
        try {
            table = toml::parse_file(m_file);
        } catch (const toml::parse_error& error) {
            Problem(error.source().begin.line, std::string(error.description()));
            Refuse();
        }
        Allow(table, {"name", "seed", "when"});
        if (const toml::node* name = table.get("name"); name != nullptr && !name->is_string()) {
            Problem(*name, "'name' must be a text");
        }
        scenario.seed = static_cast<std::uint64_t>(
            Number(table, "seed", 0, std::numeric_limits<std::int64_t>::max()).value_or(1));
        const toml::node* when = table.get("when");
        const toml::array* triggers = when == nullptr ? nullptr : when->as_array();
        if (triggers == nullptr || triggers->empty() || !triggers->is_array_of_tables()) {
            Problem(when == nullptr ? 1 : LineOf(*when), "a scenario wants one [[when]] or more");
            Refuse();
        }
        for (const toml::node& node : *triggers) {
            scenario.triggers.push_back(ReadTrigger(*node.as_table(), scenario.seed));
        }
        Refuse();
        return scenario;
    }

  private:
    static std::size_t LineOf(const toml::node& node) { return node.source().begin.line; }

    void Problem(std::size_t line, const std::string& words) {
        m_problems.push_back(fmt::format("{}:{}: {}", m_file, line, words));
    }
    void Problem(const toml::node& node, const std::string& words) { Problem(LineOf(node), words); }

    void Refuse() const {
        if (!m_problems.empty()) {
            throw RunError(kExitUsage, fmt::format("{}", fmt::join(m_problems, "\n")));
        }
    }

    void Allow(const toml::table& table, const std::set<std::string_view>& known) {
        for (const auto& [key, node] : table) {
            if (known.count(key.str()) == 0) {
                Problem(key.source().begin.line,
                        fmt::format("'{}' is unknown here; there are {}", key.str(), fmt::join(known, ", ")));
            }
        }
    }

    std::optional<std::int64_t> Number(const toml::table& table, std::string_view key, std::int64_t least,
                                       std::int64_t most) {
        const toml::node* node = table.get(key);
        if (node == nullptr) {
            return std::nullopt;
        }
        const auto* value = node->as_integer();
        if (value == nullptr || value->get() < least || value->get() > most) {
            Problem(*node, fmt::format("'{}' must be a whole number from {} to {}", key, least, most));
            return std::nullopt;
        }
        return value->get();
    }

    ScenarioTrigger ReadTrigger(const toml::table& table, std::uint64_t seed) {
        Allow(table, {"match", "after", "nth", "times", "chance", "delay", "optional", "do"});
        ScenarioTrigger trigger;
        trigger.line = table.source().begin.line;
        const toml::node* match = table.get("match");
        if ((match == nullptr) == (table.get("after") == nullptr)) {
            Problem(table, "a [[when]] wants either 'match' or 'after'");
        }
        if (match != nullptr) {
            ReadMatch(*match, trigger);
        }
        if (const auto after = Number(table, "after", 0, kMostMs)) {
            trigger.after = std::chrono::milliseconds(*after);
            trigger.text = fmt::format("after {} ms", *after);
            for (const char* key : {"nth", "times", "chance", "delay"}) {
                if (const toml::node* node = table.get(key)) {
                    Problem(*node, fmt::format("'{}' goes with 'match': a time comes once", key));
                }
            }
        }
        trigger.nth = static_cast<std::uint64_t>(Number(table, "nth", 1, kMostRows).value_or(1));
        trigger.times = static_cast<std::uint64_t>(Number(table, "times", 0, kMostRows).value_or(1));
        trigger.delay = std::chrono::milliseconds(Number(table, "delay", 0, kMostMs).value_or(0));
        if (const toml::node* node = table.get("chance")) {
            trigger.chance = node->value<double>().value_or(-1);
            if (!(trigger.chance > 0 && trigger.chance <= 1)) {
                Problem(*node, "'chance' must be a number above 0, at most 1");
            }
        }
        if (const toml::node* node = table.get("optional")) {
            const auto value = node->value_exact<bool>();
            if (!value) {
                Problem(*node, "'optional' must be true or false");
            }
            trigger.optional = value.value_or(false);
        }
        ReadVerbs(table, trigger, seed);
        return trigger;
    }

    void ReadMatch(const toml::node& node, ScenarioTrigger& trigger) {
        const auto* text = node.as_string();
        if (text == nullptr) {
            Problem(node, "'match' must be a text, such as \"who=model call=set\"");
            return;
        }
        trigger.text = text->get();
        try {
            trigger.match.emplace(text->get());
        } catch (const ControlError& error) {
            Problem(node, error.what());
        }
    }

    void ReadVerbs(const toml::table& table, ScenarioTrigger& trigger, std::uint64_t seed) {
        const toml::node* node = table.get("do");
        if (node == nullptr) {
            Problem(table, "a [[when]] wants 'do': a verb of simset ctl, or a list of them");
            return;
        }
        if (const toml::array* list = node->as_array()) {
            if (list->empty()) {
                Problem(*node, "'do' is empty");
            }
            for (const toml::node& verb : *list) {
                ReadVerb(verb, trigger, seed);
            }
        } else {
            ReadVerb(*node, trigger, seed);
        }
    }

    void ReadVerb(const toml::node& node, ScenarioTrigger& trigger, std::uint64_t seed) {
        const auto* text = node.as_string();
        if (text == nullptr) {
            Problem(node, "'do' must be a text, or a list of texts");
            return;
        }
        try {
            Words words = SplitWords(text->get());
            if (words.empty()) {
                Problem(node, "a verb is missing");
                return;
            }
            const auto fits = [&words](const VerbForm& form) { return Match(form, words).has_value(); };
            if (std::none_of(m_forms.begin(), m_forms.end(), fits)) {
                RefuseVerb(m_forms, words);
            }
            if (words[0] == "wait" || words[0] == "trace") {
                Problem(node, fmt::format("'{}' does nothing to a set: use 'match'", words[0]));
            }
            const auto has = [&words](const char* option) {
                return std::any_of(words.begin(), words.end(), [option](const std::string& word) {
                    return word == option || word.rfind(std::string(option) + "=", 0) == 0;
                });
            };
            if (words[0] == "line" && (has("--flip") || has("--drop")) && !has("--seed")) {
                words.insert(words.end(), {"--seed", std::to_string(seed)});
            }
            trigger.verbs.push_back(std::move(words));
        } catch (const ControlError& error) {
            Problem(node, error.what());
        }
    }

    const std::string m_file;
    const std::vector<VerbForm>& m_forms;
    std::vector<std::string> m_problems;
};

}  // namespace

Words SplitWords(const std::string& text) {
    Words words;
    bool quoted = false;
    bool open = false;  // a word has begun
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool escaped = quoted && text[at] == '\\' && at + 1 < text.size() && text[at + 1] == '"';
        if (escaped) {
            ++at;
        } else if (text[at] == '"') {
            quoted = !quoted;
            if (quoted && !open) {
                words.emplace_back();
            }
            open = true;
            continue;
        } else if (text[at] == ' ' && !quoted) {
            open = false;
            continue;
        }
        if (!open) {
            words.emplace_back();
            open = true;
        }
        words.back().push_back(text[at]);
    }
    if (quoted) {
        throw ControlError("a quote is not closed");
    }
    return words;
}

Scenario ReadScenario(const std::string& file, const std::vector<VerbForm>& forms) {
    return Reader(file, forms).Read();
}

}  // namespace simset
