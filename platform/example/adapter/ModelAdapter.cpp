#include "ModelAdapter.h"

#include <vector>

namespace example {
namespace {

// Each connection is three things at once: the vendor's watcher, our handle, and what is kept of both.
template <class WatcherBase, class HandleBase, class Observer, class Theirs>
class Joint : public Connection, public WatcherBase, public HandleBase {
  public:
    explicit Joint(Observer* observer) : m_observer(observer) {}
    acme::Watcher* Watcher() override { return this; }
    void onLink(int state) override {
        if (m_observer != nullptr) {
            m_observer->notifyConnectionState(state);
        }
    }
    void Opened(Theirs* theirs) { m_theirs = theirs; }

  protected:
    Observer* const m_observer;
    Theirs* m_theirs = nullptr;
};

class IntegerJoint : public Joint<acme::IntegerWatcher, vumodelapi::NumericInteger,
                                  vumodelapi::ObserverNumericInteger, acme::Integer> {
  public:
    using Joint::Joint;
    void onInteger(int value) override { m_observer->notifyInteger(value); }
    std::int32_t setValue(std::int32_t value) override { return m_theirs->write(value); }
    std::int32_t getValue() override {
        int value = 0;
        return m_theirs->read(value) == 0 ? value : 0;
    }
};

class TextJoint : public Joint<acme::TextWatcher, vumodelapi::String, vumodelapi::ObserverString, acme::Text> {
  public:
    using Joint::Joint;
    void onText(const char* text) override { m_observer->notifyString(text); }
    std::int32_t setValue(const std::string& text) override { return m_theirs->write(text.c_str()); }
    void getValue(std::string& text) override {
        std::string value;
        if (m_theirs->read(value) == 0) {
            text = value;
        }
    }
};

class IntegersJoint : public Joint<acme::IntegersWatcher, vumodelapi::VectorNumericInteger,
                                   vumodelapi::ObserverVectorNumericInteger, acme::Integers> {
  public:
    using Joint::Joint;
    void onIntegers(const int* values, std::size_t count) override {
        m_observer->notifyIntegerVector(std::vector<std::int32_t>(values, values + count));
    }
    std::int32_t setValue(const std::map<std::int32_t, std::int32_t>& elements) override {
        return m_theirs->writeAt({elements.begin(), elements.end()});
    }
    std::int32_t getValue(std::vector<std::int32_t>& values) override {
        std::vector<int> all;
        const int status = m_theirs->readAll(all);
        if (status == 0) {
            values.assign(all.begin(), all.end());
        }
        return status;
    }
};

class TextsJoint
    : public Joint<acme::TextsWatcher, vumodelapi::VectorString, vumodelapi::ObserverVectorString, acme::Texts> {
  public:
    using Joint::Joint;
    void onTexts(const acme::Words& texts) override { m_observer->notifyStringVector(texts); }
    std::int32_t getValue(std::vector<std::string>& texts) override {
        acme::Words all;
        const int status = m_theirs->readAll(all);
        if (status == 0) {
            texts = all;
        }
        return status;
    }
};

// Nobody need hear what became of an action.
class CallJoint : public Joint<acme::CallWatcher, vumodelapi::Action, vumodelapi::ObserverAction, acme::Call> {
  public:
    using Joint::Joint;
    void onDone(const std::vector<acme::Parameter>& results) override {
        vumodelapi::ArgumentList ours;
        for (const acme::Parameter& result : results) {
            ours.push_back({0, static_cast<std::uint8_t>(result.place), 0, result.text});
        }
        if (m_observer != nullptr) {
            m_observer->notifyExecutionResult(ours);
        }
    }
    void onFailed(int error) override {
        if (m_observer != nullptr) {
            m_observer->notifyExecutionError(error);
        }
    }
    std::int32_t invoke(const vumodelapi::ArgumentList& arguments, vumodelapi::ArgumentList&) override {
        std::vector<acme::Parameter> theirs;
        for (const vumodelapi::Argument& argument : arguments) {
            theirs.push_back({argument.position, argument.values});
        }
        return m_theirs->start(theirs);
    }
};

class CursorJoint : public vumodelapi::TableIterator, public acme::CursorWatcher {
  public:
    explicit CursorJoint(vumodelapi::ObserverTableIterator* observer) : m_observer(observer) {}
    ~CursorJoint() override {
        if (m_theirs != nullptr) {
            m_theirs->release();
        }
    }
    CursorJoint(const CursorJoint&) = delete;
    CursorJoint& operator=(const CursorJoint&) = delete;

