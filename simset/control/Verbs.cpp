#include "simset/control/Verbs.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>
#include <sstream>

#include "simset/base/Similar.h"

namespace simset {
namespace {

constexpr std::size_t kSuggestions = 3;
constexpr std::size_t kHelpColumn = 38;

bool IsFree(const std::string& word) {
    return std::any_of(word.begin(), word.end(),
                       [](char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; });
}

bool IsOneOf(const std::string& word, const std::string& alternatives) {
    std::istringstream in(alternatives);
    for (std::string alternative; std::getline(in, alternative, '|');) {
        if (word == alternative) {
            return true;
        }
    }
    return false;
}

std::string TextOf(const VerbForm& form) {
    return fmt::format("{} {}", form.verb, form.arguments);
}

// A form's arguments, taken apart.
struct Pattern {
    explicit Pattern(const VerbForm& form) {
        std::istringstream in(form.arguments);
        for (std::string word; in >> word;) {
            if (word[0] != '[') {
                words.push_back(word);
            } else if (word.back() == ']') {
                options[word.substr(1, word.size() - 2)] = false;
            } else {
                options[word.substr(1)] = true;
                in >> word;
            }
        }
    }

    std::vector<std::string> words;
    std::map<std::string, bool> options;  // to whether a text follows
};

}  // namespace

std::string Caller::File(const std::string& name) const {
    return (std::filesystem::path(folder) / name).string();
}

std::optional<std::string> Arguments::Option(const std::string& option) const {
    const auto found = m_options.find(option);
    return found == m_options.end() ? std::nullopt : std::optional(found->second);
}

std::optional<Arguments> Match(const VerbForm& form, const Words& words) {
    if (words.empty() || words[0] != form.verb) {
        return std::nullopt;
    }
    const Pattern pattern(form);
    Arguments arguments;
    std::size_t at = 1;
    for (const std::string& expected : pattern.words) {
        if (at == words.size()) {
            return std::nullopt;
        }
        const std::string& word = words[at++];
        const bool chosen = expected.find('|') != std::string::npos;
        if (!IsFree(expected) && !(chosen ? IsOneOf(word, expected) : word == expected)) {
            return std::nullopt;
        }
        if (IsFree(expected) || chosen) {
            arguments.m_texts.push_back(word);
        }
    }
    while (at < words.size()) {
        const std::size_t equals = words[at].find('=');
        const auto option = pattern.options.find(words[at].substr(0, equals));
        if (option == pattern.options.end() || (equals != std::string::npos && !option->second)) {
            return std::nullopt;
        }
        std::string& text = arguments.m_options[option->first];
        if (equals != std::string::npos) {
            text = words[at].substr(equals + 1);
        } else if (option->second) {
            if (++at == words.size()) {
                return std::nullopt;
            }
            text = words[at];
        }
        ++at;
    }
    return arguments;
}

const VerbForm* FindForm(const std::vector<VerbForm>& forms, const Words& words) {
    const auto found = std::find_if(forms.begin(), forms.end(),
                                    [&words](const VerbForm& form) { return Match(form, words).has_value(); });
    return found == forms.end() ? nullptr : &*found;
}

void RefuseName(const std::string& what, const std::string& name, const std::vector<std::string>& names) {
    throw ControlError(fmt::format("there is no {} \"{}\"; did you mean {}?", what, name,
                                   fmt::join(NearNames(name, names, kSuggestions), " or ")));
}

void RefuseVerb(const std::vector<VerbForm>& forms, const Words& words) {
    const std::string verb = words.empty() ? std::string() : words.front();
    std::set<std::string> verbs;
    std::vector<std::string> usages;
    for (const VerbForm& form : forms) {
        verbs.insert(form.verb);
        if (form.verb == verb) {
            usages.push_back(TextOf(form));
        }
    }
    if (usages.empty()) {
        RefuseName("verb", verb, {verbs.begin(), verbs.end()});
    }
    throw ControlError(fmt::format("usage: {}", fmt::join(usages, " | ")));
}

std::string HelpText(const std::vector<VerbForm>& forms) {
    std::string text;
    const std::string indent(kHelpColumn, ' ');
    for (const VerbForm& form : forms) {
        std::string row = (form.when == When::On ? "* " : "  ") + TextOf(form);
        row.erase(row.find_last_not_of(' ') + 1);
        if (*form.help != '\0') {
            row += row.size() < kHelpColumn ? indent.substr(row.size()) : '\n' + indent;
        }
        text += row;
        for (const char* c = form.help; *c != '\0'; ++c) {
            text += *c == '\n' ? '\n' + indent : std::string(1, *c);
        }
        text += '\n';
    }
    return text;
}

}  // namespace simset
