#include "manual/FileSection.h"

#include <fmt/format.h>

#include <algorithm>

namespace manual {

void FileSection::Refuse(std::string_view key) const {
    Problem(*m_table.get(key), m_keys.Must(key));
}

void FileSection::TellOfUnknown() const {
    for (const auto& [key, node] : m_table) {
        if (m_keys.Find(key.str()) == nullptr) {
            Problem(key.source().begin.line, m_keys.Unknown(key.str()));
        }
    }
}

const toml::node* FileSection::Node(std::string_view key) const {
    return m_keys.Find(key) == nullptr ? nullptr : m_table.get(key);
}

// Tells of a value that is there and not read.
template <typename Value>
Value FileSection::Checked(std::string_view key, Value value) const {
    if (!value && Node(key) != nullptr) {
        Refuse(key);
    }
    return value;
}

std::optional<std::string> FileSection::Text(std::string_view key) const {
    const toml::node* node = Node(key);
    auto text = node == nullptr ? std::nullopt : TextOf(*node);
    if (text && static_cast<std::int64_t>(text->size()) < m_keys.Find(key)->form.least) {
        text.reset();
    }
    return Checked(key, std::move(text));
}

std::optional<std::string> FileSection::Choice(std::string_view key) const {
    const toml::node* node = Node(key);
    auto text = node == nullptr ? std::nullopt : TextOf(*node);
    if (text) {
        const auto& choices = m_keys.Find(key)->form.choices;
        if (std::find(choices.begin(), choices.end(), *text) == choices.end()) {
            text.reset();
        }
    }
    return Checked(key, std::move(text));
}

std::optional<std::int64_t> FileSection::Whole(std::string_view key) const {
    const toml::node* node = Node(key);
    auto value = node == nullptr ? std::nullopt : node->value<std::int64_t>();
    if (value) {
        const Form& form = m_keys.Find(key)->form;
        if (*value < form.least || *value > form.most) {
            value.reset();
        }
    }
    return Checked(key, value);
}

std::optional<double> FileSection::Number(std::string_view key) const {
    const toml::node* node = Node(key);
    return Checked(key, node == nullptr ? std::nullopt : node->value<double>());
}

const toml::table* FileSection::Table(std::string_view key) const {
    const toml::node* node = Node(key);
    return Checked(key, node == nullptr ? nullptr : node->as_table());
}

const toml::array* FileSection::Tables(std::string_view key) const {
    const toml::node* node = Node(key);
    const toml::array* list = node == nullptr ? nullptr : node->as_array();
    const bool isOne = list != nullptr && (list->empty() || list->is_homogeneous(toml::node_type::table));
    return Checked(key, isOne ? list : nullptr);
}

std::optional<std::string> FileSection::TextOf(const toml::node& node) {
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

}  // namespace manual
