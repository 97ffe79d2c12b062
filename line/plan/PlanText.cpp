#include "plan/PlanText.h"

#include <fmt/format.h>

#include <cstdlib>
#include <optional>

#include "wire/Error.h"

namespace zelline {

Words SplitWords(std::string_view line) {
    Words words;
    std::string word;
    char quote = 0;
    bool open = false;
    for (const char c : line) {
        if (quote != 0) {
            if (c == quote) {
                quote = 0;
            } else {
                word.push_back(c);
            }
        } else if (c == '"' || c == '\'') {
            quote = c;
            open = true;
        } else if (c == ' ' || c == '\t') {
            if (open) {
                words.push_back(std::move(word));
                word.clear();
            }
            open = false;
        } else {
            word.push_back(c);
            open = true;
        }
    }
    if (quote != 0) {
        Fail(Exit::Unusable, "the quote {} is not closed in: {}", quote, line);
    }
    if (open) {
        words.push_back(std::move(word));
    }
    return words;
}

std::vector<Reference> ReferencesIn(const std::string& text) {
    std::vector<Reference> references;
    for (std::size_t at = text.find("${"); at != std::string::npos; at = text.find("${", at)) {
        const auto end = text.find('}', at);
        if (end == std::string::npos) {
            Fail(Exit::Unusable, "the brace of a variable is not closed in: {}", text);
        }
        Reference reference{at, end + 1, text.substr(at + 2, end - at - 2), std::nullopt};
        if (const auto split = reference.name.find(":-"); split != std::string::npos) {
            reference.fallback = reference.name.substr(split + 2);
            reference.name.resize(split);
        }
        references.push_back(std::move(reference));
        at = end;
    }
    return references;
}

std::string Expand(const std::string& text, const Variables& variables) {
    std::string result;
    std::size_t copied = 0;
    for (const Reference& reference : ReferencesIn(text)) {
        const std::string& name = reference.name;
        const auto variable = variables.find(name);
        const char* environment = name.rfind("env.", 0) == 0 ? std::getenv(name.c_str() + 4) : nullptr;
        if (variable == variables.end() && environment == nullptr && !reference.fallback) {
            Fail(Exit::Unusable,
                 "the variable '{}' is not set: give it with --set {}=VALUE, or under [vars] in the plan", name,
                 name);
        }
        result += text.substr(copied, reference.begin - copied);
        result += variable != variables.end() ? variable->second
                  : environment != nullptr    ? environment
                                              : *reference.fallback;
        copied = reference.end;
    }
    return result + text.substr(copied);
}

bool Holds(const std::string& condition, const Variables& variables) {
    const auto trimmed = [&](std::string_view part) {
        const auto first = part.find_first_not_of(" \"'");
        const auto last = part.find_last_not_of(" \"'");
        return Expand(
            first == std::string_view::npos ? std::string() : std::string(part.substr(first, last - first + 1)),
            variables);
    };
    const std::string_view text = condition;
    for (const std::string_view sign : {"==", "!="}) {
        if (const auto at = text.find(sign); at != std::string_view::npos) {
            return (trimmed(text.substr(0, at)) == trimmed(text.substr(at + 2))) == (sign == "==");
        }
    }
    const std::string value = trimmed(text);
    return !value.empty() && value != "0" && value != "no" && value != "false";
}

}  // namespace zelline
