// Platform contract: the elements that travel to and from actions and tables of the TV model.
#ifndef VUMODELAPI_ARGUMENT_H
#define VUMODELAPI_ARGUMENT_H

#include <cstdint>
#include <string>
#include <vector>

namespace vumodelapi {

// One element of an action's argument or result list. Plain data, copied by value.
struct Argument {
    std::uint16_t tag = 0;      // library's own marking; callers pass 0
    std::uint8_t position = 0;  // place of the argument in the action's parameter list, 0 to 255
    std::uint8_t flags = 0;     // library's own marking; callers pass 0
    std::string values;         // the argument's value as text
};

using ArgumentList = std::vector<Argument>;

// One entry of the selection under which a table iterator reads: a column or filter code of the model
// library, with the operation and the text that a filter compares with (0 and empty for a plain column).
struct TableSelection {
    std::int32_t code = 0;
    std::int32_t operation = 0;
    std::string text;
};

using TableSelectionList = std::vector<TableSelection>;

using TableRow = std::vector<std::string>;  // one text per column
using TableRowChunk = std::vector<TableRow>;

}  // namespace vumodelapi

#endif
