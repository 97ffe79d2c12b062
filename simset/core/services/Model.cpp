#include "simset/core/services/Model.h"

#include "simset/base/Errors.h"
#include "simset/base/Status.h"
#include "simset/core/services/KeyStore.h"
#include "simset/wire/Wire.h"

namespace simset {

namespace {

using nlohmann::json;

constexpr char kValueSection[] = "model";
constexpr char kFoundSection[] = "found";
constexpr int kPresetLoaded = 338;  // the message of a preset that has been loaded
constexpr int kAccessPointsOn = 1;
constexpr int kBluetoothOff = 1;
constexpr int kTableChanged = 1;
constexpr int kConnected = 1;
// What the asker gets to finish what it does.
constexpr std::chrono::milliseconds kRebootDelay{500};

json ParseKept(const std::string& text, json otherwise) {
    auto value = DecodeLine(text);
    return value ? std::move(*value) : std::move(otherwise);
}

std::string ArgumentAt(const json& arguments, std::size_t index) {
    return index < arguments.size() ? arguments.at(index).at(1).get<std::string>() : std::string();
}

// The argument at a position of the parameter list, whichever element of the list it is.
std::string Positional(const json& arguments, const std::string& position) {
    for (const auto& argument : arguments) {
        if (argument.at(0) == position) {
            return argument.at(1).get<std::string>();
        }
    }
    return {};
}

}  // namespace

Model::ConnectionId Model::IdOf(const Request& request, const char* number) {
    return {request.at("client").get<std::string>(), request.at(number).get<std::int64_t>()};
}

Model::Model(Shared& shared, FinishRules& finish) : m_shared(shared), m_finish(finish) {
    const auto found = m_shared.state.Load(kFoundSection);
    const auto values = m_shared.state.Load(kValueSection);
    for (const auto& info : Catalogue()) {
        const std::string name(info.key);
        m_values[name] = InitialValue(info);
        if (const auto kept = values.find(name); kept != values.end()) {
            m_values[name] = ParseKept(kept->second, m_values[name]);
        }
        if (!info.found.empty()) {
            m_found[name] = json::parse(info.found);
            if (const auto kept = found.find(name); kept != found.end()) {
                m_found[name] = ParseKept(kept->second, m_found[name]);
            }
        }
    }
}

void Model::PowerOn() {
    m_connections.clear();
    m_sessions.clear();
    m_iterators.clear();
    m_leftovers.clear();
    m_accessPointsSearching = false;
    m_presetAsked = false;
    m_presetLoaded = false;
    m_radioAsked = false;
    for (const auto& info : Catalogue()) {
        if (!info.kept) {
            m_values[std::string(info.key)] = InitialValue(info);
        }
    }
}

Reply Model::Proxy(const Request&) {
    return m_shared.Traced(kWho, {{"call", "proxy"}}, m_shared.faults.TakeAny("model", "proxy"));
}

Reply Model::Interface(const Request& request) {
    const auto name = request.at("name").get<std::string>();
    std::int32_t status = m_shared.faults.TakeAny("model", "interface");
    if (status == kOk && name != key::kRootInterface) {
        status = kUnknownInterface;
        m_shared.violate("unknown-interface", "interface", key::kRootInterface, {{"name", name}});
    }
    if (status == kOk && request.contains("interface")) {
        m_sessions[IdOf(request, "interface")] = Session{OriginOf(request)};
    }
    return m_shared.Traced(kWho, {{"call", "interface"}, {"name", name}}, status);
}

Reply Model::Root(const Request&) {
    return m_shared.Traced(kWho, {{"call", "root"}}, m_shared.faults.TakeAny("model", "root"));
}

Reply Model::Connect(const Request& request) {
    const auto id = IdOf(request, "conn");
    const auto name = request.at("key").get<std::string>();
    const auto kind = request.at("kind").get<std::string>();
    const auto observed = request.at("observed").get<bool>();
    const std::int64_t interface = request.value("interface", std::int64_t{0});
    std::int32_t status = m_shared.faults.Take("model", name, "connect");
    const KeyInfo* const info = FindKey(name);
    if (status == kOk) {
        if (info == nullptr) {
            status = kUnknownKey;
            m_shared.violate("unknown-key", "connect", "a key of the model", {{"key", name}});
        } else if (kind != KindName(info->kind)) {
            status = kWrongKind;
            m_shared.violate("wrong-kind", "connect", KindName(info->kind), {{"key", name}, {"kind", kind}});
        } else if (!m_shared.clients.Find(id.first)) {
            status = kUnreachable;
        } else {
            m_connections[id] = Connection{info, observed, interface, OriginOf(request), std::nullopt};
            if (observed) {
                Notify(id, {{"event", "state"}, {"state", kConnected}});
            }
        }
    }
    if (const auto session = m_sessions.find({id.first, interface}); session != m_sessions.end()) {
        session->second.failed = session->second.failed || status != kOk;
        session->second.origin.touched = m_shared.now();
    }
    return m_shared.Traced(kWho, {{"call", "connect"}, {"key", name}, {"kind", kind}}, status);
}

Reply Model::Disconnect(const Request& request) {
    const auto id = IdOf(request, "conn");
    const auto found = m_connections.find(id);
    if (found == m_connections.end()) {
        return m_shared.Traced(kWho, {{"call", "disconnect"}}, kNotConnected);
    }
    const std::string name(found->second.info->key);
    const auto settle = RuleOf(*found->second.info).settle;
    if (found->second.operated && m_shared.now() - *found->second.operated < settle) {
        m_shared.violate("settle-before-disconnect", "disconnect",
                         std::to_string(settle.count()) + " ms after the last operation",
                         {{"key", name}, {"after", (m_shared.now() - *found->second.operated).count()}});
    }
    const bool observed = found->second.observed;
    m_connections.erase(found);
    Reply reply = m_shared.Traced(kWho, {{"call", "disconnect"}, {"key", name}}, kOk);
    // Behind all that was sent to the observer: who disconnects waits for it.
    reply["last"] = observed && Notify(id, {{"event", "last"}});
    return reply;
}

Reply Model::Release(const Request& request) {
    const auto client = request.at("client").get<std::string>();
    const ConnectionId interface { client, request.value("interface", std::int64_t{0}) };
    const auto session = m_sessions.find(interface);
    const bool failed = session == m_sessions.end() || session->second.failed;
    for (const auto& number : request.at("conns")) {
        const auto found = m_connections.find({client, number.get<std::int64_t>()});
        if (found == m_connections.end()) {
            continue;
        }
        if (!failed) {
            m_shared.violate("connect-without-disconnect", "release",
                             "disconnect before the interface is released", {{"key", found->second.info->key}});
        }
        m_connections.erase(found);
    }
    if (session != m_sessions.end()) {
        m_sessions.erase(session);
    }
    return {{"status", kOk}};
}

Reply Model::SetValue(const Request& request) {
    const auto found = m_connections.find(IdOf(request, "conn"));
    const json& given = request.at("value");
    if (found == m_connections.end()) {
        return m_shared.Traced(kWho, {{"call", "set"}, {"value", given}}, kNotConnected);
    }
    const KeyInfo& info = *found->second.info;
    const std::string name(info.key);
    json row{{"call", "set"}, {"key", name}, {"value", given}};
    std::int32_t status = m_shared.faults.Take("model", name, "operate");
    json value = given;
    if (status == kOk && info.kind == Kind::Integers) {
        value = m_values.at(name);
    }
    if (status == kOk) {
        if (const auto refusal = JudgeWrite(info, given, value.size())) {
            status = refusal->status;
            Refuse(info, "set", *refusal, {{"value", given}});
        } else if (info.kind == Kind::Integers) {
            // Elements to write, as pairs of index and value.
            for (const auto& element : given) {
                value[element.at(0).get<std::size_t>()] = element.at(1);
            }
        }
    }
    if (status == kOk && !Fits(info.kind, value)) {
        status = kWrongKind;
    }
    Done(found->first, found->second, status);
    Reply reply = m_shared.Stored(kWho, std::move(row), [&] {
        if (status == kOk) {
            Store(info, std::move(value));
        }
        return status;
    });
    if (status == kOk) {
        NotifyObservers(info);
        if (name == key::kAccessPointSearch) {
            SearchAccessPoints(m_values.at(name) == kAccessPointsOn);
        }
    }
    return reply;
}

Reply Model::GetValue(const Request& request) {
    const auto found = m_connections.find(IdOf(request, "conn"));
    if (found == m_connections.end()) {
        return m_shared.Traced(kWho, {{"call", "get"}}, kNotConnected);
    }
    const std::string name(found->second.info->key);
    const std::int32_t status = m_shared.faults.Take("model", name, "operate");
    Done(found->first, found->second, status);
    if (status != kOk) {
        return m_shared.Traced(kWho, {{"call", "get"}, {"key", name}}, status);
    }
    const json& value = m_values.at(name);
    Reply reply = m_shared.Traced(kWho, {{"call", "get"}, {"key", name}, {"value", value}}, kOk);
    reply["value"] = value;
    return reply;
}

Reply Model::Invoke(const Request& request) {
    const auto id = IdOf(request, "conn");
    const auto found = m_connections.find(id);
    json arguments = json::array();
    for (const auto& argument : request.at("args")) {
        arguments.push_back(json::array({argument.at(0).get<std::string>(), argument.at(1).get<std::string>()}));
    }
    if (found == m_connections.end()) {
        return m_shared.Traced(kWho, {{"call", "invoke"}, {"args", arguments}}, kNotConnected);
    }
    const KeyInfo& info = *found->second.info;
    const std::string name(info.key);
    std::int32_t status = m_shared.faults.Take("model", name, "operate");
    if (name == key::kPresetDatabase) {
        m_presetAsked = true;
    } else if (name == key::kBluetoothEnable || name == key::kBluetoothDisable) {
        m_radioAsked = name == key::kBluetoothEnable;
    }
    bool failed = false;
    if (info.kind != Kind::Action) {
        status = kWrongKind;
    } else if (status == kOk) {
        auto refusal = JudgeArguments(info, arguments);
        refusal = refusal ? refusal : JudgeNeed(info);
        if (refusal) {
            Refuse(info, "invoke", *refusal, {{"args", arguments}});
            // The credential actions take any arguments and report what they came to.
            failed = name == key::kEncryptKey || name == key::kCheckCiPlusKey;
            status = failed ? kOk : refusal->status;
        }
    }
    Done(id, found->second, status);
    Reply reply = m_shared.Traced(kWho, {{"call", "invoke"}, {"key", name}, {"args", arguments}}, status);
    if (status == kOk) {
        json& record = m_values.at(name);
        record["count"] = record["count"].get<int>() + 1;
        record["args"] = arguments;
        const std::int32_t error = m_shared.faults.Take("model", name, "execute");
        if (failed) {
            ReportResult(id, "Failed");
        } else if (error == kOk) {
            Perform(id, info, request);
        } else if (name == key::kEncryptKey || name == key::kCheckCiPlusKey) {
            ReportResult(id, "Failed");
        } else {
            Notify(id, {{"event", "error"}, {"error", error}});
        }
    }
    return reply;
}

void Model::Perform(const ConnectionId& connection, const KeyInfo& info, const Request& request) {
    const std::string name(info.key);
    json& record = m_values.at(name);
    const json& arguments = record["args"];
    const auto later = [this](const char* behaviour, std::function<void()> task) {
        if (const auto delay = m_shared.behaviours.Delay(behaviour)) {
            m_shared.later(*delay, std::move(task));
        }
    };
    if (name == key::kFactoryReady) {
        later("factory-ready", [this, connection] {
            const auto found = m_connections.find(connection);
            if (found != m_connections.end() && found->second.observed) {
                m_finish.Confirmed();
                JudgeFinishLater();
            }
            ReportResult(connection, "1");
        });
        return;
    }
    if (name == key::kEncryptKey) {
        InstallCredential(connection, request);
        return;
    }
    if (name == key::kCheckCiPlusKey) {
        CheckCredential(connection, request);
        return;
    }
    if (name == key::kPresetDatabase) {
        m_presetLoaded = !m_shared.behaviours.Delay("preset");  // then it is loaded, and nothing says so
        later("preset", [this] {
            m_presetLoaded = true;
            const KeyInfo& message = *FindKey(key::kMessageId);
            Store(message, kPresetLoaded);
            NotifyObservers(message);
        });
    } else if (name == key::kWiredSet) {
        later("wired", [this] { Find(key::kIpAddress); });
    } else if (name == key::kBluetoothEnable || name == key::kBluetoothDisable) {
        const bool on = name == key::kBluetoothEnable;
        const KeyInfo& status = *FindKey(key::kBluetoothStatus);
        if (!on) {
            ++m_deviceSearch;  // a radio without power finds nothing
        }
        Store(status, on ? kBluetoothOn : kBluetoothOff);
        NotifyObservers(status);
    } else if (name == key::kBluetoothSearchStart) {
        SearchDevices();
    } else if (name == key::kBluetoothSearchStop) {
        ++m_deviceSearch;
    } else if (name == key::kSourceSwitch) {
        record["source"] = Positional(arguments, "2");
    } else if (name == key::kGpio) {
        // Number and value are the first and the second element; both carry position 0.
        record["pins"][ArgumentAt(arguments, 0)] = ArgumentAt(arguments, 1);
    } else if (name == key::kReboot) {
        m_shared.later(kRebootDelay, m_shared.reboot);
    }
    ReportResult(connection, "Success");
}

void Model::InstallCredential(const ConnectionId& connection, const Request& request) {
    const std::string type = ArgumentAt(m_values.at(key::kEncryptKey)["args"], 0);
    const auto bytes = request.contains("file") && request["file"].is_string()
                           ? FromHex(request["file"].get_ref<const std::string&>())
                           : std::nullopt;
    const bool good = bytes && !bytes->empty() && (type == "NON_ECP" || type == "ECP");
    if (good) {
        const std::string path = ArgumentAt(m_values.at(key::kEncryptKey)["args"], 1);
        const std::uint32_t digest = Digest(*bytes);
        m_shared.state.PutBlob(CredentialBlob(type), {*bytes, digest, path});
    }
    ReportResult(connection, good ? "Success" : "Failed");
}

void Model::CheckCredential(const ConnectionId& connection, const Request&) {
    const std::string type = ArgumentAt(m_values.at(key::kCheckCiPlusKey)["args"], 0);
    const auto blob = m_shared.state.GetBlob(CredentialBlob(type));
    ReportResult(connection, blob && Digest(blob->bytes) == blob->digest ? "Success" : "Failed");
}

void Model::SearchAccessPoints(bool on) {
    if (!on) {
        m_accessPointsSearching = false;
        ++m_accessPointSearch;
        return;
    }
    const auto delay = m_shared.behaviours.Delay("wifi");
    if (m_accessPointsSearching || !delay) {
        return;  // a repeated start leaves the search that is under way alone
    }
    m_accessPointsSearching = true;
    m_shared.later(*delay, [this, search = ++m_accessPointSearch] {
        if (search == m_accessPointSearch) {
            m_accessPointsSearching = false;
            Find(key::kAccessPointSignal);
            Find(key::kAccessPointCount);
        }
    });
}

void Model::SearchDevices() {
    const auto delay = m_shared.behaviours.Delay("bluetooth");
    if (!delay) {
        return;
    }
    for (const char* forgotten : {key::kBluetoothDeviceName, key::kBluetoothDeviceCount}) {
        const KeyInfo& info = *FindKey(forgotten);
        Store(info, InitialValue(info));
    }
    m_shared.later(*delay, [this, search = ++m_deviceSearch] {
        if (search == m_deviceSearch) {
            Find(key::kBluetoothDeviceName);
            Find(key::kBluetoothDeviceCount);
        }
    });
}

void Model::Find(const char* key) {
    const KeyInfo& info = *FindKey(key);
    Store(info, m_found.at(key));
    NotifyObservers(info);
}

void Model::Drop(const std::string& client) {
    for (auto& leftover : Open(client)) {
        m_leftovers.push_back(std::move(leftover));
    }
    const auto drop = [&client](auto& byClient) {
        for (auto entry = byClient.begin(); entry != byClient.end();) {
            entry = entry->first.first == client ? byClient.erase(entry) : std::next(entry);
        }
    };
    drop(m_connections);
    drop(m_sessions);
    drop(m_iterators);
}

const std::map<std::string, bool>& Model::Events() {
    static const std::map<std::string, bool> kOfIterator = {
        {"state", false},       {"update", false}, {"error", false},   {"commit", true}, {"seek-row", true},
        {"seek-content", true}, {"cursor", true},  {"read-row", true}, {"ready", true},  {"iterator-update", true},
    };
    return kOfIterator;
}

int Model::Tell(const KeyInfo& info, const std::string& name, std::int32_t number) {
    int told = 0;
    if (Events().at(name)) {
        for (const auto& [id, iterator] : m_iterators) {
            if (iterator.key == info.key && m_connections.count(iterator.connection) != 0) {
                Notify(id, {{"event", name}, {"number", number}});
                ++told;
            }
        }
        return told;
    }
    // An update is a table's event, an error an action's; the state of its connection concerns every observer.
    const bool fits =
        (name != "update" || info.kind == Kind::Table) && (name != "error" || info.kind == Kind::Action);
    for (const auto& [id, connection] : m_connections) {
        if (fits && connection.info == &info && connection.observed) {
            Notify(id, {{"event", name}, {name, number}});
            ++told;
        }
    }
    return told;
}

void Model::Die() {
    m_connections.clear();
    m_sessions.clear();
    m_iterators.clear();
}

void Model::Assign(const KeyInfo& info, const json& value) {
    const std::string name(info.key);
    if (m_found.count(name) != 0) {
        m_shared.state.Put(kFoundSection, name, EncodeLine(value));
        m_found[name] = value;
    }
    Store(info, value);
    NotifyObservers(info);
    // A list and its length go together.
    if (name == key::kAccessPointSignal) {
        Assign(*FindKey(key::kAccessPointCount), value.size());
    } else if (name == key::kBluetoothDeviceName) {
        Assign(*FindKey(key::kBluetoothDeviceCount), value.size());
    } else if (name == key::kAccessPointSearch) {
        SearchAccessPoints(value == kAccessPointsOn);
    }
}

void Model::Store(const KeyInfo& info, json value) {
    const std::string name(info.key);
    if (info.kept) {
        m_shared.state.Put(kValueSection, name, EncodeLine(value));
    }
    m_values[name] = std::move(value);
}

bool Model::Notify(const ConnectionId& target, json event) {
    const auto queue = m_shared.clients.Find(target.first);
    if (!queue) {
        return false;
    }
    TraceEvent(target, event);
    event["target"] = target.second;
    return queue->Push(std::move(event));
}

// A result has a row of its own, and the rows of a table are the answer to a call that has one.
void Model::TraceEvent(const ConnectionId& target, const json& event) const {
    const auto& name = event.at("event").get_ref<const std::string&>();
    const auto connection = m_connections.find(target);
    if (connection == m_connections.end() || name == "result") {
        return;
    }
    json row{{"who", "event"}, {"call", name}, {"key", connection->second.info->key}};
    row["connection"] = target.second;
    for (const char* member : {"value", "error", "update", "state"}) {
        if (event.contains(member)) {
            row[member] = event[member];
        }
    }
    m_shared.trace(std::move(row));
}

void Model::NotifyObservers(const KeyInfo& info) {
    for (const auto& [id, connection] : m_connections) {
        if (connection.info != &info || !connection.observed) {
            continue;
        }
        if (info.kind == Kind::Table) {
            Notify(id, {{"event", "update"}, {"update", kTableChanged}});
        } else {
            Notify(id, {{"event", "value"}, {"value", m_values.at(std::string(info.key))}});
        }
    }
}

void Model::ReportResult(const ConnectionId& connection, const std::string& text) {
    const auto found = m_connections.find(connection);
    if (found != m_connections.end() && found->second.observed) {
        m_shared.Traced(kWho, {{"call", "result"}, {"key", std::string(found->second.info->key)}, {"value", text}},
                        kOk);
        Notify(connection, {{"event", "result"}, {"results", json::array({json::array({"0", text})})}});
    }
}

}  // namespace simset
