// The set's application manager, as far as an application sees it through its client library.
#ifndef SIMSET_SERVICES_APPMANAGER_H
#define SIMSET_SERVICES_APPMANAGER_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "simset/core/rules/CallOrder.h"
#include "simset/core/state/Shared.h"

namespace simset {

// Not thread-safe but for Wait; see Shared.
class AppManager {
  public:
    explicit AppManager(Shared& shared) : m_shared(shared) {}

    void PowerOn() { m_order = {}; }
    // The manager dies: registrations are gone, and no later call is judged by them.
    void Die();
    // The application has ended by itself.
    void Ended() const;

    // The calls whose answers can be made to fail: "rpc", "adapter", "registerApp", "notifyAppStatusInfo",
    // "unRegisterApp".
    static std::vector<std::string> Calls();

    // setRpcEnv, getInstance and, with "client" and "appId", the adapter's operations.
    Reply SetRpcEnv(const Request& request);
    Reply Adapter(const Request& request);
    Reply Register(const Request& request);
    Reply NotifyStatus(const Request& request);
    Reply Unregister(const Request& request);

    // The application has returned from event "delivery" with "result".
    Reply Delivered(const Request& request);

    // Forgets what a process that is gone had registered; "" forgets everything.
    void Drop(const std::string& client);

    // Sends key `code` to the registered application; `type` 0: pressed. Returns the number of the delivery to
    // wait for, or 0 when no application is registered.
    std::uint64_t Press(std::int32_t code, std::int32_t type);

    // The requests that the manager can make of an application, by the number of texts that go with them.
    static const std::map<std::string, std::size_t>& Requests();

    // Makes `request` of the registered application, with the texts that go with it. Returns as Press does.
    std::uint64_t Ask(const std::string& request, const std::vector<std::string>& texts);

    // Waits until delivery `number` has been taken, at most `limit`. False when it was not, or when the
    // application went away. `lock` is the middleware's.
    bool Wait(std::unique_lock<std::mutex>& lock, std::uint64_t number, std::chrono::milliseconds limit);

  private:
    std::uint64_t Send(nlohmann::json event, const nlohmann::json& row);
    void Judge(const char* call, const std::optional<Broken>& broken) const;

    Shared& m_shared;
    ManagerOrder m_order;
    std::map<std::string, std::string> m_applications;                          // identity to client
    std::map<std::uint64_t, std::pair<std::string, nlohmann::json>> m_waiting;  // delivery to client and row
    std::map<std::uint64_t, bool> m_done;                                       // delivery to whether it was taken
    std::uint64_t m_lastDelivery = 0;
    std::condition_variable m_delivered;
};

}  // namespace simset

#endif
