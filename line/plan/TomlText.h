// What plans and station files have in common as TOML: variables, and what is wrong with a file's form.
#ifndef ZELLINE_PLAN_TOMLTEXT_H
#define ZELLINE_PLAN_TOMLTEXT_H

#include <fmt/format.h>
#include <toml++/toml.h>

#include <string>

#include "manual/FileSection.h"
#include "plan/PlanText.h"

namespace zelline {

// Why a value under [vars] would not do as it is written; empty when it would.
inline std::string VariableDoubt(const std::string& name, const std::string& value) {
    return value.find("${") == std::string::npos
               ? std::string()
               : fmt::format("nothing is filled in in the value of a variable: write {} where '{}' is used", value,
                             name);
}

// Reads the variables under [vars].
inline void ReadVariables(const manual::FileSection& section, Variables& variables) {
    const toml::table* table = section.Table("vars");
    if (table == nullptr) {
        return;
    }
    for (const auto& [key, value] : *table) {
        const std::string name(key.str());
        const auto text = manual::FileSection::TextOf(value);
        const std::string doubt =
            !text ? fmt::format("'{}' must be a text, a number, true or false", name) : VariableDoubt(name, *text);
        if (!doubt.empty()) {
            section.Problem(value, doubt);
        }
        variables[name] = text.value_or("");
    }
}

// The parser's words, and what most often is behind them.
inline std::string WordsOf(const toml::parse_error& error) {
    const std::string words(error.description());
    return words.find("control characters") == std::string::npos ? words : words + "; is a quote not closed?";
}

}  // namespace zelline

#endif
