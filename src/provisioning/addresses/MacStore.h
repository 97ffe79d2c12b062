// The two places where the set keeps its MAC address.
#ifndef ZELFAC_PROVISIONING_ADDRESSES_MACSTORE_H
#define ZELFAC_PROVISIONING_ADDRESSES_MACSTORE_H

#include <cstdint>
#include <functional>
#include <string>

namespace zel {

// Called for a step that failed, with its line and its result; whether the other step is made all the same.
using StepFailed = std::function<bool(int line, std::int32_t result)>;

// Stores `mac` as it is, first as flash variable, then as metadata. Whether the last step was made and succeeded;
// what reached the first place stays there when the second fails. Command thread, or main thread at start-up.
bool StoreMac(const std::string& mac, const StepFailed& failed);

}  // namespace zel

#endif
