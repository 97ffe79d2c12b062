// Argument lists of the model's actions.
#ifndef ZELFAC_MODEL_ARGUMENTS_H
#define ZELFAC_MODEL_ARGUMENTS_H

#include <cstdint>

#include "vumodelapi/Argument.h"

namespace zel {

// One element for each slot that is not null, in slot order: a copy of the text at the slot's own position, 0 to
// 4. A null slot leaves a gap, the later ones are not moved up.
inline vumodelapi::ArgumentList BuildArguments(const char* slot0, const char* slot1 = nullptr,
                                               const char* slot2 = nullptr, const char* slot3 = nullptr,
                                               const char* slot4 = nullptr) {
    vumodelapi::ArgumentList arguments;
    std::uint8_t position = 0;
    for (const char* slot : {slot0, slot1, slot2, slot3, slot4}) {
        if (slot != nullptr) {
            arguments.push_back({0, position, 0, slot});
        }
        ++position;
    }
    return arguments;
}

}  // namespace zel

#endif
