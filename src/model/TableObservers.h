// Observers of tables and of the iterators that read them. They hold no state of their own; the library calls
// them on threads of its own.
#ifndef ZELFAC_MODEL_TABLEOBSERVERS_H
#define ZELFAC_MODEL_TABLEOBSERVERS_H

#include <cstdint>
#include <cstdio>

#include "log/FixedLine.h"
#include "model/ModelGlobals.h"
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

namespace zel {

// The number of each notification's line in the trace.
struct IteratorLines {
    int commit;
    int totalCount;
    int seekToRow;
    int seekToContent;
    int cursorPosition;
    int readRow;
    int iteratorReady;
    int update;
};

inline constexpr IteratorLines kServiceListLines = {FixedLine(191), FixedLine(201), FixedLine(211),
                                                    FixedLine(221), FixedLine(231), FixedLine(244),
                                                    FixedLine(314), FixedLine(324)};
inline constexpr IteratorLines kFavouriteListLines = {FixedLine(379), FixedLine(389), FixedLine(399),
                                                      FixedLine(409), FixedLine(419), FixedLine(432),
                                                      FixedLine(516), FixedLine(526)};

// What reading any table leaves behind: a trace, and the row count in m_i32ChannelCount.
template <const IteratorLines& Lines>
class TracedTableIterator : public vumodelapi::ObserverTableIterator {
  public:
    void notifyConnectionState(std::int32_t) override {}
    void notifyCommit(std::int32_t result) override {
        std::printf(" %s %d result:%d\n", "notifyCommit", Lines.commit, result);
    }
    void notifyTotalCount(std::int32_t count) override {
        m_i32ChannelCount = count;
        std::printf(" %s %d m_i32ChannelCount:%d\n", "notifyTotalCount", Lines.totalCount, count);
    }
    void notifySeekToRow(std::int32_t result) override {
        std::printf(" %s %d res:%d\n", "notifySeekToRow", Lines.seekToRow, result);
    }
    void notifySeekToContent(std::int32_t result) override {
        std::printf(" %s %d res:%d\n", "notifySeekToContent", Lines.seekToContent, result);
    }
    void notifyCursorPosition(std::int32_t result) override {
        std::printf(" %s %d res:%d\n", "notifyCursorPosition", Lines.cursorPosition, result);
    }
    void notifyReadRow() override { std::printf(" %s %d \n", "notifyReadRow", Lines.readRow); }
    void notifyIteratorReady() override { std::printf(" %s %d \n", "notifyIteratorReady", Lines.iteratorReady); }
    void notifyUpdate(std::int32_t update) override {
        std::printf(" %s %d update:%d\n", "notifyUpdate", Lines.update, update);
    }
};

}  // namespace zel

// Reading the service list: the trace alone.
class ChannelObserverTableIteratorImpl : public zel::TracedTableIterator<zel::kServiceListLines> {
  public:
    void notifyReadRowChunk(const vumodelapi::TableRowChunk& rows) override;
};

// Reading the favourite list, and the service list where its channels are looked for: from the rows the tuner
// identities (while m_bGeTunerUuidFinish is false) or the reference channels (while it is true). The last matching
// row wins.
class FavlistObserverTableIteratorImpl : public zel::TracedTableIterator<zel::kFavouriteListLines> {
  public:
    void notifyReadRow() override;
    void notifyReadRowChunk(const vumodelapi::TableRowChunk& rows) override;
};

#endif
