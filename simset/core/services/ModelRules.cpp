// What the model tree holds an application to over time: its connections and interface references, and what has to
// come before what.
#include "simset/base/Status.h"
#include "simset/core/services/Model.h"

namespace simset {

namespace {

using nlohmann::json;

// Longer than any operation waits. What nobody has used for so long at the application's end was forgotten, and
// was not under way in another thread.
constexpr std::chrono::seconds kForgottenAfter{30};
// What the application gets to make the partitions read-only after the confirmation, on a slow machine as well.
constexpr std::chrono::seconds kFinishLimit{30};

}  // namespace

void Model::Ended(int status) {
    for (const auto& leftover : m_leftovers) {
        Judge(leftover, status);
    }
    for (const auto& leftover : Open("")) {
        Judge(leftover, status);
    }
    m_leftovers.clear();
    m_connections.clear();
    m_sessions.clear();
    if (const auto broken = m_finish.JudgeFinish()) {
        m_shared.violate(broken->rule, "end", broken->expected, json::object());
    }
}

// What `client`, or any when it is empty, has not given back.
std::vector<Model::Leftover> Model::Open(const std::string& client) const {
    std::vector<Leftover> open;
    for (const auto& [id, connection] : m_connections) {
        if (client.empty() || id.first == client) {
            open.push_back({{{"key", connection.info->key}},
                            "connect-without-disconnect",
                            "disconnect before the application ends",
                            connection.origin});
        }
    }
    for (const auto& [id, session] : m_sessions) {
        if (client.empty() || id.first == client) {
            open.push_back({json::object(), "interface-not-released",
                            "the interface reference released before the application ends", session.origin});
        }
    }
    return open;
}

// Whoever ends the process may do so while another thread is in the middle of an operation. What the main thread
// left open when it ended well itself, or what was not used for long, was forgotten.
void Model::Judge(const Leftover& leftover, int status) const {
    if ((status == 0 && leftover.origin.mainThread) ||
        m_shared.now() - leftover.origin.touched >= kForgottenAfter) {
        m_shared.violate(leftover.rule, "end", leftover.expected, leftover.row);
    }
}

Model::Origin Model::OriginOf(const Request& request) const {
    return {request.value("main", false), m_shared.now()};
}

void Model::Done(const ConnectionId& id, Connection& connection, std::int32_t status) {
    connection.origin.touched = m_shared.now();
    if (status == kOk) {
        connection.operated = m_shared.now();
    }
    const auto session = m_sessions.find({id.first, connection.interface});
    if (session != m_sessions.end()) {
        session->second.failed = session->second.failed || status != kOk;
        session->second.origin.touched = m_shared.now();
    }
}

void Model::Refuse(const KeyInfo& info, const char* call, const Refusal& refusal, json details) const {
    if (!refusal.blamed) {
        return;
    }
    details["key"] = info.key;
    m_shared.violate(refusal.rule, call, refusal.expected, std::move(details));
}

std::optional<Refusal> Model::JudgeNeed(const KeyInfo& info) const {
    // An earlier call that failed as asked may be why something did not happen.
    const bool blamed = !m_shared.faults.WasTaken("model");
    switch (RuleOf(info).need) {
        case Need::Preset:
            if (!m_presetAsked) {
                return Refusal{kRefused, "table-before-preset", "the preset loaded before its tables are read",
                               blamed};
            }
            break;
        case Need::Radio:
            if (m_values.at(key::kBluetoothStatus) != kBluetoothOn) {
                return Refusal{kRefused, "search-with-radio-off", "the radio enabled before the search",
                               blamed && !m_radioAsked};
            }
            break;
        case Need::Finish:
            if (const auto broken = m_finish.JudgeInvoke()) {
                return Refusal{kRefused, broken->rule, broken->expected, true};
            }
            break;
        case Need::Nothing:
            break;
    }
    return std::nullopt;
}

void Model::JudgeFinishLater() {
    m_shared.later(kFinishLimit, [this] {
        if (const auto broken = m_finish.JudgeFinish()) {
            m_shared.violate(broken->rule, "finish", broken->expected, json::object());
        }
    });
}

}  // namespace simset
