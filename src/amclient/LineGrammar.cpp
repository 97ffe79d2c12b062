#include "amclient/LineGrammar.h"

#include <cstddef>
#include <new>
#include <utility>

namespace zel {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

// Cuts what stands before position `end` off the front of `rest`, together with the character at `end`.
std::string_view TakeUntil(std::string_view& rest, std::size_t end) {
    const std::string_view taken = rest.substr(0, end);
    rest.remove_prefix(end < rest.size() ? end + 1 : rest.size());
    return taken;
}

bool BeginsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

bool IsConsoleField(std::string_view field) {
    return field == "cli" || field == "dbg";
}

bool ParseHeader(std::string_view text, AmLine& line) {
    std::size_t count = 0;
    while (count < line.header.size()) {
        const std::size_t comma = text.find(',');
        line.header[count++] = TakeUntil(text, comma == kNone ? text.size() : comma);
        if (comma == kNone) {
            return !line.header[0].empty();
        }
    }
    return false;
}

// Takes a list off the front of `rest`, whose first character is the opening bracket.
bool TakeList(std::string_view& rest, AmParameter& parameter) {
    const std::size_t close = rest.find(']');
    if (close == kNone) {
        return false;
    }
    parameter.isList = true;
    std::string_view inside = TakeUntil(rest, close).substr(1);
    if (inside.empty()) {
        return true;
    }
    for (;;) {
        const std::size_t comma = inside.find(',');
        parameter.elements.push_back(TakeUntil(inside, comma == kNone ? inside.size() : comma));
        if (comma == kNone) {
            return true;
        }
    }
}

// Takes one parameter off the front of `rest`; `more` says whether a comma announces another.
bool TakeParameter(std::string_view& rest, AmParameter& parameter, bool& more) {
    const std::size_t nameEnd = rest.find_first_of("=,");
    if (nameEnd == kNone || nameEnd == 0 || rest[nameEnd] != '=') {
        return false;
    }
    parameter.name = TakeUntil(rest, nameEnd);
    if (!rest.empty() && rest.front() == '[') {
        if (!TakeList(rest, parameter)) {
            return false;
        }
        more = !rest.empty();
        if (more && rest.front() != ',') {
            return false;
        }
        rest.remove_prefix(more ? 1 : 0);
        return true;
    }
    const std::size_t comma = rest.find(',');
    more = comma != kNone;
    parameter.text = TakeUntil(rest, more ? comma : rest.size());
    return true;
}

bool ParseParameters(std::string_view rest, AmLine& line) {
    bool more = true;
    while (more) {
        AmParameter parameter;
        if (!TakeParameter(rest, parameter, more)) {
            return false;
        }
        line.parameters.push_back(std::move(parameter));
    }
    return true;
}

AmLineResult Parse(std::string_view text, AmLine& line) {
    if (text.empty() || text.front() != ':' || text.find('\0') != kNone) {
        return AmLineResult::NotACommand;
    }
    text.remove_prefix(1);
    const std::size_t headerEnd = text.find(':');
    const bool headerAlone = headerEnd == kNone;
    if (!ParseHeader(TakeUntil(text, headerAlone ? text.size() : headerEnd), line)) {
        return AmLineResult::NotACommand;
    }
    if (IsConsoleField(line.header[0]) || IsConsoleField(line.header[1])) {
        return AmLineResult::PassThrough;
    }
    return !headerAlone && ParseParameters(text, line) ? AmLineResult::Parsed : AmLineResult::NotACommand;
}

}  // namespace

AmLine ParseAmLine(std::string_view line) noexcept {
    AmLine parsed;
    try {
        parsed.result = Parse(line, parsed);
    } catch (const std::bad_alloc&) {
        parsed.result = AmLineResult::OutOfMemory;
    }
    if (parsed.result != AmLineResult::Parsed) {
        parsed.parameters.clear();
    }
    return parsed;
}

bool IsForApplication(const AmLine& line) {
    return line.result == AmLineResult::Parsed && BeginsWith(line.header[0], "am") &&
           !BeginsWith(line.header[1], "cli");
}

}  // namespace zel
