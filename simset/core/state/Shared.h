// What the parts of the middleware share.
#ifndef SIMSET_STATE_SHARED_H
#define SIMSET_STATE_SHARED_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "simset/base/Errors.h"
#include "simset/base/Status.h"
#include "simset/core/state/Behaviours.h"
#include "simset/core/state/Faults.h"
#include "simset/core/state/Notifications.h"
#include "simset/core/state/State.h"

namespace simset {

// Requests and replies are objects as they travel; a reply has at least "status".
using Request = nlohmann::json;
using Reply = nlohmann::json;

// The parts themselves are not thread-safe: the middleware calls them under its one lock, and so does Later's
// task.
struct Shared {
    State& state;
    Faults& faults;
    Behaviours& behaviours;
    Clients& clients;
    std::function<void(nlohmann::json row)> trace;
    // Runs `task` under the lock after `delay`, unless the power goes off before.
    std::function<void(std::chrono::milliseconds delay, std::function<void()> task)> later;
    std::function<void()> reboot;
    // Time that only grows, of the middleware's clock.
    std::function<std::chrono::milliseconds()> now;
    // `call` broke `rule` (words-with-dashes): writes the row with what was `expected`, in words, and the further
    // members of the object `details`.
    std::function<void(const std::string& rule, const std::string& call, const std::string& expected,
                       nlohmann::json details)>
        violate;

    // Appends `row` of part `who` with its status to the trace. Returns the reply with that status.
    Reply Traced(const char* who, nlohmann::json row, std::int32_t status) const {
        row["who"] = who;
        row["status"] = status;
        trace(std::move(row));
        return {{"status", status}};
    }

    // The same for a call that stores something: `store` returns the status. When it throws because the state
    // cannot be written, the row says so, and the exception goes on.
    template <typename Store>
    Reply Stored(const char* who, nlohmann::json row, const Store& store) const {
        std::int32_t status = kNotKept;
        try {
            status = store();
        } catch (const StateError&) {
            Traced(who, std::move(row), kNotKept);
            throw;
        }
        return Traced(who, std::move(row), status);
    }
};

}  // namespace simset

#endif
