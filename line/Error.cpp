#include "Error.h"

#include <algorithm>
#include <array>

namespace zelline {

Exit Worse(Exit a, Exit b) {
    constexpr std::array<Exit, 7> kOrder = {Exit::Success,  Exit::Record, Exit::Failure,    Exit::NoAnswer,
                                            Exit::Unusable, Exit::Port,   Exit::Interrupted};
    return std::find(kOrder.begin(), kOrder.end(), a) < std::find(kOrder.begin(), kOrder.end(), b) ? b : a;
}

}  // namespace zelline
