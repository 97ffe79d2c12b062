// Keeps a failed start of the PC's DirectFB reportable. Version 1.7.7 frees its core when DirectFBCreate fails,
// while its dispatch thread still works on it: the process dies of SIGSEGV before it can say that there is no
// display. From DirectFBInit, which keeps the handler that it finds, to a DirectFBCreate that succeeded, a thread
// of DirectFB's stops where it faults instead. Every other fault goes to whom it went before. A television's
// DirectFB needs none of this, so it lives here and not in the application.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "simset/board/preload/Next.h"

namespace {

volatile sig_atomic_t s_starting = 0;
pthread_t s_startingThread;
struct sigaction s_before;
// In the memory that a thread has from its start on: a handler may not allocate.
__thread __attribute__((tls_model("initial-exec"))) bool s_ofDirectFb = false;

void StopFaultingThread(int number, siginfo_t* info, void*) {
    if (s_starting != 0 && s_ofDirectFb) {
        for (;;) {
            pause();
        }
    }
    // A fault comes again when this returns; a signal that somebody sent has to be sent again.
    sigaction(SIGSEGV, &s_before, nullptr);
    if (info->si_code <= 0) {
        raise(number);
    }
}

}  // namespace

extern "C" {

// Each of DirectFB's threads begins with this call, which blocks faults too, and a blocked fault ends the process
// without asking a handler.
__attribute__((visibility("default"))) void direct_signals_block_all() {
    s_ofDirectFb = pthread_equal(pthread_self(), s_startingThread) == 0;
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
    action.sa_sigaction = StopFaultingThread;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigaction(SIGSEGV, &action, &s_before);
    return next(argc, argv);
}

__attribute__((visibility("default"))) int DirectFBCreate(void** interface) {
    static const auto next = simset::preload::Next<int (*)(void**)>("DirectFBCreate");
    const int result = next(interface);
    if (result == 0) {
        s_starting = 0;
        sigaction(SIGSEGV, &s_before, nullptr);
    }
    return result;
}

}  // extern "C"
