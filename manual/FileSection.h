// Reads a table of a file in TOML by what there is to tell of its keys.
#ifndef ZELFAC_MANUAL_FILESECTION_H
#define ZELFAC_MANUAL_FILESECTION_H

#include <toml++/toml.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "manual/FileFormat.h"

namespace manual {

// A table of the file, of which the keys that `keys` has are read and no others. What is wrong in it goes to
// `tell` with its line, and the value is then left out, as one that is not there is.
class FileSection {
  public:
    using Tell = std::function<void(std::size_t line, const std::string& words)>;

    FileSection(const toml::table& table, const FileTable& keys, Tell tell)
        : m_table(table), m_keys(keys), m_tell(std::move(tell)) {}

    void Problem(std::size_t line, const std::string& words) const { m_tell(line, words); }
    void Problem(const toml::node& node, const std::string& words) const { m_tell(LineOf(node), words); }
    // The value of `key`, which is there, is not written as it must be.
    void Refuse(std::string_view key) const;
    // Tells of each key that is none of `keys`.
    void TellOfUnknown() const;

    std::size_t Line() const { return LineOf(m_table); }
    // Null when it is not there.
    const toml::node* Node(std::string_view key) const;

    // A text, also a number or true or false as one; with the form's least, so many characters at least.
    std::optional<std::string> Text(std::string_view key) const;
    // One of the form's choices.
    std::optional<std::string> Choice(std::string_view key) const;
    // A whole number from the form's least to its most.
    std::optional<std::int64_t> Whole(std::string_view key) const;
    std::optional<double> Number(std::string_view key) const;
    // Null when it is no table.
    const toml::table* Table(std::string_view key) const;
    // An array of tables, as [[key]] makes it; null when it is none.
    const toml::array* Tables(std::string_view key) const;

    static std::size_t LineOf(const toml::node& node) { return node.source().begin.line; }
    static std::optional<std::string> TextOf(const toml::node& node);

  private:
    template <typename Value>
    Value Checked(std::string_view key, Value value) const;

    const toml::table& m_table;
    const FileTable& m_keys;
    Tell m_tell;
};

}  // namespace manual

#endif
