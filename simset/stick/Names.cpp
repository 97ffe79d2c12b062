#include "simset/stick/Names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <vector>

#include "simset/base/Similar.h"

namespace simset::stick {
namespace {

constexpr std::size_t kMaxSlips = 2;
constexpr std::size_t kLettersPerSlip = 4;  // a short name has no room for slips
constexpr std::size_t kShortestStem = 3;

// Letters and digits alone, in lower case.
std::string Core(const std::string& name) {
    std::string core;
    for (const char c : name) {
        if (IsAlphanumeric(c)) {
            core += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    return core;
}

std::size_t AllowedSlips(const std::string& expected) {
    return std::min(kMaxSlips, expected.size() / kLettersPerSlip);
}

bool BeginsWith(const std::string& text, const std::string& beginning) {
    return beginning.size() >= kShortestStem && text.rfind(beginning, 0) == 0;
}

}  // namespace

bool IsAlphanumeric(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool IsNearlyFolder(const std::string& name, const std::string& expected) {
    const std::string given = Core(name);
    const std::string wanted = Core(expected);
    return given == wanted || BeginsWith(given, wanted) || BeginsWith(wanted, given) ||
           EditsToBeginnings(wanted, given).back() <= AllowedSlips(wanted);
}

bool IsNearlyFile(const std::string& name, const std::string& needle) {
    const std::string given = Core(name);
    const std::string wanted = Core(needle);
    if (given.find(wanted) != std::string::npos) {
        return true;
    }
    const std::vector<std::size_t> edits = EditsToBeginnings(wanted, given);
    return *std::min_element(edits.begin(), edits.end()) <= AllowedSlips(wanted);
}

bool NeedsQuotes(const std::string& name) {
    return name.empty() || !std::all_of(name.begin(), name.end(), [](char c) {
               return IsAlphanumeric(c) || (c != '\0' && std::strchr("/._-+:,@%", c) != nullptr);
           });
}

std::string Printable(const std::string& name) {
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        text += byte < 0x20 || byte >= 0x7F ? fmt::format("\\x{:02x}", byte) : std::string(1, c);
    }
    return text;
}

}  // namespace simset::stick
