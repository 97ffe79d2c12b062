// What plans and station files have in common as TOML: the text of a value, and what is wrong with a file's form.
#ifndef ZELLINE_PLAN_TOMLTEXT_H
#define ZELLINE_PLAN_TOMLTEXT_H

#include <fmt/format.h>
#include <toml++/toml.h>

#include <optional>
#include <string>

namespace zelline {

// The text of a text, a number or a truth value.
inline std::optional<std::string> TextOf(const toml::node& node) {
    if (const auto* text = node.as_string()) {
        return text->get();
    }
    if (const auto* number = node.as_integer()) {
        return fmt::to_string(number->get());
    }
    if (const auto* number = node.as_floating_point()) {
        return fmt::to_string(number->get());
    }
    if (const auto* flag = node.as_boolean()) {
        return flag->get() ? "true" : "false";
    }
    return std::nullopt;
}

// Why a value under [vars] would not do as it is written; empty when it would.
inline std::string VariableDoubt(const std::string& name, const std::string& value) {
    return value.find("${") == std::string::npos
               ? std::string()
               : fmt::format("nothing is filled in in the value of a variable: write {} where '{}' is used", value,
                             name);
}

// The parser's words, and what most often is behind them.
inline std::string WordsOf(const toml::parse_error& error) {
    const std::string words(error.description());
    return words.find("control characters") == std::string::npos ? words : words + "; is a quote not closed?";
}

}  // namespace zelline

#endif
