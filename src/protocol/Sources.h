// The sources that the source check can show.
#ifndef ZELFAC_PROTOCOL_SOURCES_H
#define ZELFAC_PROTOCOL_SOURCES_H

#include <array>
#include <cstdint>
#include <string_view>

namespace zel {

enum class SourceKind : std::uint8_t { External, TerrestrialCable, Satellite, Analogue };  // the latter by tuner

struct SourceInfo {
    std::string_view name;  // as the line sends it
    SourceKind kind;
    const char* modelName;  // of an external input: as the television's model calls it
};

inline constexpr std::array<SourceInfo, 17> kSources = {{
    {"DTV", SourceKind::TerrestrialCable, nullptr},
    {"DTV-C", SourceKind::TerrestrialCable, nullptr},
    {"DTV-T", SourceKind::TerrestrialCable, nullptr},
    {"DTV-T2", SourceKind::TerrestrialCable, nullptr},
    {"DTV-S2", SourceKind::Satellite, nullptr},
    {"ATV", SourceKind::Analogue, nullptr},
    {"VGA", SourceKind::External, "VGA"},
    {"AV1", SourceKind::External, "AVS"},
    {"AV2", SourceKind::External, "AVS"},
    {"AV3", SourceKind::External, "AVS"},
    {"HDMI1", SourceKind::External, "HDMI1"},
    {"HDMI2", SourceKind::External, "HDMI2"},
    {"HDMI3", SourceKind::External, "HDMI3"},
    {"HDMI4", SourceKind::External, "HDMI4"},
    {"SCART1", SourceKind::External, "SCART"},
    {"YPBPR1", SourceKind::External, "COMPONENT"},
    {"YPBPR2", SourceKind::External, "COMPONENT"},
}};

}  // namespace zel

#endif
