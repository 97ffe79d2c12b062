#include "port/Interrupt.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace zelline {
namespace {

int g_pipe[2] = {-1, -1};
volatile std::sig_atomic_t g_count = 0;

extern "C" void OnSignal(int number) {
    if (++g_count >= Interrupt::kTold) {
        std::signal(number, SIG_DFL);
    }
    const int reason = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(g_pipe[1], &byte, 1);
    errno = reason;
}

void Catch(int number, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(number, &action, nullptr);
}

}  // namespace

Interrupt::Interrupt() {
    if (::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        Catch(SIGINT, OnSignal);
        Catch(SIGTERM, OnSignal);
        struct sigaction before {};
        sigaction(SIGHUP, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {  // nohup wants it to go on without its terminal
            Catch(SIGHUP, OnSignal);
        }
    }
    Catch(SIGPIPE, SIG_IGN);
}

Interrupt::~Interrupt() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        Catch(number, SIG_DFL);
    }
    for (int& end : g_pipe) {
        ::close(end);
        end = -1;
    }
}

int Interrupt::Descriptor() const {
    return g_pipe[0];
}

}  // namespace zelline
