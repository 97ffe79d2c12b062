// What the model's notifications leave behind for those who wait for it. Written on the model library's
// threads, polled on the application's; never reset by the observers.
#ifndef ZELFAC_MODEL_MODELGLOBALS_H
#define ZELFAC_MODEL_MODELGLOBALS_H

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cstdint>

#include "text/SharedText.h"
#include "vumodelapi/RootInterface.h"

extern std::atomic<std::int32_t> factory_ready_val;  // 1: the factory-ready action was confirmed
extern std::atomic<std::int32_t> m_i32ChannelCount;  // rows of the table being iterated
extern std::atomic<bool> m_bPresetChannelFinish;     // message 338 has arrived: a preset load has ended
extern std::atomic<bool> m_bGeTunerUuidFinish;       // favourite-list rows are channels (true) or tuners

extern zel::SharedText dst_ATV_tuner_uuid;    // analogue tuner
extern zel::SharedText dst_DTV_tuner_uuid;    // terrestrial and cable tuner
extern zel::SharedText dst_DTVS2_tuner_uuid;  // satellite tuner
extern zel::SharedText m_strAtvUuid;          // reference channel of each tuner
extern zel::SharedText m_strDtvUuid;
extern zel::SharedText m_strDtvS2Uuid;
extern zel::SharedText m_strAtvNum;  // channel numbers of the reference channels; nothing fills them
extern zel::SharedText m_strDtvNum;

// The table iterator created last. Touched by the thread that runs the table reads only.
extern boost::shared_ptr<vumodelapi::TableIterator> ptrFavListTabLelterator;

#endif
