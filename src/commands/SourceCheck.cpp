// Showing one named input.

#include <string_view>

#include "UartManager/UartManager.h"
#include "log/LogPrint.h"
#include "model/ModelGlobals.h"
#include "model/ModelKeys.h"
#include "protocol/FrameCodec.h"
#include "protocol/Sources.h"

namespace {

constexpr char kName[] = "ZelUartCmdSourceCheck";

// The tuner of a source that is no external input.
const zel::Tuner& TunerOf(zel::SourceKind kind) {
    switch (kind) {
        case zel::SourceKind::Analogue:
            return zel::kAnalogueTuner;
        case zel::SourceKind::Satellite:
            return zel::kSatelliteTuner;
        default:
            return zel::kTerrestrialCableTuner;
    }
}

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
    for (const zel::SourceInfo& source : zel::kSources) {
        if (source.name != name) {
            continue;
        }
        if (source.kind == zel::SourceKind::External) {
            return manager.ZelSetSource(zel::key::kSourceSwitch, source.modelName);
        }
        const zel::Tuner& tuner = TunerOf(source.kind);
        if (tuner.uuid.Empty() || tuner.channelUuid.Empty()) {
            return -1;
        }
        return manager.ZelSetDvbTVChannel(tuner.uuid.Get(), tuner.channelUuid.Get());
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
