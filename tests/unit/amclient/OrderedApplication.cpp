#include "amclient/OrderedApplication.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "amclient/AmClientState.h"

namespace amclient {

namespace {

std::atomic<bool> s_hears{true};

const char* Shown(const char* text) {
    return text == nullptr ? "NULL" : text;
}

void PrintCall(const char* callback, const char* acknowledgement, const char* value, const char* name) {
    std::printf("%s %s %s %s\n", callback, Shown(acknowledgement), Shown(value), Shown(name));
}

void OnPause(const char* acknowledgement, const char* value, const char* name) {
    PrintCall("pause", acknowledgement, value, name);
}

void OnCommand(const char* acknowledgement, const char* value, const char* name) {
    PrintCall("command", acknowledgement, value, name);
    s_hears = true;
}

void OnStop(const char*, const char*, const char*) {
    std::printf("stopping");
    const int first = AmClientShutdown();
    const int second = AmClientShutdown();
    AmClientDrain();
    _exit(first * 10 + second);
}

// Carries out one order; true when the application is to end with `status`.
bool Obey(const std::string& order, int& status) {
    const std::string verb = order.substr(0, order.find(' '));
    const std::string rest = verb.size() < order.size() ? order.substr(verb.size() + 1) : "";
    if (verb == "exit") {
        status = std::stoi(rest);
        return true;
    }
    if (verb == "say") {
        std::printf("%s\n", rest.c_str());
    } else if (verb == "complain") {
        std::fprintf(stderr, "%s\n", rest.c_str());
    } else if (verb == "print") {
        PrintLines(std::stoi(rest));
        std::fputs("printed\n", stderr);
    } else if (verb == "report") {
        AmClientDrain();
        AmClientSend(nullptr, rest.c_str());
    } else if (verb == "deaf") {
        s_hears = false;
        std::puts("deaf");
        while (!s_hears) {
            poll(nullptr, 0, 1);
        }
    } else if (verb == "shutdown") {
        const int first = AmClientShutdown();
        status = first * 10 + AmClientShutdown() + AmClientSend("x", "y") * 100;
        return true;
    }
    return false;
}

}  // namespace

void PrintLines(int count) {
    for (int i = 0; i < count; ++i) {
        std::printf("this is line %d of the application's output\n", i);
    }
}

void FillRecord() {
    g_am_client.pause = OnPause;
    g_am_client.stop = OnStop;
    g_am_client.command = OnCommand;
    std::strcpy(g_am_client.name, "hello");
    g_am_client.logRelay = 1;
}

int RunOrders() {
    std::array<char, 4096> line{};
    int status = 99;
    while (std::fgets(line.data(), line.size(), stdin) != nullptr) {
        std::string order = line.data();
        order.pop_back();
        const std::string console = ":cli:";
        if (order.compare(0, console.size(), console) != 0) {
            std::printf("odd input %s\n", order.c_str());
        } else if (Obey(order.substr(console.size()), status)) {
            return status;
        }
    }
    return status;
}

int RunApplication() {
    FillRecord();
    return AmClientInit(&g_am_client) == 0 ? RunOrders() : 98;
}

}  // namespace amclient
