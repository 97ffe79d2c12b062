// The rules that were broken in this run of simset.
#ifndef SIMSET_RULES_VIOLATIONS_H
#define SIMSET_RULES_VIOLATIONS_H

#include <cstddef>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace simset {

// Thread-safe. All are counted, the first kMaxRows are kept.
class Violations {
  public:
    static constexpr std::size_t kMaxRows = 1000;

    // The trace row that says that `call` ("invoke", "disconnect", ...) broke `rule` (words-with-dashes), since
    // `expected` (words for people) did not hold. `details` is an object of further members: the key, the value.
    static nlohmann::json Row(const std::string& rule, const std::string& call, const std::string& expected,
                              nlohmann::json details);

    // Whether a row of a trace says that a rule was broken.
    static bool IsOne(const nlohmann::json& row);

    // Keeps a row that Row made.
    void Add(const nlohmann::json& row);

    std::size_t Count() const;

    // The rows that are kept, in order, as JSON Lines; empty when no rule was broken.
    std::string Lines() const;

  private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
    std::size_t m_count = 0;
};

}  // namespace simset

#endif
