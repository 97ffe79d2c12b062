// Showing one named input.

#include <array>
#include <string_view>

#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "model/ModelGlobals.h"
#include "model/ModelKeys.h"
#include "protocol/FrameCodec.h"

namespace {

constexpr char kName[] = "ZelUartCmdSourceCheck";

struct Input {
    std::string_view name;    // as the line sends it
    const zel::Tuner* tuner;  // null: an external input
    const char* sourceName;   // as the model calls it
};

constexpr std::array<Input, 17> kInputs = {{
    {"DTV", &zel::kTerrestrialCableTuner, nullptr},
    {"ATV", &zel::kAnalogueTuner, nullptr},
    {"VGA", nullptr, "VGA"},
    {"AV1", nullptr, "AVS"},
    {"AV2", nullptr, "AVS"},
    {"AV3", nullptr, "AVS"},
    {"DTV-C", &zel::kTerrestrialCableTuner, nullptr},
    {"DTV-T", &zel::kTerrestrialCableTuner, nullptr},
    {"HDMI1", nullptr, "HDMI1"},
    {"HDMI2", nullptr, "HDMI2"},
    {"HDMI3", nullptr, "HDMI3"},
    {"HDMI4", nullptr, "HDMI4"},
    {"DTV-S2", &zel::kSatelliteTuner, nullptr},
    {"DTV-T2", &zel::kTerrestrialCableTuner, nullptr},
    {"SCART1", nullptr, "SCART"},
    {"YPBPR1", nullptr, "COMPONENT"},
    {"YPBPR2", nullptr, "COMPONENT"},
}};

// Learns what is not known yet of the tuners and their lists. A failed step is printed and tried again at the
// next check, because the identity stays empty.
void LearnIdentities(UartManager& manager) {
    if (!zel::AllTunersKnown()) {
        zel::PrintIfFailed(manager.ZelGetDvbUuid(), kName, __LINE__);
    }
    for (const zel::Tuner* known : zel::kTuners) {
        if (known->channelUuid.Empty() && !known->uuid.Empty()) {
            zel::PrintIfFailed(manager.ZelGetDvbChannelList(known->uuid.Get()), kName, __LINE__);
        }
    }
}

std::int32_t Show(UartManager& manager, std::string_view name) {
    for (const Input& input : kInputs) {
        if (input.name != name) {
            continue;
        }
        if (input.tuner == nullptr) {
            return manager.ZelSetSource(zel::key::kSourceSwitch, input.sourceName);
        }
        if (input.tuner->uuid.Empty() || input.tuner->channelUuid.Empty()) {
            return -1;
        }
        return manager.ZelSetDvbTVChannel(input.tuner->uuid.Get(), input.tuner->channelUuid.Get());
    }
    return -1;
}

}  // namespace

std::int32_t UartManager::ZelUartCmdSourceCheck(UartFrame frame) {
    LearnIdentities(*this);
    const std::int32_t result = Show(*this, zel::Payload(frame));
    zel::PrintIfFailed(ZelSetValue(zel::key::kAutomaticVolume, 0), kName, __LINE__);
    zel::PrintIfFailed(ZelSetVectorValue(zel::key::kSocDrc, 0, 0), kName, __LINE__);
    zel::PrintIfFailed(ZelSetVectorValue(zel::key::kDtsPeq, 1, 0), kName, __LINE__);
    return result;
}
