// Flash variables and factory metadata of the simulated set.
#ifndef SIMSET_SERVICES_RECORDS_H
#define SIMSET_SERVICES_RECORDS_H

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "simset/core/rules/CallOrder.h"
#include "simset/core/state/Shared.h"

namespace simset {

// Boot variables. Not thread-safe; see Shared.
class Flash {
  public:
    explicit Flash(Shared& shared);

    // "name"; the reply holds "value", the empty text for a variable that was never set.
    Reply Get(const Request& request);
    // "name", "value".
    Reply Put(const Request& request);

    // The variables that a set has.
    static const std::set<std::string>& Names();

    // All that were ever set.
    const std::map<std::string, std::string>& Values() const { return m_values; }

    std::string Value(const std::string& name) const;
    void Assign(const std::string& name, const std::string& value);  // throws StateError

  private:
    std::int32_t Judge(const char* call, const std::string& name) const;

    Shared& m_shared;
    std::map<std::string, std::string> m_values;
};

// Numbered items; 6 and 8 are texts, the others signed 32-bit numbers, 0 or empty until written. Not thread-safe.
class Metadata {
  public:
    // `order` judges the calls of the library that this is a part of.
    Metadata(Shared& shared, AuxiliaryOrder& order);

    static bool IsText(int item);

    Reply Init(const Request& request);
    // "item", "text" (whether a text is asked for); the reply holds "value".
    Reply Read(const Request& request);
    // "item", "value", a number or a text.
    Reply Write(const Request& request);
    // Records that the access route file of the project id was asked for.
    Reply CreateAccessRoute(const Request& request);

    nlohmann::json Value(int item) const;
    void Assign(int item, const nlohmann::json& value);  // throws StateError

  private:
    std::int32_t Judge(const char* call, int item) const;

    Shared& m_shared;
    AuxiliaryOrder& m_order;
    std::map<int, nlohmann::json> m_values;
};

}  // namespace simset

#endif
