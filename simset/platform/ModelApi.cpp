#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "simset/base/Numbers.h"
#include "simset/base/Status.h"
#include "simset/platform/Client.h"
#include "simset/platform/Deliveries.h"
#include "simset/platform/ModelMember.h"
#include "vumodelapi/RootInterface.h"

namespace simset {

namespace {

using nlohmann::json;

// The action whose second argument names a file. The service that carries it out reads that file itself on a
// television; here it sits in another mount namespace, so the bytes go along.
constexpr char kFileAction[] = "tovix.sl2.common.intf.action.encrypt.key";
constexpr std::size_t kFileArgument = 1;

// How long a disconnect waits for what is on its way to the observer: far more than a busy machine needs.
constexpr std::chrono::seconds kLastEvent{30};

// Threads of the application may still be inside when the process exits: neither is ever destroyed.
Deliveries& TheDeliveries() {
    static Deliveries* const deliveries = new Deliveries;
    return *deliveries;
}

std::string Event(const json& event) {
    return event.at("event").get<std::string>();
}

void Deliver(const json& event) {
    if (Event(event) == "last") {
        TheDeliveries().Last(event.at("target").get<std::int64_t>());
    } else {
        TheDeliveries().Deliver(event);
    }
}

EventChannel& TheChannel() {
    static EventChannel* const channel =
        new EventChannel([](const json& event) { Deliver(event); }, [] { TheDeliveries().Last(); });
    return *channel;
}

bool IsMainThread() {
    return ::syscall(SYS_gettid) == ::getpid();
}

json ArgumentsOnWire(const vumodelapi::ArgumentList& arguments) {
    json list = json::array();
    for (const auto& argument : arguments) {
        list.push_back(json::array({std::to_string(argument.position), argument.values}));
    }
    return list;
}

// Nothing when a position is none: what answered was not the middleware.
std::optional<vumodelapi::ArgumentList> ArgumentsOf(const json& list) {
    vumodelapi::ArgumentList arguments;
    for (const auto& element : list) {
        const auto position = ParseNumber<unsigned>(element.at(0).get<std::string>(), 0, UINT8_MAX);
        if (!position) {
            return std::nullopt;
        }
        vumodelapi::Argument argument;
        argument.position = static_cast<std::uint8_t>(*position);
        argument.values = element.at(1).get<std::string>();
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

// An observer as it was when it was connected. A destroyed one is told by what lies at its beginning, which names
// its class: this is looked at, and nothing of it is called.
template <typename Observer>
class Watched {
  public:
    Watched(Observer* observer, std::string key)
        : m_observer(observer), m_key(std::move(key)), m_class(ClassOf(observer)) {}

    // Whether the observer can be called; says so to the middleware when it is gone.
    bool IsAlive(const char* call) const {
        if (ClassOf(m_observer) == m_class) {
            return true;
        }
        TellViolation("observer-outlives-connection", call, "the observer alive until its connection has ended",
                      {{"key", m_key}});
        return false;
    }
    Observer* Get() const { return m_observer; }

  private:
    // Looks where nothing may be any more: that is what it is for.
    __attribute__((no_sanitize("address", "thread"))) static const void* ClassOf(const Observer* observer) {
        return observer == nullptr ? nullptr : *reinterpret_cast<const void* const volatile*>(observer);
    }

    Observer* m_observer;
    std::string m_key;
    const void* m_class;
};

// One connected key. The handle classes add the operations of their kind.
class Connection {
  public:
    Connection(std::string client, std::int64_t number, std::string key)
        : m_client(std::move(client)), m_number(number), m_key(std::move(key)) {}
    virtual ~Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    const std::string& Client() const { return m_client; }
    std::int64_t Number() const { return m_number; }
    const std::string& Key() const { return m_key; }

    // No observer of this connection is called after it has returned.
    virtual void Silence() { TheDeliveries().Remove(m_number); }

  protected:
    json Request(const char* operation) const {
        return {{"op", operation}, {"client", m_client}, {"conn", m_number}};
    }

    std::int32_t Write(json value) const {
        json request = Request("set");
        request["value"] = std::move(value);
        return AskStatus(request);
    }

    template <typename Value>
    std::int32_t Read(Value& value) const {
        const json reply = Ask(Request("get"));
        const auto status = reply["status"].get<std::int32_t>();
        if (status != kOk) {
            return status;
        }
        try {
            value = reply.at("value").get<Value>();
        } catch (const json::exception&) {
            return kUnreachable;  // whatever answered, it was not the middleware
        }
        return kOk;
    }

  private:
    std::string m_client;
    std::int64_t m_number;
    std::string m_key;
};

class IntegerHandle : public Connection, public vumodelapi::NumericInteger {
  public:
    static constexpr char kKind[] = "integer";
    using Connection::Connection;

    static void Deliver(vumodelapi::ObserverNumericInteger& observer, const json& event) {
        observer.notifyInteger(event.at("value").get<std::int32_t>());
    }
    std::int32_t setValue(std::int32_t value) override { return Write(value); }
    std::int32_t getValue() override {
        std::int32_t value = 0;
        Read(value);
        return value;
    }
};

class TextHandle : public Connection, public vumodelapi::String {
  public:
    static constexpr char kKind[] = "text";
    using Connection::Connection;

    static void Deliver(vumodelapi::ObserverString& observer, const json& event) {
        observer.notifyString(event.at("value").get_ref<const std::string&>().c_str());
    }
    std::int32_t setValue(const std::string& text) override { return Write(text); }
    void getValue(std::string& text) override { Read(text); }
};

class IntegersHandle : public Connection, public vumodelapi::VectorNumericInteger {
  public:
    static constexpr char kKind[] = "integers";
    using Connection::Connection;

    static void Deliver(vumodelapi::ObserverVectorNumericInteger& observer, const json& event) {
        observer.notifyIntegerVector(event.at("value").get<std::vector<std::int32_t>>());
    }
    std::int32_t setValue(const std::map<std::int32_t, std::int32_t>& elements) override {
        json pairs = json::array();
        for (const auto& [index, value] : elements) {
            pairs.push_back(json::array({index, value}));
        }
        return Write(std::move(pairs));
    }
    std::int32_t getValue(std::vector<std::int32_t>& values) override { return Read(values); }
};

class TextsHandle : public Connection, public vumodelapi::VectorString {
  public:
    static constexpr char kKind[] = "texts";
    using Connection::Connection;

    static void Deliver(vumodelapi::ObserverVectorString& observer, const json& event) {
        observer.notifyStringVector(event.at("value").get<std::vector<std::string>>());
    }
    std::int32_t getValue(std::vector<std::string>& texts) override { return Read(texts); }
};

class ActionHandle : public Connection, public vumodelapi::Action {
  public:
    static constexpr char kKind[] = "action";
    using Connection::Connection;

    static void Deliver(vumodelapi::ObserverAction& observer, const json& event) {
        if (Event(event) == "error") {
            observer.notifyExecutionError(event.at("error").get<std::int32_t>());
        } else if (const auto results = ArgumentsOf(event.at("results"))) {
            observer.notifyExecutionResult(*results);
        }
    }

    std::int32_t invoke(const vumodelapi::ArgumentList& arguments, vumodelapi::ArgumentList& results) override {
        results.clear();
        json request = Request("invoke");
        request["args"] = ArgumentsOnWire(arguments);
        if (Key() == kFileAction && arguments.size() > kFileArgument) {
            request["file"] = FileInHex(arguments[kFileArgument].values);
        }
        return AskStatus(request);
    }
};

class Iterator : public vumodelapi::TableIterator {
  public:
    Iterator(std::string client, std::int64_t number) : m_client(std::move(client)), m_number(number) {}
    ~Iterator() override {
        TheDeliveries().Remove(m_number);
        Ask(Request("iterator-end"));
    }
    Iterator(const Iterator&) = delete;
    Iterator& operator=(const Iterator&) = delete;

    std::int32_t totalCount() override { return AskStatus(Request("count")); }
    std::int32_t readNextRows(std::int32_t count) override {
        json request = Request("rows");
        request["count"] = count;
        return AskStatus(request);
    }

    static void Deliver(vumodelapi::ObserverTableIterator& observer, const json& event) {
        if (Event(event) == "count") {
            observer.notifyTotalCount(event.at("count").get<std::int32_t>());
        } else if (Event(event) == "rows") {
            observer.notifyReadRowChunk(event.at("rows").get<vumodelapi::TableRowChunk>());
        } else if (Event(event) == "read-row") {
            observer.notifyReadRow();
        } else if (Event(event) == "ready") {
            observer.notifyIteratorReady();
        } else {
            using Notify = void (vumodelapi::ObserverTableIterator::*)(std::int32_t);
            static const std::map<std::string, Notify> kCodes = {
                {"commit", &vumodelapi::ObserverTableIterator::notifyCommit},
                {"seek-row", &vumodelapi::ObserverTableIterator::notifySeekToRow},
                {"seek-content", &vumodelapi::ObserverTableIterator::notifySeekToContent},
                {"cursor", &vumodelapi::ObserverTableIterator::notifyCursorPosition},
                {"iterator-update", &vumodelapi::ObserverTableIterator::notifyUpdate},
            };
            if (const auto code = kCodes.find(Event(event)); code != kCodes.end()) {
                (observer.*code->second)(event.at("number").get<std::int32_t>());
            }
        }
    }

  private:
    json Request(const char* operation) const {
        return {{"op", operation}, {"client", m_client}, {"iterator", m_number}};
    }

    std::string m_client;
    std::int64_t m_number;
};

class TableHandle : public Connection, public vumodelapi::Table {
  public:
    static constexpr char kKind[] = "table";
    using Connection::Connection;

    static void Deliver(vumodelapi::ObserverTable& observer, const json& event) {
        observer.notifyUpdate(event.at("update").get<std::int32_t>());
    }

    boost::shared_ptr<vumodelapi::TableIterator> createIterator(
        const vumodelapi::TableSelectionList& selection, vumodelapi::ObserverTableIterator* observer) override {
        const std::int64_t number = TheDeliveries().NextNumber();
        json request = Request("iterator");
        request["iterator"] = number;
        request["selection"] = json::array();
        for (const auto& entry : selection) {
            request["selection"].push_back(json::array({entry.code, entry.operation, entry.text}));
        }
        if (AskStatus(request) != kOk) {
            return {};
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (observer != nullptr && !m_closed) {
            m_iterators.push_back(number);
            TheDeliveries().Add(number, [watched = Watched<vumodelapi::ObserverTableIterator>(observer, Key())](
                                            const json& event) {
                if (watched.IsAlive("notify")) {
                    Iterator::Deliver(*watched.Get(), event);
                }
            });
        }
        return boost::shared_ptr<vumodelapi::TableIterator>(new Iterator(Client(), number));
    }

    void Silence() override {
        Connection::Silence();
        std::vector<std::int64_t> numbers;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_closed = true;
            numbers.swap(m_iterators);
        }
        for (const std::int64_t number : numbers) {
            TheDeliveries().Remove(number);
        }
    }

  private:
    std::mutex m_mutex;
    std::vector<std::int64_t> m_iterators;  // those that were made; some may be gone again
    bool m_closed = false;
};

class Root final : public vumodelapi::RootInterface {
  public:
    // `number` is the interface's own, among those of `client`.
    Root(std::string client, std::int64_t number) : m_client(std::move(client)), m_number(number) {}
    ~Root() {
        // Nobody else uses the interface any more: this is its last reference.
        json numbers = json::array();
        for (const auto& link : m_links) {
            link.connection->Silence();
            link.observer.IsAlive("release");
            numbers.push_back(link.connection->Number());
        }
        Ask({{"op", "release"}, {"client", m_client}, {"interface", m_number}, {"conns", numbers}});
    }
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

    std::int32_t connect(const std::string& key, vumodelapi::ObserverNumericInteger* observer,
                         vumodelapi::NumericInteger*& handle) override {
        return Connect<IntegerHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, vumodelapi::ObserverString* observer,
                         vumodelapi::String*& handle) override {
        return Connect<TextHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, vumodelapi::ObserverVectorNumericInteger* observer,
                         vumodelapi::VectorNumericInteger*& handle) override {
        return Connect<IntegersHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, vumodelapi::ObserverVectorString* observer,
                         vumodelapi::VectorString*& handle) override {
        return Connect<TextsHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, vumodelapi::ObserverAction* observer,
                         vumodelapi::Action*& handle) override {
        return Connect<ActionHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, vumodelapi::ObserverTable* observer,
                         vumodelapi::Table*& handle) override {
        return Connect<TableHandle>(key, observer, handle);
    }

    std::int32_t disconnect(const std::string& key, vumodelapi::Observer* observer) override {
        std::unique_ptr<Connection> connection;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            const auto found = std::find_if(m_links.begin(), m_links.end(), [&](const Link& link) {
                return link.observer.Get() == observer && link.connection->Key() == key;
            });
            if (found == m_links.end()) {
                TellViolation("disconnect-without-connect", "disconnect",
                              "the key and the observer of a connection", {{"key", key}});
                return kNotConnected;
            }
            found->observer.IsAlive("disconnect");
            connection = std::move(found->connection);
            m_links.erase(found);
        }
        // What the middleware sent before the connection's end arrives, though it is told by threads of its own.
        const json reply =
            Ask({{"op", "disconnect"}, {"client", connection->Client()}, {"conn", connection->Number()}});
        if (reply.value("last", false)) {
            TheDeliveries().AwaitLast(connection->Number(), kLastEvent);
        }
        connection->Silence();
        return reply["status"].get<std::int32_t>();
    }

  private:
    struct Link {
        Watched<vumodelapi::Observer> observer;
        std::unique_ptr<Connection> connection;
    };

    template <typename Handle, typename Observer, typename Base>
    std::int32_t Connect(const std::string& key, Observer* observer, Base*& handle) {
        std::string client;
        if (const std::int32_t status = TheChannel().Open(client); status != kOk) {
            return status;
        }
        const std::int64_t number = TheDeliveries().NextNumber();
        if (observer != nullptr) {
            TheDeliveries().Add(number, [watched = Watched<Observer>(observer, key)](const json& event) {
                if (!watched.IsAlive("notify")) {
                    return;
                }
                if (Event(event) == "state") {
                    watched.Get()->notifyConnectionState(event.at("state").get<std::int32_t>());
                } else {
                    Handle::Deliver(*watched.Get(), event);
                }
            });
        }
        const std::int32_t status = AskStatus({{"op", "connect"},
                                               {"client", client},
                                               {"conn", number},
                                               {"key", key},
                                               {"kind", Handle::kKind},
                                               {"observed", observer != nullptr},
                                               {"interface", m_number},
                                               {"main", IsMainThread()}});
        if (status != kOk) {
            TheDeliveries().Remove(number);
            return status;
        }
        auto made = std::make_unique<Handle>(client, number, key);
        handle = made.get();
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_links.push_back({{observer, key}, std::move(made)});
        return kOk;
    }

    std::string m_client;
    std::int64_t m_number;
    std::mutex m_mutex;
    std::list<Link> m_links;
};

class ModelInterface : public frame::Interface {
  public:
    ModelInterface(std::string client, std::int64_t number) : m_root(std::move(client), number) {}

    vumodelapi::RootInterface* getRootInterface() override {
        return AskStatus({{"op", "root"}}) == kOk ? &m_root : nullptr;
    }

  private:
    Root m_root;
};

class BizProxy : public ModelMember {
  public:
    std::int32_t Start() override { return AskStatus({{"op", "proxy"}}); }

    std::int32_t OpenInterface(boost::shared_ptr<frame::Interface>& interface, const std::string& name) override {
        std::string client;
        if (const std::int32_t status = TheChannel().Open(client); status != kOk) {
            return status;
        }
        const std::int64_t number = TheDeliveries().NextNumber();
        const std::int32_t status = AskStatus({{"op", "interface"},
                                               {"name", name},
                                               {"client", client},
                                               {"interface", number},
                                               {"main", IsMainThread()}});
        if (status == kOk) {
            interface.reset(new ModelInterface(client, number));
        }
        return status;
    }
};

}  // namespace

}  // namespace simset

frame::AppMember* CreateBizProxy() {
    return new simset::BizProxy;
}
