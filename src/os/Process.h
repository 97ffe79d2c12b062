// The process itself. Callable from any thread.
#ifndef ZELFAC_OS_PROCESS_H
#define ZELFAC_OS_PROCESS_H

namespace zel {

// The process's number.
int ProcessId();

// Ends the process at once with exit status `status`, with no object destroyed and nothing flushed: other threads
// may be at work on everything until the end.
[[noreturn]] void EndProcess(int status);

}  // namespace zel

#endif
