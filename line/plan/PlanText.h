// The texts of a plan: words, variables, conditions.
#ifndef ZELLINE_PLAN_PLANTEXT_H
#define ZELLINE_PLAN_PLANTEXT_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "verbs/Verbs.h"

namespace zelline {

using Variables = std::map<std::string, std::string>;

// Splits one line into words at blanks; quotes, single or double, keep blanks together. Throws Error with
// Exit::Unusable for a quote that is not closed.
Words SplitWords(std::string_view line);

// A place of a text that a variable's value takes.
struct Reference {
    std::size_t begin;
    std::size_t end;  // behind the brace
    std::string name;
    std::optional<std::string> fallback;
};

// All of them, in order. Throws Error with Exit::Unusable for a brace that is not closed.
std::vector<Reference> ReferencesIn(const std::string& text);

// Fills in ${name}, ${env.NAME} and either with a default as ${name:-text}. Throws Error with Exit::Unusable
// for a name that is not known, or a brace that is not closed.
std::string Expand(const std::string& text, const Variables& variables);

// What a run-if text is made of: "A == B", "A != B", or "A", without the blanks and quotes around them. Variables
// are not filled in.
struct Condition {
    std::string left;
    std::string right;
    std::string_view sign;  // "==", "!=", or empty
};

Condition ConditionOf(const std::string& text);

// Throws Error with Exit::Unusable for a text that is meant to be more than a condition can be, such as
// "A == B && C": without this it would hold always, or never.
void CheckCondition(const std::string& text);

// Whether the condition holds; "A" does unless it is empty, 0, no or false.
bool Holds(const std::string& text, const Variables& variables);

}  // namespace zelline

#endif
