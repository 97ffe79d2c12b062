#include "port/Interrupt.h"

#include <csignal>
#include <initializer_list>

namespace zelline {
namespace {

const Stop* g_stop = nullptr;
volatile std::sig_atomic_t g_count = 0;

extern "C" void OnSignal(int number) {
    if (++g_count >= Interrupt::kTold) {
        std::signal(number, SIG_DFL);
    }
    g_stop->Raise();
}

void Catch(int number, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(number, &action, nullptr);
}

}  // namespace

Interrupt::Interrupt(const Stop& stop) {
    g_stop = &stop;
    Catch(SIGINT, OnSignal);
    Catch(SIGTERM, OnSignal);
    struct sigaction before {};
    sigaction(SIGHUP, nullptr, &before);
    if (before.sa_handler != SIG_IGN) {  // nohup wants it to go on without its terminal
        Catch(SIGHUP, OnSignal);
    }
    Catch(SIGPIPE, SIG_IGN);
}

Interrupt::~Interrupt() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        Catch(number, SIG_DFL);
    }
}

}  // namespace zelline
