// Threads of the serial link and its workers, and the process itself.
#ifndef ZELFAC_OS_THREAD_H
#define ZELFAC_OS_THREAD_H

#include <pthread.h>

namespace zel {

using ThreadEntry = void* (*)(void*);

// Starts a thread with a stack of 1 MiB through the platform's thread wrappers. `line` is the caller's source
// line. Returns 0 with the handle in `thread`, or an error number with `thread` untouched.
int StartThread(pthread_t& thread, ThreadEntry entry, void* argument, int line);

// pthread_join without the result; EDEADLK when a thread joins itself.
int JoinThread(pthread_t thread);

// Lets the calling thread's resources go when it ends: for threads that nobody joins.
void DetachThisThread();

// Names the calling thread (at most 15 characters are kept by the kernel).
void NameThread(const char* name);

// The process's number. Any thread.
int ProcessId();

// Ends the process at once, from any thread, with exit status `status`, with no object destroyed and nothing
// flushed: other threads may be at work on everything until the end.
[[noreturn]] void EndProcess(int status);

}  // namespace zel

#endif
