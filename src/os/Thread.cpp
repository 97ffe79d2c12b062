#include "os/Thread.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cstddef>

#include "csp/Csp.h"

namespace zel {
namespace {

constexpr std::size_t kStackSize = 0x100000;

}  // namespace

int StartThread(pthread_t& thread, ThreadEntry entry, void* argument, int line) {
    pthread_attr_t attributes;
    int result = _cspOsalPOSIX_pthread_attr_init(&attributes);
    if (result != 0) {
        return result;
    }
    pthread_attr_setstacksize(&attributes, kStackSize);
    pthread_t created;
    result = _cspOsalPOSIX_pthread_create_line(&created, &attributes, entry, argument, "./src/UartManager", line);
    pthread_attr_destroy(&attributes);
    if (result == 0) {
        thread = created;
    }
    return result;
}

int JoinThread(pthread_t thread) {
    return pthread_join(thread, nullptr);
}

void DetachThisThread() {
    pthread_detach(pthread_self());
}

void NameThread(const char* name) {
    prctl(PR_SET_NAME, name);
}

int ProcessId() {
    return getpid();
}

void EndProcess(int status) {
    _exit(status);
}

}  // namespace zel
