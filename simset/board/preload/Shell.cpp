// Stands in the place of the set's shell: tells simset which command is to run, runs the real shell with the same
// arguments, tells how that ended and ends in the same way. Links to the C library alone, since it starts with
// every command.
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "simset/board/preload/Report.h"

namespace {

constexpr char kRealShell[] = "/simset/dash";
constexpr int kNotFound = 127;
constexpr int kSignalBase = 128;  // how a shell says that a signal ended a command

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

long Milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

// Runs the real shell. Returns what waitpid says of it.
int Run(char** arguments) {
    const pid_t shell = fork();
    if (shell == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // who ends this shell means the real one
        execv(kRealShell, arguments);
        perror(kRealShell);
        _exit(kNotFound);
    }
    int status = kNotFound << 8;
    while (shell > 0 && waitpid(shell, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

}  // namespace

int main(int count, char** arguments) {
    const char* const command = CommandOf(count, arguments);
    if (command == nullptr) {
        execv(kRealShell, arguments);
        perror(kRealShell);
        return kNotFound;
    }
    simset::preload::Line begin;
    begin.Raw(R"({"op":"trace","row":{"who":"shell","command":)");
    begin.Text(command);
    begin.Raw("}}");
    const int fault = simset::preload::Report(begin);
    const long start = Milliseconds();
    const int status = fault != 0 ? (fault & 0xFF) << 8 : Run(arguments);
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    simset::preload::Line end;
    end.Raw(R"({"op":"trace","row":{"who":"shell-end","tookMs":)");
    end.Number(Milliseconds() - start);
    end.Raw(R"(,"status":)");
    end.Number(signal != 0 ? kSignalBase + signal : WEXITSTATUS(status));
    end.Raw(R"(,"command":)");
    end.Text(command);
    end.Raw("}}");
    simset::preload::Report(end);
    if (signal != 0) {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);  // the one that is worth a dump has left it
        raise(signal);
    }
    return signal != 0 ? kSignalBase + signal : WEXITSTATUS(status);
}
