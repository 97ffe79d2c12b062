// The process framework and the TV model library, played from the script.
#include <boost/make_shared.hpp>
#include <memory>
#include <utility>

#include "frame/Process.h"
#include "scripted/Script.h"
#include "vumodelapi/RootInterface.h"

using namespace vumodelapi;
using scripted::Answer;
using scripted::Script;

namespace {

// What all kinds of handle share: the key, and whether it is still connected.
class Handle {
  public:
    Handle(std::string key, Observer* observer) : m_key(std::move(key)), m_observer(observer) {}
    virtual ~Handle() = default;
    // Looks once more at what the caller still has to keep.
    virtual void Leave() {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    bool Is(const std::string& key, const Observer* observer) const {
        return m_connected && m_key == key && m_observer == observer;
    }
    // Whether it was still connected.
    bool Disconnect() { return std::exchange(m_connected, false); }

  protected:
    Answer Call(const std::string& operation, const std::string& rest = "") const {
        if (!m_connected) {
            ADD_FAILURE() << operation << " " << m_key << rest << " on a handle that was disconnected";
        }
        return Script::Current().Call(operation + " " + m_key + rest);
    }

    const std::string m_key;

  private:
    Observer* const m_observer;
    bool m_connected = true;
};

class IntegerHandle final : public Handle, public NumericInteger {
  public:
    using Handle::Handle;
    std::int32_t setValue(std::int32_t value) override { return Call("set", " " + std::to_string(value)).result; }
    std::int32_t getValue() override {
        const Answer answer = Call("get");
        return answer.values && !answer.values->empty() ? answer.values->front() : 0;
    }
};

class TextHandle final : public Handle, public String {
  public:
    using Handle::Handle;
    std::int32_t setValue(const std::string& text) override { return Call("set", " \"" + text + "\"").result; }
    void getValue(std::string& text) override { text = Call("get").text.value_or(text); }
};

class VectorHandle final : public Handle, public VectorNumericInteger {
  public:
    using Handle::Handle;
    std::int32_t setValue(const std::map<std::int32_t, std::int32_t>& elements) override {
        std::string list;
        for (const auto& [index, value] : elements) {
            list += (list.empty() ? "" : ", ") + std::to_string(index) + ":" + std::to_string(value);
        }
        return Call("set", " [" + list + "]").result;
    }
    std::int32_t getValue(std::vector<std::int32_t>& values) override {
        const Answer answer = Call("get");
        if (answer.result == 0) {
            values = answer.values.value_or(values);
        }
        return answer.result;
    }
};

class TextVectorHandle final : public Handle, public VectorString {
  public:
    using Handle::Handle;
    std::int32_t getValue(std::vector<std::string>& texts) override {
        const Answer answer = Call("get");
        if (answer.result == 0) {
            texts = answer.texts.value_or(texts);
        }
        return answer.result;
    }
};

class ActionHandle final : public Handle, public Action {
  public:
    using Handle::Handle;
    std::int32_t invoke(const ArgumentList& arguments, ArgumentList& results) override {
        m_arguments = &arguments;
        m_results = &results;
        m_text = Text(arguments);
        const Answer answer = Call("invoke", " [" + m_text + "]");
        if (answer.result == 0 && answer.texts) {
            for (const std::string& text : *answer.texts) {
                results.push_back({0, static_cast<std::uint8_t>(results.size()), 0, text});
            }
        }
        return answer.result;
    }
    // The library may read the arguments and fill the results as long as the key is connected.
    void Leave() override {
        if (m_arguments != nullptr) {
            EXPECT_EQ(Text(*m_arguments), m_text) << "arguments of " << m_key << " at its end";
            m_results->push_back({});
        }
    }

  private:
    static std::string Text(const ArgumentList& arguments) {
        std::string list;
        for (const Argument& argument : arguments) {
            list += (list.empty() ? "" : ", ") + std::to_string(argument.position) + ":" + argument.values;
            if (argument.tag != 0 || argument.flags != 0) {
                list +=
                    " (tag " + std::to_string(argument.tag) + ", flags " + std::to_string(argument.flags) + ")";
            }
        }
        return list;
    }

    const ArgumentList* m_arguments = nullptr;
    ArgumentList* m_results = nullptr;
    std::string m_text;
};

// Uses its observer until its own end, however long it is kept.
class Iterator final : public TableIterator {
  public:
    Iterator(std::string key, ObserverTableIterator* observer) : m_key(std::move(key)), m_observer(observer) {}
    ~Iterator() override { m_observer->notifyConnectionState(0); }
    Iterator(const Iterator&) = delete;
    Iterator& operator=(const Iterator&) = delete;
    std::int32_t totalCount() override { return Script::Current().Call("count " + m_key).result; }
    std::int32_t readNextRows(std::int32_t count) override {
        return Script::Current().Call("rows " + m_key + " " + std::to_string(count)).result;
    }

