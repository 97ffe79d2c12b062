#include "provisioning/addresses/MacRange.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace zel {
namespace {

constexpr std::size_t kMacDigits = 12;
constexpr std::size_t kHalfDigits = kMacDigits / 2;
constexpr std::size_t kPairs = 6;
constexpr int kNoDigit = -1;

int DigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'Z') {
        return c - 'A' + 10;
    }
    return kNoDigit;
}

bool IsHexDigit(char c) {
    const int value = DigitValue(c);
    return value >= 0 && value < 16;
}

}  // namespace

std::optional<std::string> CollectMacDigits(std::string_view text) {
    std::string digits;
    std::size_t pairs = 0;
    bool half = false;  // the current pair lacks its second digit
    for (const char c : text) {
        if (DigitValue(c) == kNoDigit) {
            half = false;
            continue;
        }
        if (!half && ++pairs > kPairs) {
            return std::nullopt;
        }
        digits += c;
        half = !half;
    }
    return digits;
}

std::int32_t HexTextToNumber(std::string_view text) {
    if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
    }
    std::uint32_t number = 0;
    for (const char c : text) {
        const int value = DigitValue(c);
        if (value == kNoDigit) {
            break;
        }
        number = number * 16 + static_cast<std::uint32_t>(value);
    }
    return static_cast<std::int32_t>(number);
}

bool AreMacDigits(std::string_view digits) {
    return digits.size() == kMacDigits && std::all_of(digits.begin(), digits.end(), IsHexDigit);
}

bool IsMacText(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i % 3 == 2 ? DigitValue(text[i]) != kNoDigit : !IsHexDigit(text[i])) {
            return false;
        }
    }
    return text.size() == kMacTextLength;
}

MacAddress MacFromDigits(std::string_view digits) {
    const std::size_t lower = digits.size() > kHalfDigits ? digits.size() - kHalfDigits : 0;
    return {HexTextToNumber(digits.substr(0, kHalfDigits)), HexTextToNumber(digits.substr(lower))};
}

bool operator==(const MacAddress& a, const MacAddress& b) {
    return a.upper == b.upper && a.lower == b.lower;
}

bool IsMacRange(const MacAddress& start, const MacAddress& end) {
    for (const std::int32_t half : {start.upper, start.lower, end.upper, end.lower}) {
        if (half > kMacHalfMax) {
            return false;
        }
    }
    return end.upper > start.upper || (end.upper == start.upper && end.lower >= start.lower);
}

std::optional<std::string> NextMacDigits(const MacAddress& start, const MacAddress& end) {
    MacAddress next{};
    if (start.upper < end.upper && start.lower == kMacHalfMax) {
        next = {start.upper + 1, 0};
    } else if (start.upper < end.upper || (start.upper == end.upper && start.lower < end.lower)) {
        next = {start.upper, start.lower + 1};
    } else {
        return std::nullopt;
    }
    std::array<char, 2 * sizeof "FFFFFFFF"> digits{};
    std::snprintf(digits.data(), digits.size(), "%06X%06X", static_cast<std::uint32_t>(next.upper),
                  static_cast<std::uint32_t>(next.lower));
    return std::string(digits.data());
}

std::string MacRangeLine(const std::string& startDigits, const std::string& endDigits) {
    std::string line;
    const auto append = [&line](const std::string& digits) {
        for (std::size_t i = 0; i < digits.size(); ++i) {
            if (i != 0 && i % 2 == 0) {
                line += '-';
            }
            line += digits[i];
        }
    };
    append(startDigits);
    line += "--";
    append(endDigits);
    return line + "\r\n";
}

}  // namespace zel
