// Platform contract: the process framework's debug and thread wrappers (C linkage).
#ifndef CSP_CSP_H
#define CSP_CSP_H

#include <pthread.h>

extern "C" {

// Prepares the framework's debug output for this process. Returns 0.
int cspDebugInit(void);

// pthread_attr_init under the framework's account of threads. Returns 0 or an error number.
int _cspOsalPOSIX_pthread_attr_init(pthread_attr_t* attributes);

// pthread_create under the framework's account of threads; `file` and `line` name the caller in its listings
// (`file` must stay valid). Returns 0 or an error number; 110 is the framework's "already reported".
int _cspOsalPOSIX_pthread_create_line(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                                      void* argument, const char* file, int line);
}

#endif
