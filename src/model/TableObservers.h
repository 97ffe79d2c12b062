// Observers of tables and of the iterators that read them. They hold no state of their own; the library calls
// them on threads of its own.
#ifndef ZELFAC_MODEL_TABLEOBSERVERS_H
#define ZELFAC_MODEL_TABLEOBSERVERS_H

#include <cstdint>

#include "vumodelapi/Observers.h"

// The service list's changes.
class ChannelObserverTableImpl : public vumodelapi::ObserverTable {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyUpdate(std::int32_t update) override;
};

// The favourite list's changes.
class FavlistObserverTableImpl : public vumodelapi::ObserverTable {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyUpdate(std::int32_t update) override;
};

// Reading the service list: a trace, and the row count in m_i32ChannelCount.
class ChannelObserverTableIteratorImpl : public vumodelapi::ObserverTableIterator {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyCommit(std::int32_t result) override;
    void notifyTotalCount(std::int32_t count) override;
    void notifySeekToRow(std::int32_t result) override;
    void notifySeekToContent(std::int32_t result) override;
    void notifyCursorPosition(std::int32_t result) override;
    void notifyReadRow() override;
    void notifyReadRowChunk(const vumodelapi::TableRowChunk& rows) override;
    void notifyIteratorReady() override;
    void notifyUpdate(std::int32_t update) override;
};

// Reading the favourite list, and the service list where its channels are looked for: the row count in
// m_i32ChannelCount, and from the rows the tuner identities (while m_bGeTunerUuidFinish is false) or the
// reference channels (while it is true). The last matching row wins.
class FavlistObserverTableIteratorImpl : public vumodelapi::ObserverTableIterator {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyCommit(std::int32_t result) override;
    void notifyTotalCount(std::int32_t count) override;
    void notifySeekToRow(std::int32_t result) override;
    void notifySeekToContent(std::int32_t result) override;
    void notifyCursorPosition(std::int32_t result) override;
    void notifyReadRow() override;
    void notifyReadRowChunk(const vumodelapi::TableRowChunk& rows) override;
    void notifyIteratorReady() override;
    void notifyUpdate(std::int32_t update) override;
};

#endif
