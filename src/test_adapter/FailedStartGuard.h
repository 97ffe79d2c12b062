// Keeps a failed start of DirectFB reportable.
#ifndef ZELFAC_TEST_ADAPTER_FAILEDSTARTGUARD_H
#define ZELFAC_TEST_ADAPTER_FAILEDSTARTGUARD_H

#include <csignal>

// DirectFB 1.7 frees its core when DirectFBCreate fails, while its dispatch thread still works on it: the process
// dies of SIGSEGV before it can say that there is no display. While this object lives, a thread other than the one
// that made it stops where it faults instead. To be made before DirectFBInit, which keeps the handler that it
// finds; only for the time of the start, on the main thread.
class FailedStartGuard {
  public:
    FailedStartGuard();
    ~FailedStartGuard();
    FailedStartGuard(const FailedStartGuard&) = delete;
    FailedStartGuard& operator=(const FailedStartGuard&) = delete;
};

#endif
