// Shell commands. Each operation blocks until the command has ended; callable from any thread. What one thread
// reads from does not reach the shells that others start.
#ifndef ZELFAC_OS_SHELL_H
#define ZELFAC_OS_SHELL_H

#include <sys/wait.h>

#include <string>

namespace zel {

// Runs `command` with popen(command, "r") and pclose, its output unread. Returns false only when the shell could
// not be started; how the command ended is not seen.
bool RunUnread(const std::string& command);

// Runs `command` with system(). Returns its status, -1 when no process could be made.
int RunSystem(const std::string& command);

// Whether a status of RunSystem says that the shell ran and exited normally with 0.
inline bool ExitedWithSuccess(int status) {
    return status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Runs `command` with popen and returns everything that it prints on standard output; empty when it could not
// be started.
std::string ReadOutput(const std::string& command);

}  // namespace zel

#endif
