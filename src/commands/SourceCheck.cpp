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

// A tuner and its channel list, by the identities that were learnt of them.
struct Tuner {
    const zel::SharedText& tuner;
    const zel::SharedText& list;
};

const Tuner kAnalogue{dst_ATV_tuner_uuid, m_strAtvUuid};
const Tuner kTerrestrialCable{dst_DTV_tuner_uuid, m_strDtvUuid};
const Tuner kSatellite{dst_DTVS2_tuner_uuid, m_strDtvS2Uuid};

struct Input {
    std::string_view name;   // as the line sends it
    const Tuner* tuner;      // null: an external input
    const char* sourceName;  // as the model calls it
};

constexpr std::array<Input, 17> kInputs = {{
    {"DTV", &kTerrestrialCable, nullptr},
    {"ATV", &kAnalogue, nullptr},
    {"VGA", nullptr, "VGA"},
    {"AV1", nullptr, "AVS"},
    {"AV2", nullptr, "AVS"},
    {"AV3", nullptr, "AVS"},
    {"DTV-C", &kTerrestrialCable, nullptr},
    {"DTV-T", &kTerrestrialCable, nullptr},
    {"HDMI1", nullptr, "HDMI1"},
    {"HDMI2", nullptr, "HDMI2"},
    {"HDMI3", nullptr, "HDMI3"},
    {"HDMI4", nullptr, "HDMI4"},
    {"DTV-S2", &kSatellite, nullptr},
    {"DTV-T2", &kTerrestrialCable, nullptr},
    {"SCART1", nullptr, "SCART"},
    {"YPBPR1", nullptr, "COMPONENT"},
    {"YPBPR2", nullptr, "COMPONENT"},
}};

// Learns what is not known yet of the tuners and their lists. A failed step is printed and tried again at the
// next check, because the identity stays empty.
void LearnIdentities(UartManager& manager) {
    if (dst_ATV_tuner_uuid.Empty() || dst_DTV_tuner_uuid.Empty() || dst_DTVS2_tuner_uuid.Empty()) {
        zel::PrintIfFailed(manager.ZelGetDvbUuid(), kName, __LINE__);
    }
    for (const Tuner* known : {&kAnalogue, &kTerrestrialCable, &kSatellite}) {
        if (known->list.Empty() && !known->tuner.Empty()) {
            zel::PrintIfFailed(manager.ZelGetDvbChannelList(known->tuner.Get()), kName, __LINE__);
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
        if (input.tuner->tuner.Empty() || input.tuner->list.Empty()) {
            return -1;
        }
        return manager.ZelSetDvbTVChannel(input.tuner->tuner.Get(), input.tuner->list.Get());
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
