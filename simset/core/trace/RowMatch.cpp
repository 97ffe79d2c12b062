#include "simset/core/trace/RowMatch.h"

#include <fnmatch.h>

#include <algorithm>

#include "simset/base/Errors.h"
#include "simset/core/trace/TraceLog.h"

namespace simset {

namespace {

using nlohmann::json;

constexpr char kBlanks[] = " \t\n";

[[noreturn]] void Refuse(const std::string& text, const std::string& why) {
    throw ControlError("\"" + text + "\" matches no rows: " + why +
                       "; give terms such as who=shell command=\"echo 18*\" or a word");
}

// Takes a quoted text; `at` stands on its first quote, and behind its last one afterwards.
std::string ReadQuoted(const std::string& text, std::size_t& at) {
    std::string read;
    for (++at; at < text.size() && text[at] != '"'; ++at) {
        if (text[at] == '\\' && at + 1 < text.size() && text[at + 1] == '"') {
            ++at;
        }
        read += text[at];
    }
    if (at == text.size()) {
        Refuse(text, "a quote is not closed");
    }
    ++at;
    if (text.find_first_of(kBlanks, at) != at && at < text.size()) {
        Refuse(text, "something stands right behind a closing quote");
    }
    return read;
}

}  // namespace

RowMatch::RowMatch(const std::string& text) {
    std::size_t at = 0;
    while ((at = text.find_first_not_of(kBlanks, at)) != std::string::npos) {
        m_terms.push_back(ReadTerm(text, at));
    }
    if (m_terms.empty()) {
        Refuse(text, "it has no terms");
    }
}

RowMatch::Term RowMatch::ReadTerm(const std::string& text, std::size_t& at) {
    Term term;
    if (text[at] != '"') {
        const std::size_t start = at;
        at = std::min(text.find_first_of(" \t\n=", at), text.size());
        term.text = text.substr(start, at - start);
        if (at == text.size() || text[at] != '=') {
            return term;
        }
        if (term.text.empty()) {
            Refuse(text, "the name of a member is missing before \"=\"");
        }
        term.member.swap(term.text);
        ++at;
    }
    if (at < text.size() && text[at] == '"') {
        term.text = ReadQuoted(text, at);
    } else {
        const std::size_t start = at;
        at = std::min(text.find_first_of(kBlanks, at), text.size());
        term.text = text.substr(start, at - start);
    }
    if (term.member.empty() && term.text.empty()) {
        Refuse(text, "a word is empty");
    }
    return term;
}

bool RowMatch::Holds(const TraceRow& row) const {
    const auto isWord = [](const Term& term) { return term.member.empty(); };
    const bool words = std::all_of(m_terms.begin(), m_terms.end(), [&](const Term& term) {
        return !isWord(term) || row.line.find(term.text) != std::string::npos;
    });
    if (!words || std::all_of(m_terms.begin(), m_terms.end(), isWord)) {
        return words;
    }
    const json object = json::parse(row.line, nullptr, false);
    return std::all_of(m_terms.begin(), m_terms.end(), [&](const Term& term) {
        if (isWord(term)) {
            return true;
        }
        const auto found = object.find(term.member);
        if (found == object.end()) {
            return false;
        }
        const std::string value = found->is_string() ? found->get<std::string>() : found->dump();
        return ::fnmatch(term.text.c_str(), value.c_str(), 0) == 0;
    });
}

}  // namespace simset
