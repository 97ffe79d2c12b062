#include "port/Interrupt.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

namespace zelline {
namespace {

int g_pipe[2] = {-1, -1};

extern "C" void OnSignal(int) {
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(g_pipe[1], &byte, 1);
}

void Catch(int number, void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(number, &action, nullptr);
}

}  // namespace

Interrupt::Interrupt() {
    if (::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        Catch(SIGINT, OnSignal, static_cast<int>(SA_RESETHAND));
        Catch(SIGTERM, OnSignal, static_cast<int>(SA_RESETHAND));
    }
    Catch(SIGPIPE, SIG_IGN, 0);
}

Interrupt::~Interrupt() {
    Catch(SIGINT, SIG_DFL, 0);
    Catch(SIGTERM, SIG_DFL, 0);
    for (int& end : g_pipe) {
        ::close(end);
        end = -1;
    }
}

int Interrupt::Descriptor() const {
    return g_pipe[0];
}

}  // namespace zelline
