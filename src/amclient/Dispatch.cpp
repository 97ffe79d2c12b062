#include <cstdio>
#include <cstring>

#include "amclient/AmClientState.h"

namespace {

constexpr std::size_t kNameCompared = 20;

bool IsNamed(const char* name, const char* wanted) {
    return std::strncmp(name, wanted, kNameCompared) == 0;
}

struct Lifecycle {
    const char* name;
    AmCallback t_am_client::*slot;
};

constexpr Lifecycle kLifecycle[] = {
    {"pause", &t_am_client::pause},
    {"resume", &t_am_client::resume},
    {"stop", &t_am_client::stop},
    {"shutdown", &t_am_client::shutdown},
    {"suspend", &t_am_client::suspend},
    {"wakeup", &t_am_client::wakeup},
    {"foregm", &t_am_client::foreground},
    {"backgm", &t_am_client::background},
    {"device_ui_chg", &t_am_client::deviceUiChange},
};

void SwitchLog(const char* value) {
    if (value == nullptr) {
        return;
    }
    if (std::strcmp(value, "on") == 0) {
        g_record->logRelay = 1;
    } else if (std::strcmp(value, "off") == 0) {
        g_record->logRelay = 0;
    }
}

}  // namespace

void AmClientDispatch(const char* name, const char* value, const char* acknowledgement) {
    for (const Lifecycle& row : kLifecycle) {
        if (name != nullptr && IsNamed(name, row.name)) {
            const AmCallback callback = g_record->*row.slot;
            if (callback != nullptr) {
                callback(acknowledgement, value, nullptr);
            }
            return;
        }
    }
    if (name != nullptr && IsNamed(name, "log")) {
        SwitchLog(value);
    } else if (name == nullptr || value == nullptr) {
        std::fputs("[AM_CLIENT] recvCmd invalid parameter\n", stderr);
    } else if (g_record->command != nullptr) {
        g_record->command(acknowledgement, value, name);
    }
}
