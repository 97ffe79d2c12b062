// Stands in the place of the set's shell: tells simset which command is to run, then becomes the real shell with
// the same arguments. Links to the C library alone, since it starts with every command.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "simset/board/preload/Report.h"

namespace {

constexpr char kRealShell[] = "/simset/dash";

// The command of `sh … -c … COMMAND`; null when the shell reads a script
const char* CommandOf(int count, char** arguments) {
    bool command = false;
    for (int i = 1; i < count; ++i) {
        const char* argument = arguments[i];
        if (strcmp(argument, "--") == 0) {
            continue;
        }
        if (argument[0] != '-' && argument[0] != '+') {
            return command ? argument : nullptr;
        }
        if (argument[0] == '-' && strchr(argument, 'c') != nullptr) {
            command = true;
        }
    }
    return nullptr;
}

}  // namespace

int main(int count, char** arguments) {
    if (const char* command = CommandOf(count, arguments)) {
        simset::preload::Line line;
        line.Raw(R"({"op":"trace","row":{"who":"shell","command":)");
        line.Text(command);
        line.Raw("}}");
        simset::preload::Report(line);
    }
    execv(kRealShell, arguments);
    perror(kRealShell);
    return 127;
}
