#include "plan/PlanText.h"

#include <fmt/format.h>

#include <cstdlib>
#include <optional>

#include "wire/Error.h"

namespace zelline {
namespace {

// Why a variable that is named has no value.
std::string NotSet(const std::string& name) {
    const auto begins = [&](std::string_view prefix) { return name.rfind(prefix, 0) == 0; };
    if (begins("env.")) {
        return fmt::format("the environment has no {}", name.substr(4));
    }
    if (begins("step.")) {
        return fmt::format("no step has the id '{}', so ${{{}}} is not known", name.substr(5), name);
    }
    if (begins("stock.")) {
        return fmt::format("the stock has no type '{}'", name.substr(6));
    }
    return fmt::format(
        "the variable '{}' is not set: give it with {}", name,
        name == "unit" ? "--unit SERIAL" : fmt::format("--set {}=VALUE, or under [vars] in the plan", name));
}

std::string Trimmed(std::string_view part) {
    const auto first = part.find_first_not_of(" \"'");
    const auto last = part.find_last_not_of(" \"'");
    return first == std::string_view::npos ? std::string() : std::string(part.substr(first, last - first + 1));
}

// The text without what stands in it for variables.
std::string WithoutReferences(std::string text) {
    const auto references = ReferencesIn(text);
    for (auto reference = references.rbegin(); reference != references.rend(); ++reference) {
        text.erase(reference->begin, reference->end - reference->begin);
    }
    return text;
}

}  // namespace

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
            Fail(Exit::Unusable,
                 "the brace of a variable is not closed in: {}; one with blanks in it stands in quotes, such as "
                 "'${{name:-two words}}'",
                 text);
        }
        Reference reference{at, end + 1, text.substr(at + 2, end - at - 2), std::nullopt};
        if (const auto split = reference.name.find(":-"); split != std::string::npos) {
            reference.fallback = reference.name.substr(split + 2);
            reference.name.resize(split);
            if (reference.fallback->find("${") != std::string::npos) {
                Fail(Exit::Unusable, "the default of ${{{}}} cannot be another variable", reference.name);
            }
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
            Fail(Exit::Unusable, "{}", NotSet(name));
        }
        result += text.substr(copied, reference.begin - copied);
        result += variable != variables.end() ? variable->second
                  : environment != nullptr    ? environment
                                              : *reference.fallback;
        copied = reference.end;
    }
    return result + text.substr(copied);
}

Condition ConditionOf(const std::string& text) {
    for (const char* sign : {"==", "!="}) {
        if (const auto at = text.find(sign); at != std::string::npos) {
            return {Trimmed(std::string_view(text).substr(0, at)), Trimmed(std::string_view(text).substr(at + 2)),
                    std::string_view(sign)};
        }
    }
    return {Trimmed(text), "", ""};
}

void CheckCondition(const std::string& text) {
    const Condition condition = ConditionOf(text);
    const std::string left = WithoutReferences(condition.left);
    const std::string right = WithoutReferences(condition.right);
    bool isStrange = right.rfind('=', 0) == 0 ||
                     (condition.sign.empty() && left.find_first_of("=<>!&| \t") != std::string::npos);
    for (const char* sign : {"==", "!=", "&&", "||"}) {
        isStrange = isStrange || (left + "\n" + right).find(sign) != std::string::npos;
    }
    if (isStrange) {
        Fail(Exit::Unusable, "'run-if' is one of A == B, A != B, and a single word or variable, which '{}' is not",
             text);
    }
}

bool Holds(const std::string& text, const Variables& variables) {
    const Condition condition = ConditionOf(text);
    const std::string value = Expand(condition.left, variables);
    if (!condition.sign.empty()) {
        return (value == Expand(condition.right, variables)) == (condition.sign == "==");
    }
    return !value.empty() && value != "0" && value != "no" && value != "false";
}

}  // namespace zelline