  private:
    const std::string m_key;
    ObserverTableIterator* const m_observer;
};

class TableHandle final : public Handle, public Table {
  public:
    using Handle::Handle;
    boost::shared_ptr<TableIterator> createIterator(const TableSelectionList& selection,
                                                    ObserverTableIterator* observer) override {
        std::string list;
        for (const TableSelection& entry : selection) {
            list += (list.empty() ? "" : ", ") + std::to_string(entry.code) + "/" +
                    std::to_string(entry.operation) + "/" + entry.text;
        }
        if (Call("iterator", " [" + list + "]").result != 0) {
            return nullptr;
        }
        Script::Current().AddObserver(this, m_key, observer);
        return boost::make_shared<Iterator>(m_key, observer);
    }
};

class Root final : public RootInterface {
  public:
    Root() = default;
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;
    // Whatever is still connected is told, and so has to be there still.
    ~Root() {
        for (const auto& handle : m_handles) {
            for (Observer* observer : Script::Current().ObserversOf(handle.get())) {
                observer->notifyConnectionState(0);
            }
            Drop(*handle);
        }
        for (Observer* observer : Script::Current().ObserversOf(this)) {
            observer->notifyConnectionState(0);
        }
        Script::Current().DropObservers(this);
    }

    std::int32_t connect(const std::string& key, ObserverNumericInteger* observer,
                         NumericInteger*& handle) override {
        return Connect<IntegerHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, ObserverString* observer, String*& handle) override {
        return Connect<TextHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, ObserverVectorNumericInteger* observer,
                         VectorNumericInteger*& handle) override {
        return Connect<VectorHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, ObserverVectorString* observer, VectorString*& handle) override {
        return Connect<TextVectorHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, ObserverAction* observer, Action*& handle) override {
        return Connect<ActionHandle>(key, observer, handle);
    }
    std::int32_t connect(const std::string& key, ObserverTable* observer, Table*& handle) override {
        return Connect<TableHandle>(key, observer, handle);
    }

    std::int32_t disconnect(const std::string& key, Observer* observer) override {
        const Answer answer = Script::Current().Call("disconnect " + key);
        if (!Script::Current().DropObserver(this, key, observer)) {
            ADD_FAILURE() << "disconnect " << key << " with an observer that was not connected to it";
        }
        for (const auto& handle : m_handles) {
            if (handle->Is(key, observer)) {
                Drop(*handle);
                break;
            }
        }
        return answer.result;
    }

  private:
    template <typename Kind, typename KeyObserver, typename Interface>
    std::int32_t Connect(const std::string& key, KeyObserver* observer, Interface*& handle) {
        const Answer answer = Script::Current().Call("connect " + key);
        if (answer.result != 0) {
            return answer.result;
        }
        Script::Current().AddObserver(this, key, observer);
        if (answer.handle) {
            auto made = std::make_unique<Kind>(key, observer);
            handle = made.get();
            m_handles.push_back(std::move(made));
        }
        return 0;
    }

    static void Drop(Handle& handle) {
        if (handle.Disconnect()) {
            handle.Leave();
        }
        Script::Current().DropObservers(&handle);
    }

    std::vector<std::unique_ptr<Handle>> m_handles;
};

class Interface final : public frame::Interface {
  public:
    Interface() { Script::Current().CountInterface(1); }
    ~Interface() override { Script::Current().CountInterface(-1); }
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;
    RootInterface* getRootInterface() override {
        return Script::Current().Call("root").result == 0 ? &m_root : nullptr;
    }

  private:
    Root m_root;
};

class Process final : public frame::Process {
  public:
    std::int32_t startAppMembersSync(frame::AppMemberFactory factory) override {
        EXPECT_EQ(factory, &CreateBizProxy);
        return Script::Current().Call("proxy").result;
    }
    std::int32_t getInterfaceReference(boost::shared_ptr<frame::Interface>& interface,
                                       const std::string& name) override {
        const Answer answer = Script::Current().Call("interface " + name);
        if (answer.result == 0 && answer.handle) {
            interface = boost::make_shared<Interface>();
        }
        return answer.result;
    }
};

}  // namespace

frame::Process* frame::Process::getInstance() {
    static ::Process process;
    return &process;
}

frame::AppMember* CreateBizProxy() {
    return nullptr;
}
