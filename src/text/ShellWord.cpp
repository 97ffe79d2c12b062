#include "text/ShellWord.h"

namespace zel {
namespace {

// Characters that the shell takes as they are in every place of a word. "~" and "#" mean something at its
// beginning, "=" in front of a command's name; none of the commands here puts a word in those places, but
// quoting costs nothing.
bool IsOrdinary(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' || c == '.' ||
           c == '_' || c == '-' || c == '+' || c == ':' || c == ',' || c == '@' || c == '%';
}

}  // namespace

std::string ShellWord(const std::string& text) {
    bool ordinary = !text.empty();
    for (const char c : text) {
        ordinary = ordinary && IsOrdinary(c);
    }
    if (ordinary) {
        return text;
    }
    std::string word = "'";
    for (const char c : text) {
        if (c == '\'') {
            word += "'\\''";
        } else {
            word += c;
        }
    }
    return word + "'";
}

}  // namespace zel
