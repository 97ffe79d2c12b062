// The set's application manager, as far as an application sees it through its client library.
#ifndef SIMSET_SERVICES_APPMANAGER_H
#define SIMSET_SERVICES_APPMANAGER_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simset/core/state/Shared.h"

namespace simset {

// Not thread-safe but for Wait; see Shared.
class AppManager {
  public:
    explicit AppManager(Shared& shared) : m_shared(shared) {}

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

    // Sends key `code` to the registered application. Returns the number of the delivery to wait for, or 0 when no
    // application is registered.
    std::uint64_t Press(std::int32_t code);

    // Waits until delivery `number` has been taken, at most `limit`. False when it was not, or when the
    // application went away. `lock` is the middleware's.
    bool Wait(std::unique_lock<std::mutex>& lock, std::uint64_t number, std::chrono::milliseconds limit);

  private:
    Shared& m_shared;
    std::map<std::string, std::string> m_applications;               // identity to client
    std::map<std::uint64_t, std::pair<std::string, int>> m_waiting;  // delivery to client and key code
    std::map<std::uint64_t, bool> m_done;                            // delivery to whether it was taken
    std::uint64_t m_lastDelivery = 0;
    std::condition_variable m_delivered;
};

}  // namespace simset

#endif
