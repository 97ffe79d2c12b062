#include "simset/stick/Contents.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <optional>

#include "simset/stick/Names.h"

namespace simset::stick {
namespace {

constexpr std::size_t kAddressLength = 17;
constexpr std::size_t kPairs = 6;
constexpr std::size_t kRangeLength = 36;
constexpr std::size_t kLongestLine = 254;   // what a set reads of a line, its end included
constexpr std::size_t kLongestBrand = 127;  // what a set reads back of it
constexpr std::size_t kConfigurationLines = 7;

// An address of six pairs of hexadecimal digits with one other character between them.
std::optional<std::uint64_t> ParseAddress(const std::string& text) {
    std::uint64_t value = 0;
    if (text.size() != kAddressLength) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2) {
            if (IsAlphanumeric(text[i])) {
                return std::nullopt;
            }
        } else if (std::isxdigit(static_cast<unsigned char>(text[i])) == 0) {
            return std::nullopt;
        } else {
            unsigned digit = 0;
            std::from_chars(&text[i], &text[i] + 1, digit, 16);
            value = value * 16 + digit;
        }
    }
    return value;
}

std::vector<std::string> Lines(const std::string& content) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    while (begin < content.size()) {
        const std::size_t end = content.find('\n', begin);
        lines.push_back(content.substr(begin, end == std::string::npos ? end : end - begin));
        if (!lines.back().empty() && lines.back().back() == '\r') {
            lines.back().pop_back();
        }
        if (end == std::string::npos) {
            break;
        }
        begin = end + 1;
    }
    return lines;
}

// Whether a set skips the line.
bool IsEmptyLine(const std::string& line) {
    return line.empty() || line[0] == ' ' || line[0] == '\t' || line[0] == '\r' || line[0] == '\0';
}

void CheckNumber(std::size_t number, const char* name, const std::string& line, Problems& problems) {
    std::int32_t value = 0;
    const char* const end = line.data() + line.size();
    const auto [stop, error] = std::from_chars(line.data(), end, value);
    if (error == std::errc::result_out_of_range) {
        problems.push_back(fmt::format("line {} ({}) is too large a number", number, name));
    } else if (error != std::errc()) {
        problems.push_back(fmt::format("line {} ({}) has to be a number; a set reads 0", number, name));
    } else if (stop != end) {
        problems.push_back(
            fmt::format("line {} ({}) has more than a number; a set reads {}", number, name, value));
    }
}

// The last address of a range as a set reads it from what begins at the two dashes: six pairs of digits and
// letters, which any other character ends early, and twelve hexadecimal digits in all.
std::optional<std::uint64_t> ParseEnd(const std::string& text) {
    std::string digits;
    std::size_t pairs = 0;
    bool half = false;
    for (const char c : text) {
        if (!IsAlphanumeric(c)) {
            half = false;
            continue;
        }
        pairs += half ? 0 : 1;
        half = !half;
        digits += c;
    }
    std::uint64_t value = 0;
    const char* const end = digits.data() + digits.size();
    const bool number = std::from_chars(digits.data(), end, value, 16).ptr == end;
    return pairs == kPairs && digits.size() == 2 * kPairs && number ? std::optional(value) : std::nullopt;
}

// What a set takes from a range file, however oddly that is written; nothing when it refuses it.
void ReadAsSet(const std::string& content, RangeFile& file) {
    const std::size_t end = content.find('\n');
    const std::string line = std::string(content.substr(0, std::min(end, kLongestLine - 1) + 1).c_str());
    const std::size_t dashes = line.find("--");
    if (line.size() < kRangeLength || dashes == std::string::npos) {
        return;
    }
    const std::string first = line.substr(0, kAddressLength);
    const auto start = ParseAddress(first);
    const auto last = ParseEnd(line.substr(dashes));
    if (start && last && *start <= *last) {
        file.taken = true;
        file.next = first;
        file.left = *last - *start + 1;
    }
}

}  // namespace

RangeFile ReadRangeFile(const std::string& content) {
    RangeFile file;
    ReadAsSet(content, file);
    const std::vector<std::string> lines = Lines(content);
    const std::string line = lines.empty() ? std::string() : lines.front();
    file.moreLines = lines.size() > 1;
    if (line.size() < kRangeLength) {
        file.problems.push_back(fmt::format(
            "the first line has {} characters; an address range has {}, like 02-00-00-00-00-01--02-00-00-00-00-64",
            line.size(), kRangeLength));
        return file;
    }
    if (line.find("--") != kAddressLength) {
        file.problems.emplace_back(
            "two dashes have to stand between the first and the last address, behind 17 characters");
        return file;
    }
    const std::string first = line.substr(0, kAddressLength);
    const std::string last = line.substr(kAddressLength + 2, kAddressLength);
    const auto start = ParseAddress(first);
    const auto end = ParseAddress(last);
    if (!start || !end) {
        file.problems.push_back(
            fmt::format("\"{}\" is no address: six pairs of hexadecimal digits, one character "
                        "between them, like 02-00-00-00-00-01",
                        start ? last : first));
        return file;
    }
    const std::string rest = line.substr(kRangeLength);
    if (std::any_of(rest.begin(), rest.end(), IsAlphanumeric)) {
        file.problems.emplace_back("nothing may follow the last address on its line");
        return file;
    }
    if (*start > *end) {
        file.problems.push_back(fmt::format("the first address {} lies behind the last, {}", first, last));
        return file;
    }
    constexpr unsigned kGroupBit = 40;
    if (((*start >> kGroupBit) & 1U) != 0) {
        file.problems.push_back(fmt::format("{} is a group's address: no device may have it", first));
    }
    return file;
}

ConfigurationFile ReadConfigurationFile(const std::string& content) {
    struct Field {
        const char* name;
        bool number;
    };
    constexpr std::array<Field, kConfigurationLines> kFields = {{{"country", true},
                                                                 {"region", true},
                                                                 {"logo", true},
                                                                 {"brand", false},
                                                                 {"language", true},
                                                                 {"project id", true},
                                                                 {"customer model", false}}};
    ConfigurationFile file;
    if (content.rfind("\xEF\xBB\xBF", 0) == 0) {
        file.problems.emplace_back("the file begins with a byte-order mark; save it as plain text");
    }
    const std::vector<std::string> lines = Lines(content);
    for (std::size_t i = 0; i < kFields.size(); ++i) {
        const Field& field = kFields[i];
        const std::string line = i < lines.size() ? lines[i] : std::string();
        const bool last = i + 1 == kFields.size();
        if (line.size() >= kLongestLine) {
            file.problems.push_back(fmt::format("line {} ({}) is too long", i + 1, field.name));
        } else if (IsEmptyLine(line)) {
            const std::string text = fmt::format("line {} ({}) is empty", i + 1, field.name);
            if (last) {
                file.notes.push_back(text + ": the set keeps what it has");
            } else {
                file.problems.push_back(text + ": only a set that has none of its own passes the check");
                file.taken = false;
            }
        } else if (field.number) {
            CheckNumber(i + 1, field.name, line, file.problems);
        } else if (!last && line.size() > kLongestBrand) {
            file.problems.push_back(
                fmt::format("line {} ({}) has more than {} characters; a set reads no more of it", i + 1,
                            field.name, kLongestBrand));
        }
    }
    if (lines.size() > kFields.size()) {
        file.notes.push_back(fmt::format("only the first {} lines are used", kFields.size()));
    }
    return file;
}

}  // namespace simset::stick
