// Platform contract: the observer bases of the TV model library.
//
// An observer is handed to RootInterface::connect and stays the caller's. The library calls it on threads of
// its own, never on the thread inside connect, and may call several observers at once. It calls no observer
// after RootInterface::disconnect for it has returned, nor after the interface reference through which it was
// connected has been released; both wait for a notification that is being delivered. An observer must
// therefore outlive its connection and must not disconnect itself from inside a notification.
#ifndef VUMODELAPI_OBSERVERS_H
#define VUMODELAPI_OBSERVERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "vumodelapi/Argument.h"

namespace vumodelapi {

// Root of all observers.
class Observer {
  public:
    virtual ~Observer() = default;

    // The connection to the observed object changed; `state` is the library's own code.
    virtual void notifyConnectionState(std::int32_t state) = 0;
};

class ObserverNumericInteger : public Observer {
  public:
    // The key has taken `value`.
    virtual void notifyInteger(std::int32_t value) = 0;
};

class ObserverString : public Observer {
  public:
    // The key has taken `text`: NUL-terminated, valid during the call only, null when the key has no value.
    virtual void notifyString(const char* text) = 0;
};

class ObserverVectorNumericInteger : public Observer {
  public:
    virtual void notifyIntegerVector(const std::vector<std::int32_t>& values) = 0;
};

class ObserverVectorString : public Observer {
  public:
    virtual void notifyStringVector(const std::vector<std::string>& texts) = 0;
};

class ObserverAction : public Observer {
  public:
    // The invoked action has ended and reports `results`, which may be empty.
    virtual void notifyExecutionResult(const ArgumentList& results) = 0;
    // The invoked action could not be carried out; `error` is the library's own code.
    virtual void notifyExecutionError(std::int32_t error) = 0;
};

class ObserverTable : public Observer {
  public:
    // The table's content changed; `update` is the library's own code of the change.
    virtual void notifyUpdate(std::int32_t update) = 0;
};

// Events of one table iterator. All arguments but counts and rows are codes of the library.
class ObserverTableIterator : public Observer {
  public:
    virtual void notifyCommit(std::int32_t result) = 0;
    virtual void notifyTotalCount(std::int32_t count) = 0;  // answer to TableIterator::totalCount
    virtual void notifySeekToRow(std::int32_t result) = 0;
    virtual void notifySeekToContent(std::int32_t result) = 0;
    virtual void notifyCursorPosition(std::int32_t result) = 0;
    virtual void notifyReadRow() = 0;
    virtual void notifyReadRowChunk(const TableRowChunk& rows) = 0;  // answer to TableIterator::readNextRows
    virtual void notifyIteratorReady() = 0;
    virtual void notifyUpdate(std::int32_t update) = 0;
};

}  // namespace vumodelapi

#endif
