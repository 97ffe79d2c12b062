#include "test_adapter/FailedStartGuard.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <initializer_list>

namespace {

std::atomic<bool> s_starting{false};
pthread_t s_mainThread;

void StopFaultingThread(int) {
    if (s_starting && pthread_equal(pthread_self(), s_mainThread) == 0) {
        for (;;) {
            pause();
        }
    }
    // Somebody else's fault: it comes again when this returns, and then ends the process.
    std::signal(SIGSEGV, SIG_DFL);
}

}  // namespace

// Takes the place of the function of this name in DirectFB's base library, with which each of its threads begins:
// that one blocks faults too, and a blocked fault ends the process without asking a handler.
extern "C" void direct_signals_block_all() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
        sigdelset(&signals, fault);
    }
    // Set, not added: the main thread, whose mask they inherit, has them blocked as well.
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
}

FailedStartGuard::FailedStartGuard() {
    s_mainThread = pthread_self();
    s_starting = true;
    struct sigaction action {};
    action.sa_handler = StopFaultingThread;
    sigaction(SIGSEGV, &action, nullptr);
}

FailedStartGuard::~FailedStartGuard() {
    s_starting = false;
}
