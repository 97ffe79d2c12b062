// What an application may do with each key of the model tree: the contract that the television holds it to.
#ifndef SIMSET_CATALOGUE_KEYRULES_H
#define SIMSET_CATALOGUE_KEYRULES_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simset/core/catalogue/Catalogue.h"

namespace simset {

enum class Access : std::uint8_t { ReadOnly, Writable, Invoked };

// What must have happened since power-on before the key is used.
enum class Need : std::uint8_t {
    Nothing,
    Preset,  // the preset was loaded
    Radio,   // the Bluetooth radio is on
    Finish   // the partitions are writable and the flash variables of a finished set are set
};

struct ArgumentRule {
    std::string_view position;              // empty: any
    std::vector<std::string_view> allowed;  // empty: any text with something in it
};

struct KeyRule {
    std::string_view key;
    Access access = Access::ReadOnly;
    std::int32_t minimum = 0;                      // of an integer that may be written, and of each element
    std::int32_t maximum = 0;                      // so too
    std::vector<std::vector<ArgumentRule>> forms;  // the argument lists that an action takes
    Need need = Need::Nothing;
    std::chrono::milliseconds settle{50};  // between the last operation and the disconnect
};

const std::vector<KeyRule>& KeyRules();

// The rule of a key of the catalogue.
const KeyRule& RuleOf(const KeyInfo& info);

// What a refused use broke: the status that the caller gets, the rule, and in words what would have been right.
struct Refusal {
    std::int32_t status;
    std::string rule;
    std::string expected;
    bool blamed = true;  // false: what was missing may have been made to fail
};

// Judges an application's write to a value; `given` is the value, or of a vector pairs of index and element, of
// which the vector has `elements`. Nothing when it is allowed.
std::optional<Refusal> JudgeWrite(const KeyInfo& info, const nlohmann::json& given, std::size_t elements);

// Judges the arguments of an action, an array of [position, text]. Nothing when they are allowed.
std::optional<Refusal> JudgeArguments(const KeyInfo& info, const nlohmann::json& arguments);

}  // namespace simset

#endif
