// Text from outside on its way into a shell command.
#ifndef ZELFAC_TEXT_SHELLWORD_H
#define ZELFAC_TEXT_SHELLWORD_H

#include <string>

namespace zel {

// `text` as one word of a shell command: unchanged when it is an ordinary word (letters, digits and the
// characters that mean nothing to the shell), otherwise in single quotes. The shell never interprets it.
// Any thread.
std::string ShellWord(const std::string& text);

}  // namespace zel

#endif
