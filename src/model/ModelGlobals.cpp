#include "model/ModelGlobals.h"

#include <algorithm>

std::atomic<std::int32_t> factory_ready_val{0};
std::atomic<std::int32_t> m_i32ChannelCount{0};
std::atomic<bool> m_bPresetChannelFinish{false};
std::atomic<bool> m_bGeTunerUuidFinish{false};

zel::SharedText dst_ATV_tuner_uuid;
zel::SharedText dst_DTV_tuner_uuid;
zel::SharedText dst_DTVS2_tuner_uuid;
zel::SharedText m_strAtvUuid;
zel::SharedText m_strDtvUuid;
zel::SharedText m_strDtvS2Uuid;
zel::SharedText m_strAtvNum;
zel::SharedText m_strDtvNum;

boost::shared_ptr<vumodelapi::TableIterator>& ptrFavListTabLelterator =
    *new boost::shared_ptr<vumodelapi::TableIterator>;

bool zel::AllTunersKnown() {
    return std::none_of(kTuners.begin(), kTuners.end(), [](const Tuner* tuner) { return tuner->uuid.Empty(); });
}
