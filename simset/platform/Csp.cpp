#include "csp/Csp.h"

#include "simset/platform/Client.h"

int cspDebugInit(void) {
    // Without a middleware there is nowhere to show it, which is no failure.
    simset::Ask({{"op", "trace"}, {"row", {{"who", "csp"}, {"call", "cspDebugInit"}, {"status", 0}}}});
    return 0;
}

int _cspOsalPOSIX_pthread_attr_init(pthread_attr_t* attributes) {
    return ::pthread_attr_init(attributes);
}

int _cspOsalPOSIX_pthread_create_line(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                      void* argument, const char* file, int line) {
    (void)file;
    (void)line;
    return ::pthread_create(thread, attributes, entry, argument);
}
