#include "simset/board/scenario/ScenarioFile.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <toml++/toml.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string_view>

#include "manual/FileSection.h"
#include "simset/base/Errors.h"
#include "simset/board/scenario/ScenarioFormat.h"

namespace simset {
namespace {

using Section = manual::FileSection;

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
        const Section section = Read(table, ScenarioTable::Scenario);
        section.Text("name");
        scenario.seed = static_cast<std::uint64_t>(section.Whole("seed").value_or(1));
        const toml::array* triggers = section.Tables("when");
        if (triggers == nullptr || triggers->empty()) {
            const toml::node* when = section.Node("when");
            Problem(when == nullptr ? 1 : Section::LineOf(*when), "a scenario wants one [[when]] or more");
            Refuse();
        }
        for (const toml::node& node : *triggers) {
            scenario.triggers.push_back(ReadTrigger(*node.as_table(), scenario.seed));
        }
        Refuse();
        return scenario;
    }

  private:
    void Problem(std::size_t line, const std::string& words) {
        m_problems.push_back(fmt::format("{}:{}: {}", m_file, line, words));
    }
    void Problem(const toml::node& node, const std::string& words) { Problem(Section::LineOf(node), words); }

    void Refuse() const {
        if (!m_problems.empty()) {
            throw RunError(kExitUsage, fmt::format("{}", fmt::join(m_problems, "\n")));
        }
    }

    // The table with its unknown keys told of.
    Section Read(const toml::table& table, ScenarioTable keys) {
        Section section(table, KeysOf(keys),
                        [this](std::size_t line, const std::string& words) { Problem(line, words); });
        section.TellOfUnknown();
        return section;
    }

    ScenarioTrigger ReadTrigger(const toml::table& table, std::uint64_t seed) {
        const Section section = Read(table, ScenarioTable::When);
        ScenarioTrigger trigger;
        trigger.line = section.Line();
        const toml::node* match = section.Node("match");
        if ((match == nullptr) == (section.Node("after") == nullptr)) {
            Problem(table, "a [[when]] wants either 'match' or 'after'");
        }
        if (match != nullptr) {
            ReadMatch(section, *match, trigger);
        }
        if (const auto after = section.Whole("after")) {
            trigger.after = std::chrono::milliseconds(*after);
            trigger.text = fmt::format("after {} ms", *after);
            for (const char* key : {"nth", "times", "chance", "delay"}) {
                if (const toml::node* node = section.Node(key)) {
                    Problem(*node, fmt::format("'{}' goes with 'match': a time comes once", key));
                }
            }
        }
        trigger.nth = static_cast<std::uint64_t>(section.Whole("nth").value_or(1));
        trigger.times = static_cast<std::uint64_t>(section.Whole("times").value_or(1));
        trigger.delay = std::chrono::milliseconds(section.Whole("delay").value_or(0));
        if (const toml::node* node = section.Node("chance")) {
            trigger.chance = node->value<double>().value_or(-1);
            if (!(trigger.chance > 0 && trigger.chance <= 1)) {
                section.Refuse("chance");
            }
        }
        if (const toml::node* node = section.Node("optional")) {
            const auto value = node->value_exact<bool>();
            if (!value) {
                section.Refuse("optional");
            }
            trigger.optional = value.value_or(false);
        }
        ReadVerbs(section, table, trigger, seed);
        return trigger;
    }

    void ReadMatch(const Section& section, const toml::node& node, ScenarioTrigger& trigger) {
        const auto* text = node.as_string();
        if (text == nullptr) {
            section.Refuse("match");
            return;
        }
        trigger.text = text->get();
        try {
            trigger.match.emplace(text->get());
        } catch (const ControlError& error) {
            Problem(node, error.what());
        }
    }

    void ReadVerbs(const Section& section, const toml::table& table, ScenarioTrigger& trigger,
                   std::uint64_t seed) {
        const toml::node* node = section.Node("do");
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
