#include "manual/FileFormat.h"

#include <fmt/format.h>

#include <algorithm>

namespace manual {

Form TextForm() {
    return {"a text"};
}

Form WholeForm(std::int64_t least, std::int64_t most, std::string_view unit) {
    return {fmt::format("a whole number{}{} from {} to {}", unit.empty() ? "" : " of ", unit, least, most), least,
            most};
}

Form ChoiceForm(std::vector<std::string> choices) {
    std::string words;
    for (const std::string& choice : choices) {
        words += words.empty() ? "" : &choice == &choices.back() ? " or " : ", ";
        words += '"' + choice + '"';
    }
    return {words, 0, 0, std::move(choices)};
}

const Key* FileTable::Find(std::string_view name) const {
    const auto key = std::find_if(keys.begin(), keys.end(), [&](const Key& k) { return k.name == name; });
    return key == keys.end() ? nullptr : &*key;
}

std::string FileTable::Unknown(std::string_view name) const {
    std::vector<std::string_view> names;
    for (const Key& key : keys) {
        names.emplace_back(key.name);
    }
    return fmt::format("'{}' is unknown {}; there are {}", name, where, fmt::join(names, ", "));
}

std::string FileTable::Must(std::string_view name) const {
    return fmt::format("'{}' must be {}", name, Find(name)->form.words);
}

std::string PlainPage(const FileFormat& format) {
    std::string page = fmt::format("{}: {}.\n\n{}\n", format.name, format.summary, format.text);
    for (const FileTable& table : format.tables) {
        page += fmt::format("\n{}\n{}{}", table.title, table.text, table.text.empty() ? "" : "\n");
        for (const Key& key : table.keys) {
            page += fmt::format("  {:<12} {}\n{:15}{}.\n", key.name, key.form.words, "", key.help);
            page += key.standard.empty() ? "" : fmt::format("{:15}Without it: {}.\n", "", key.standard);
        }
    }
    for (const Section& section : format.sections) {
        page += fmt::format("\n{}\n{}\n", section.title, section.text);
    }
    return page;
}

std::string MarkdownTables(const FileFormat& format) {
    std::string text;
    for (const FileTable& table : format.tables) {
        text += fmt::format("{}| {} | Is | Meaning | Without it |\n|---|---|---|---|\n", text.empty() ? "" : "\n",
                            table.title);
        for (const Key& key : table.keys) {
            text += fmt::format("| `{}` | {} | {} | {} |\n", key.name, key.form.words, key.help, key.standard);
        }
    }
    for (auto at = text.find("[["); at != std::string::npos; at = text.find("[[", at + 3)) {
        text.insert(at, "\\");
    }
    return text;
}

}  // namespace manual
