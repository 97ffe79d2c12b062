// Observers that put what they get into mailboxes, and one model session.
#ifndef SIMSET_PLATFORM_OBSERVING_H
#define SIMSET_PLATFORM_OBSERVING_H

#include <string>
#include <vector>

#include "frame/Process.h"
#include "simset/core/Fixture.h"
#include "vumodelapi/RootInterface.h"

namespace simset::test {

struct IntegerObserver : vumodelapi::ObserverNumericInteger {
    void notifyConnectionState(std::int32_t) override {}
    void notifyInteger(std::int32_t value) override { values.Put(value); }
    Mailbox<std::int32_t> values;
};

struct TextObserver : vumodelapi::ObserverString {
    void notifyConnectionState(std::int32_t) override {}
    void notifyString(const char* text) override { texts.Put(text); }
    Mailbox<std::string> texts;
};

struct IntegersObserver : vumodelapi::ObserverVectorNumericInteger {
    void notifyConnectionState(std::int32_t) override {}
    void notifyIntegerVector(const std::vector<std::int32_t>& given) override { values.Put(given); }
    Mailbox<std::vector<std::int32_t>> values;
};

struct TextsObserver : vumodelapi::ObserverVectorString {
    void notifyConnectionState(std::int32_t) override {}
    void notifyStringVector(const std::vector<std::string>& given) override { texts.Put(given); }
    Mailbox<std::vector<std::string>> texts;
};

// Results as their first text, errors as "error N".
struct ActionObserver : vumodelapi::ObserverAction {
    void notifyConnectionState(std::int32_t) override {}
    void notifyExecutionResult(const vumodelapi::ArgumentList& results) override {
        reports.Put(results.empty() ? std::string("none") : results.front().values);
    }
    void notifyExecutionError(std::int32_t error) override { reports.Put("error " + std::to_string(error)); }
    Mailbox<std::string> reports;
};

struct TableObserver : vumodelapi::ObserverTable {
    void notifyConnectionState(std::int32_t) override {}
    void notifyUpdate(std::int32_t update) override { updates.Put(update); }
    Mailbox<std::int32_t> updates;
};

struct RowObserver : vumodelapi::ObserverTableIterator {
    void notifyConnectionState(std::int32_t) override {}
    void notifyCommit(std::int32_t) override {}
    void notifyTotalCount(std::int32_t count) override { counts.Put(count); }
    void notifySeekToRow(std::int32_t) override {}
    void notifySeekToContent(std::int32_t) override {}
    void notifyCursorPosition(std::int32_t) override {}
    void notifyReadRow() override {}
    void notifyReadRowChunk(const vumodelapi::TableRowChunk& rows) override { chunks.Put(rows); }
    void notifyIteratorReady() override {}
    void notifyUpdate(std::int32_t) override {}
    Mailbox<std::int32_t> counts;
    Mailbox<vumodelapi::TableRowChunk> chunks;
};

constexpr char kRootName[] = "tovix.lm.interfaces.tvapi.RootInterface";

// The way to the root interface, as the application goes it for every operation.
inline boost::shared_ptr<frame::Interface> OpenModel() {
    boost::shared_ptr<frame::Interface> interface;
    EXPECT_EQ(frame::Process::getInstance()->startAppMembersSync(CreateBizProxy), 0);
    EXPECT_EQ(frame::Process::getInstance()->getInterfaceReference(interface, kRootName), 0);
    return interface;
}

}  // namespace simset::test

#endif
