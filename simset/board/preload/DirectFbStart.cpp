// Keeps a failed start of the PC's DirectFB reportable. Version 1.7.7 frees its core when DirectFBCreate fails,
// while its dispatch thread still works on it: the process dies of SIGSEGV before it can say that there is no
// display. From DirectFBInit, which keeps the handler that it finds, to a DirectFBCreate that succeeded, a thread
// other than the starting one stops where it faults instead. A television's DirectFB needs none of this, so it
// lives here and not in the application.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "simset/board/preload/Next.h"

namespace {

volatile sig_atomic_t s_starting = 0;
pthread_t s_startingThread;

void StopFaultingThread(int) {
    if (s_starting != 0 && pthread_equal(pthread_self(), s_startingThread) == 0) {
        for (;;) {
            pause();
        }
    }
    // Somebody else's fault: it comes again when this returns, and then ends the process.
    signal(SIGSEGV, SIG_DFL);
}

}  // namespace

extern "C" {

// Each of DirectFB's threads begins with this call, which blocks faults too, and a blocked fault ends the process
// without asking a handler.
__attribute__((visibility("default"))) void direct_signals_block_all() {
    sigset_t signals;
    sigfillset(&signals);
    sigdelset(&signals, SIGSEGV);
    sigdelset(&signals, SIGBUS);
    sigdelset(&signals, SIGFPE);
    sigdelset(&signals, SIGILL);
    // Set, not added: the starting thread, whose mask they inherit, has them blocked as well.
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
}

__attribute__((visibility("default"))) int DirectFBInit(int* argc, char*** argv) {
    static const auto next = simset::preload::Next<int (*)(int*, char***)>("DirectFBInit");
    s_startingThread = pthread_self();
    s_starting = 1;
    struct sigaction action {};
    action.sa_handler = StopFaultingThread;
    sigaction(SIGSEGV, &action, nullptr);
    return next(argc, argv);
}

__attribute__((visibility("default"))) int DirectFBCreate(void** interface) {
    static const auto next = simset::preload::Next<int (*)(void**)>("DirectFBCreate");
    const int result = next(interface);
    if (result == 0) {
        s_starting = 0;
    }
    return result;
}

}  // extern "C"
