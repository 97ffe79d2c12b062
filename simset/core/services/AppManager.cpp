#include "simset/core/services/AppManager.h"

#include "simset/base/Status.h"

namespace simset {

using nlohmann::json;

namespace {

constexpr char kManager[] = "apm";

}  // namespace

std::vector<std::string> AppManager::Calls() {
    return {"rpc", "adapter", "registerApp", "notifyAppStatusInfo", "unRegisterApp"};
}

void AppManager::Judge(const char* call, const std::optional<Broken>& broken) const {
    if (broken && !m_order.IsExcused()) {
        m_shared.violate(broken->rule, call, broken->expected, json::object());
    }
}

void AppManager::Die() {
    m_order.Excuse();
    Drop("");
}

void AppManager::Ended() const {
    Judge("end", m_order.Ended());
}

Reply AppManager::SetRpcEnv(const Request&) {
    Judge("setRpcEnv", m_order.SetRpcEnv());
    return m_shared.Traced(kManager, {{"call", "setRpcEnv"}}, m_shared.faults.Take("apm", "rpc", "any"));
}

Reply AppManager::Adapter(const Request&) {
    Judge("getInstance", m_order.GetInstance());
    return m_shared.Traced(kManager, {{"call", "getInstance"}}, m_shared.faults.Take("apm", "adapter", "any"));
}

Reply AppManager::Register(const Request& request) {
    const auto client = request.at("client").get<std::string>();
    const auto application = request.at("appId").get<std::string>();
    std::int32_t status = m_shared.faults.Take("apm", "registerApp", "any");
    if (status == kOk && !m_shared.clients.Find(client)) {
        status = kUnreachable;
    }
    if (status == kOk) {
        m_applications[application] = client;
    }
    Judge("registerApp", m_order.Register(application, status));
    return m_shared.Traced(kManager, {{"call", "registerApp"}, {"appId", application}}, status);
}

Reply AppManager::NotifyStatus(const Request& request) {
    const auto application = request.at("appId").get<std::string>();
    Judge("notifyAppStatusInfo", m_order.Notify(application, request.at("value").get<std::int32_t>()));
    std::int32_t status = m_shared.faults.Take("apm", "notifyAppStatusInfo", "any");
    if (status == kOk && m_applications.count(application) == 0) {
        status = kNotConnected;
    }
    return m_shared.Traced(
        kManager, {{"call", "notifyAppStatusInfo"}, {"appId", application}, {"value", request.at("value")}},
        status);
}

Reply AppManager::Unregister(const Request& request) {
    const auto application = request.at("appId").get<std::string>();
    Judge("unRegisterApp", m_order.Unregister(application));
    std::int32_t status = m_shared.faults.Take("apm", "unRegisterApp", "any");
    if (status == kOk && m_applications.erase(application) == 0) {
        status = kNotConnected;
    }
    return m_shared.Traced(kManager, {{"call", "unRegisterApp"}, {"appId", application}}, status);
}

Reply AppManager::Delivered(const Request& request) {
    const auto delivery = request.at("delivery").get<std::uint64_t>();
    const auto result = request.at("result").get<std::int32_t>();
    const auto found = m_waiting.find(delivery);
    if (found == m_waiting.end()) {
        return {{"status", kNotConnected}};
    }
    const json row = found->second.second;
    if (row.at("call") == "requestStop") {
        Judge("requestStop", m_order.Stopped());
    }
    m_shared.Traced(kManager, row, result);
    m_waiting.erase(found);
    m_done[delivery] = true;
    m_delivered.notify_all();
    return {{"status", kOk}};
}

void AppManager::Drop(const std::string& client) {
    for (auto entry = m_applications.begin(); entry != m_applications.end();) {
        entry = client.empty() || entry->second == client ? m_applications.erase(entry) : std::next(entry);
    }
    for (auto entry = m_waiting.begin(); entry != m_waiting.end();) {
        if (client.empty() || entry->second.first == client) {
            m_done[entry->first] = false;
            entry = m_waiting.erase(entry);
        } else {
            ++entry;
        }
    }
    m_delivered.notify_all();
}

std::uint64_t AppManager::Press(std::int32_t code, std::int32_t type) {
    json row{{"call", "onKeyEvent"}, {"value", code}};
    if (type != 0) {
        row["type"] = type;
    }
    return Send({{"event", "key"}, {"code", code}, {"type", type}}, row);
}

const std::map<std::string, std::size_t>& AppManager::Requests() {
    static const std::map<std::string, std::size_t> kRequests = {
        {"requestStart", 1},
        {"requestStop", 1},
        {"requestPause", 1},
        {"requestResume", 1},
        {"requestSuspend", 1},
        {"requestWakeup", 1},
        {"requestForeground", 1},
        {"requestBackground", 1},
        {"requestShow", 1},
        {"requestHide", 1},
        {"requestReload", 1},
        {"requestLanguageChange", 1},
        {"requestCountryChange", 1},
        {"requestDisplayChange", 1},
        {"requestUserData", 2},
        {"requestMessage", 2},
        {"getAppId", 0},
        {"requestFocus", 1},
        {"requestUnfocus", 1},
        {"requestStatus", 1},
    };
    return kRequests;
}

std::uint64_t AppManager::Ask(const std::string& request, const std::vector<std::string>& texts) {
    if (request == "requestStop") {
        m_order.AskToStop();
    }
    return Send({{"event", "request"}, {"request", request}, {"texts", texts}},
                {{"call", request}, {"texts", texts}});
}

std::uint64_t AppManager::Send(json event, const json& row) {
    for (const auto& [application, client] : m_applications) {
        const auto queue = m_shared.clients.Find(client);
        event["appId"] = application;
        event["delivery"] = m_lastDelivery + 1;
        if (queue && queue->Push(event)) {
            m_waiting[++m_lastDelivery] = {client, row};
            return m_lastDelivery;
        }
    }
    return 0;
}

bool AppManager::Wait(std::unique_lock<std::mutex>& lock, std::uint64_t number, std::chrono::milliseconds limit) {
    m_delivered.wait_for(lock, limit, [this, number] { return m_done.count(number) != 0; });
    const auto found = m_done.find(number);
    const bool taken = found != m_done.end() && found->second;
    if (found != m_done.end()) {
        m_done.erase(found);
    }
    m_waiting.erase(number);
    return taken;
}

}  // namespace simset
