#include "os/Process.h"

#include <unistd.h>

namespace zel {

int ProcessId() {
    return getpid();
}

void EndProcess(int status) {
    _exit(status);
}

}  // namespace zel
