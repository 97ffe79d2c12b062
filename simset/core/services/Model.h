// The model tree at work: connections of the applications, values, actions, tables.
#ifndef SIMSET_SERVICES_MODEL_H
#define SIMSET_SERVICES_MODEL_H

#include <chrono>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simset/core/catalogue/Catalogue.h"
#include "simset/core/catalogue/KeyRules.h"
#include "simset/core/rules/Finish.h"
#include "simset/core/state/Shared.h"

namespace simset {

// Not thread-safe; see Shared. Requests with members that are missing or of another type throw
// nlohmann::json::exception, writes that cannot be kept throw StateError; nothing has changed then.
class Model {
  public:
    Model(Shared& shared, FinishRules& finish);

    // Values that are not kept go back to what they are at power-on; connections are gone.
    void PowerOn();

    // The client libraries' requests. "client" names the process, "conn" and "iterator" are its own numbers.
    Reply Proxy(const Request& request);
    Reply Interface(const Request& request);
    Reply Root(const Request& request);
    Reply Connect(const Request& request);
    Reply Disconnect(const Request& request);
    Reply Release(const Request& request);
    Reply SetValue(const Request& request);
    Reply GetValue(const Request& request);
    Reply Invoke(const Request& request);
    Reply OpenIterator(const Request& request);
    Reply Count(const Request& request);
    Reply Rows(const Request& request);
    Reply CloseIterator(const Request& request);

    // Forgets what a process that is gone had connected.
    void Drop(const std::string& client);

    // The events that can be sent by hand, by the kind of what they reach: a key's observers, an iterator's.
    static const std::map<std::string, bool>& Events();

    // Sends event `name` of Events with `number` to every observer of `info`, or of the iterators on it. Returns
    // how many were told.
    int Tell(const KeyInfo& info, const std::string& name, std::int32_t number);

    // The service dies: connections, interface references and iterators are gone, and nobody is to blame.
    void Die();

    // The application has ended by itself with exit status `status`: judges what it left open.
    void Ended(int status);

    // The value of a key of the catalogue; of an action what it was last invoked with.
    const nlohmann::json& Value(const std::string& key) const { return m_values.at(key); }

    // Gives a key of the catalogue a value that Fits it, as the television itself would: observers are told, and
    // what a search or set-up comes to find is this value from now on.
    void Assign(const KeyInfo& info, const nlohmann::json& value);

  private:
    using ConnectionId = std::pair<std::string, std::int64_t>;  // client, its number

    static constexpr char kWho[] = "model";  // in the trace
    static constexpr int kBluetoothOn = 0;   // of the radio's status

    // Where something that an application has to give back came from.
    struct Origin {
        bool mainThread;
        std::chrono::milliseconds touched;
    };

    struct Connection {
        const KeyInfo* info;
        bool observed;
        std::int64_t interface;  // number of the interface reference; 0: one that is not followed
        Origin origin;
        std::optional<std::chrono::milliseconds> operated;  // when the last operation succeeded
    };

    // An interface reference that was handed out.
    struct Session {
        Origin origin;
        bool failed = false;  // something failed in it: its connections are dropped with it
    };

    // What a process that is gone had not given back.
    struct Leftover {
        nlohmann::json row;
        std::string rule;
        std::string expected;
        Origin origin;
    };

    struct Iterator {
        ConnectionId connection;
        std::string key;
        nlohmann::json selection;
        std::size_t position;
    };

    // The number that `request` has as `number`, with its client.
    static ConnectionId IdOf(const Request& request, const char* number);
    Origin OriginOf(const Request& request) const;
    // Every operation on a connection ends here, with its status.
    void Done(const ConnectionId& id, Connection& connection, std::int32_t status);
    void Refuse(const KeyInfo& info, const char* call, const Refusal& refusal, nlohmann::json details) const;
    std::optional<Refusal> JudgeNeed(const KeyInfo& info) const;
    void JudgeFinishLater();
    std::vector<Leftover> Open(const std::string& client) const;
    void Judge(const Leftover& leftover, int status) const;
    bool Notify(const ConnectionId& target, nlohmann::json event);
    void TraceEvent(const ConnectionId& target, const nlohmann::json& event) const;
    void NotifyObservers(const KeyInfo& info);
    void Store(const KeyInfo& info, nlohmann::json value);
    void Find(const char* key);
    void ReportResult(const ConnectionId& connection, const std::string& text);
    void Perform(const ConnectionId& connection, const KeyInfo& info, const Request& request);
    void InstallCredential(const ConnectionId& connection, const Request& request);
    void CheckCredential(const ConnectionId& connection, const Request& request);
    void SearchAccessPoints(bool on);
    void SearchDevices();
    nlohmann::json SelectedRows(const Iterator& iterator) const;

    Shared& m_shared;
    FinishRules& m_finish;
    std::map<std::string, nlohmann::json> m_values;
    std::map<std::string, nlohmann::json> m_found;
    std::map<ConnectionId, Connection> m_connections;
    std::map<ConnectionId, Session> m_sessions;
    std::map<ConnectionId, Iterator> m_iterators;
    std::vector<Leftover> m_leftovers;
    std::uint64_t m_accessPointSearch = 0;  // number of the search under way, or of the last one
    std::uint64_t m_deviceSearch = 0;
    bool m_accessPointsSearching = false;
    bool m_presetAsked = false;
    bool m_presetLoaded = false;
    bool m_radioAsked = false;  // the last of enable and disable was enable
};

}  // namespace simset

#endif
