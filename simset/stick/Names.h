// Names on a stick: slips of the expected ones, quoting, printing.
#ifndef SIMSET_STICK_NAMES_H
#define SIMSET_STICK_NAMES_H

#include <string>

namespace simset::stick {

// Whether a folder's name looks like a slip of the expected one: other case or punctuation, a letter or two
// wrong, the end left out or something added.
bool IsNearlyFolder(const std::string& name, const std::string& expected);

// Whether a file's name, which does not contain the needle, looks as if it should.
bool IsNearlyFile(const std::string& name, const std::string& needle);

// Whether a set has to quote the name in its shell commands.
bool NeedsQuotes(const std::string& name);

// Whether the character is an ASCII letter or digit.
bool IsAlphanumeric(char c);

// The name with control characters and bytes beyond ASCII written as \xNN, for people and for JSON.
std::string Printable(const std::string& name);

}  // namespace simset::stick

#endif
