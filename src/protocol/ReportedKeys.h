// The keys of the remote control and the panel whose presses are reported to the line by name.
#ifndef ZELFAC_PROTOCOL_REPORTEDKEYS_H
#define ZELFAC_PROTOCOL_REPORTEDKEYS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zel {

struct ReportedKey {
    std::int32_t code;  // the set's own
    std::string_view word;
};

constexpr std::int32_t kPowerKey = 70;

inline constexpr std::array<ReportedKey, 7> kReportedKeys = {{{kPowerKey, "POWER"},
                                                              {161, "CHUP"},
                                                              {163, "CHDOWN"},
                                                              {166, "VOUP"},
                                                              {162, "VODOWN"},
                                                              {164, "MENU"},
                                                              {168, "SOURCE"}}};

// The key's place in the list, the size of the list for a key that is not in it.
inline std::size_t PlaceOfReportedKey(std::int32_t code) {
    const auto found = std::find_if(kReportedKeys.begin(), kReportedKeys.end(),
                                    [code](const ReportedKey& key) { return key.code == code; });
    return static_cast<std::size_t>(found - kReportedKeys.begin());
}

inline bool IsReportedKey(std::int32_t code) {
    return PlaceOfReportedKey(code) < kReportedKeys.size();
}

}  // namespace zel

#endif
