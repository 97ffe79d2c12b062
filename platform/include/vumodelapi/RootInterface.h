// Platform contract: the root of the TV model and the value handles that it hands out.
//
// Every operation that returns a status returns 0 on success and a code of the library otherwise. All of them
// may be called from any thread, several at once. A handle belongs to the library and is valid until the key is
// disconnected or the interface reference is released.
#ifndef VUMODELAPI_ROOTINTERFACE_H
#define VUMODELAPI_ROOTINTERFACE_H

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vumodelapi/Argument.h"
#include "vumodelapi/Observers.h"

namespace vumodelapi {

class NumericInteger {
  public:
    virtual std::int32_t setValue(std::int32_t value) = 0;
    // The key's value; 0 when the library cannot read it.
    virtual std::int32_t getValue() = 0;

  protected:
    ~NumericInteger() = default;
};

class String {
  public:
    virtual std::int32_t setValue(const std::string& text) = 0;
    // Replaces `text` by the key's value; leaves it untouched when the library cannot read it.
    virtual void getValue(std::string& text) = 0;

  protected:
    ~String() = default;
};

class VectorNumericInteger {
  public:
    // Writes the elements named by the map (index to value) and leaves the others. An index beyond the
    // vector's length is the library's to judge.
    virtual std::int32_t setValue(const std::map<std::int32_t, std::int32_t>& elements) = 0;
    // Replaces `values` by the whole vector; untouched on failure.
    virtual std::int32_t getValue(std::vector<std::int32_t>& values) = 0;

  protected:
    ~VectorNumericInteger() = default;
};

class VectorString {
  public:
    // Replaces `texts` by the whole vector; untouched on failure.
    virtual std::int32_t getValue(std::vector<std::string>& texts) = 0;

  protected:
    ~VectorString() = default;
};

class Action {
  public:
    // Asks for the action to be carried out. Returns as soon as the library has accepted it; what it came to
    // is reported to the observer. `results` takes what the library knows at once, usually nothing. The caller
    // keeps both lists until the key is disconnected.
    virtual std::int32_t invoke(const ArgumentList& arguments, ArgumentList& results) = 0;

  protected:
    ~Action() = default;
};

// A cursor over one table. Requests return at once; the answers reach the iterator's observer.
class TableIterator {
  public:
    virtual ~TableIterator() = default;
    // Asks for the number of rows: ObserverTableIterator::notifyTotalCount.
    virtual std::int32_t totalCount() = 0;
    // Asks for the next `count` rows (0 or more): ObserverTableIterator::notifyReadRowChunk.
    virtual std::int32_t readNextRows(std::int32_t count) = 0;
};

class Table {
  public:
    // A new iterator over the rows and columns that `selection` names (empty: all), or null. The iterator may
    // be kept beyond the connection; it then delivers nothing more.
    virtual boost::shared_ptr<TableIterator> createIterator(const TableSelectionList& selection,
                                                            ObserverTableIterator* observer) = 0;

  protected:
    ~Table() = default;
};

// The entry to all keys. connect() binds `observer` to `key` and yields the key's handle; on a non-zero status
// nothing is connected and `handle` is untouched. A status 0 does not promise a handle: where the library has none
// for the key it stays null, and the caller has to look. The kind of the handle must be the kind of the key.
class RootInterface {
  public:
    virtual std::int32_t connect(const std::string& key, ObserverNumericInteger* observer,
                                 NumericInteger*& handle) = 0;
    virtual std::int32_t connect(const std::string& key, ObserverString* observer, String*& handle) = 0;
    virtual std::int32_t connect(const std::string& key, ObserverVectorNumericInteger* observer,
                                 VectorNumericInteger*& handle) = 0;
    virtual std::int32_t connect(const std::string& key, ObserverVectorString* observer,
                                 VectorString*& handle) = 0;
    // `observer` may be null: the results are then reported to nobody.
    virtual std::int32_t connect(const std::string& key, ObserverAction* observer, Action*& handle) = 0;
    virtual std::int32_t connect(const std::string& key, ObserverTable* observer, Table*& handle) = 0;

    // Ends the connection that connect(key, observer, …) made. When it returns, the observer is called no more
    // and the handle is gone.
    virtual std::int32_t disconnect(const std::string& key, Observer* observer) = 0;

  protected:
    ~RootInterface() = default;
};

}  // namespace vumodelapi

#endif