    bool Opened(acme::Cursor* theirs) {
        m_theirs = theirs;
        return theirs != nullptr;
    }
    std::int32_t totalCount() override { return m_theirs->askCount(); }
    std::int32_t readNextRows(std::int32_t count) override { return m_theirs->askRows(count); }
    void onLink(int state) override { m_observer->notifyConnectionState(state); }
    void onCount(int rows) override { m_observer->notifyTotalCount(rows); }
    void onRows(const std::vector<acme::Words>& rows) override { m_observer->notifyReadRowChunk(rows); }
    void onEvent(Event event, int detail) override {
        switch (event) {
            case Committed:
                return m_observer->notifyCommit(detail);
            case AtRow:
                return m_observer->notifySeekToRow(detail);
            case AtContent:
                return m_observer->notifySeekToContent(detail);
            case AtPosition:
                return m_observer->notifyCursorPosition(detail);
            case RowRead:
                return m_observer->notifyReadRow();
            case Ready:
                return m_observer->notifyIteratorReady();
            case Changed:
                return m_observer->notifyUpdate(detail);
        }
    }

  private:
    vumodelapi::ObserverTableIterator* const m_observer;
    acme::Cursor* m_theirs = nullptr;
};

class TableJoint : public Joint<acme::TableWatcher, vumodelapi::Table, vumodelapi::ObserverTable, acme::Table> {
  public:
    using Joint::Joint;
    void onChanged(int what) override { m_observer->notifyUpdate(what); }
    boost::shared_ptr<vumodelapi::TableIterator> createIterator(
        const vumodelapi::TableSelectionList& selection, vumodelapi::ObserverTableIterator* observer) override {
        std::vector<acme::Column> columns;
        for (const vumodelapi::TableSelection& entry : selection) {
            columns.push_back({entry.code, entry.operation, entry.text});
        }
        const boost::shared_ptr<CursorJoint> cursor(new CursorJoint(observer));
        return cursor->Opened(m_theirs->open(columns, cursor.get())) ? cursor : nullptr;
    }
};

}  // namespace

template <class Kind, class Observer, class Handle, class Open>
std::int32_t ModelInterface::Keep(const std::string& key, Observer* observer, Handle*& handle, Open open) {
    auto joint = std::make_unique<Kind>(observer);
    auto* const theirs = open(joint.get());
    if (theirs == nullptr) {
        return -1;
    }
    joint->Opened(theirs);
    handle = joint.get();
    const std::lock_guard lock(m_mutex);
    m_connections.emplace(Key(key, observer), std::move(joint));
    return 0;
}

ModelInterface::~ModelInterface() {
    m_model.leave();  // waits for what is being told
}

std::int32_t ModelInterface::connect(const std::string& key, vumodelapi::ObserverNumericInteger* observer,
                                     vumodelapi::NumericInteger*& handle) {
    return Keep<IntegerJoint>(key, observer, handle, [&](acme::IntegerWatcher* watcher) {
        return m_model.openInteger(key.c_str(), watcher);
    });
}

std::int32_t ModelInterface::connect(const std::string& key, vumodelapi::ObserverString* observer,
                                     vumodelapi::String*& handle) {
    return Keep<TextJoint>(key, observer, handle,
                           [&](acme::TextWatcher* watcher) { return m_model.openText(key.c_str(), watcher); });
}

std::int32_t ModelInterface::connect(const std::string& key, vumodelapi::ObserverVectorNumericInteger* observer,
                                     vumodelapi::VectorNumericInteger*& handle) {
    return Keep<IntegersJoint>(key, observer, handle, [&](acme::IntegersWatcher* watcher) {
        return m_model.openIntegers(key.c_str(), watcher);
    });
}

std::int32_t ModelInterface::connect(const std::string& key, vumodelapi::ObserverVectorString* observer,
                                     vumodelapi::VectorString*& handle) {
    return Keep<TextsJoint>(key, observer, handle,
                            [&](acme::TextsWatcher* watcher) { return m_model.openTexts(key.c_str(), watcher); });
}

std::int32_t ModelInterface::connect(const std::string& key, vumodelapi::ObserverAction* observer,
                                     vumodelapi::Action*& handle) {
    return Keep<CallJoint>(key, observer, handle,
                           [&](acme::CallWatcher* watcher) { return m_model.openCall(key.c_str(), watcher); });
}

std::int32_t ModelInterface::connect(const std::string& key, vumodelapi::ObserverTable* observer,
                                     vumodelapi::Table*& handle) {
    return Keep<TableJoint>(key, observer, handle,
                            [&](acme::TableWatcher* watcher) { return m_model.openTable(key.c_str(), watcher); });
}

std::int32_t ModelInterface::disconnect(const std::string& key, vumodelapi::Observer* observer) {
    std::unique_ptr<Connection> connection;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_connections.find(Key(key, observer));
        if (found == m_connections.end()) {
            return -1;
        }
        connection = std::move(found->second);
        m_connections.erase(found);
    }
    return m_model.close(key.c_str(), connection->Watcher());
}

}  // namespace example
