// What the parts of the middleware share.
#ifndef SIMSET_CORE_SET_H
#define SIMSET_CORE_SET_H

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>

#include "simset/core/Behaviours.h"
#include "simset/core/Faults.h"
#include "simset/core/Notifications.h"
#include "simset/core/State.h"

namespace simset {

// The parts themselves are not thread-safe: the middleware calls them under its one lock, and so does Later's
// task.
struct Set {
    State& state;
    Faults& faults;
    Behaviours& behaviours;
    Clients& clients;
    std::function<void(nlohmann::json row)> trace;
    // Runs `task` under the lock after `delay`, unless the power goes off before.
    std::function<void(std::chrono::milliseconds delay, std::function<void()> task)> later;
    std::function<void()> reboot;
};

// Requests and replies are objects as they travel; a reply has at least "status".
using Request = nlohmann::json;
using Reply = nlohmann::json;

}  // namespace simset

#endif
