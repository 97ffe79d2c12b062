// What the model's notifications leave behind for those who wait for it. Written on the model library's
// threads, polled on the application's; never reset by the observers.
#ifndef ZELFAC_MODEL_MODELGLOBALS_H
#define ZELFAC_MODEL_MODELGLOBALS_H

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cstdint>

#include "log/FixedLine.h"
#include "text/SharedText.h"
#include "vumodelapi/RootInterface.h"

inline std::atomic<std::int32_t> factory_ready_val{0};   // 1: the factory-ready action was confirmed
inline std::atomic<std::int32_t> m_i32ChannelCount{0};   // rows of the table being iterated
inline std::atomic<bool> m_bPresetChannelFinish{false};  // message 338 has arrived: a preset load has ended
inline std::atomic<bool> m_bGeTunerUuidFinish{false};    // favourite-list rows are channels (true) or tuners

inline zel::SharedText dst_ATV_tuner_uuid;    // analogue tuner
inline zel::SharedText dst_DTV_tuner_uuid;    // terrestrial and cable tuner
inline zel::SharedText dst_DTVS2_tuner_uuid;  // satellite tuner
inline zel::SharedText m_strAtvUuid;          // reference channel of each
inline zel::SharedText m_strDtvUuid;
inline zel::SharedText m_strDtvS2Uuid;
inline zel::SharedText m_strAtvNum;  // channel numbers of the reference channels; nothing fills them
inline zel::SharedText m_strDtvNum;

namespace zel {

// One of the set's tuners: what is learnt of it, and how its rows are told apart.
struct Tuner {
    SharedText& uuid;         // the tuner's identity
    SharedText& channelUuid;  // its reference channel
    const char* uuidName;     // what the trace calls the two
    const char* channelUuidName;
    const char* name;     // in the favourite list
    bool nameGoesOn;      // the name is followed by the satellite's position
    const char* channel;  // part of the reference channel's tuning data: the factory signal fixes its place
    int presetStep;       // of the failure line when its channels cannot be read
};

inline constexpr Tuner kAnalogueTuner = {dst_ATV_tuner_uuid, m_strAtvUuid, "dst_ATV_tuner_uuid", "m_strAtvUuid",
                                         "Analog",           false,        "frequency=60000",    FixedLine(2312)};
inline constexpr Tuner kTerrestrialCableTuner = {dst_DTV_tuner_uuid, m_strDtvUuid,   "dst_DTV_tuner_uuid",
                                                 "m_strDtvUuid",     "Antenna",      false,
                                                 "frequency=666000", FixedLine(2322)};
inline constexpr Tuner kSatelliteTuner = {dst_DTVS2_tuner_uuid, m_strDtvS2Uuid, "dst_DTVS2_tuner_uuid",
                                          "m_strDtvS2Uuid",     "Astra",        true,
                                          "symbolrate=27500",   FixedLine(2332)};

// In the order in which they are looked for and asked for.
inline constexpr std::array<const Tuner*, 3> kTuners = {&kAnalogueTuner, &kTerrestrialCableTuner,
                                                        &kSatelliteTuner};

// Whether the identities of all three are known.
inline bool AllTunersKnown() {
    return std::none_of(kTuners.begin(), kTuners.end(), [](const Tuner* tuner) { return tuner->uuid.Empty(); });
}

}  // namespace zel

// The tuner list's iterator of the last ZelGetDvbUuid. Touched by the thread that runs the table reads only. Never
// destroyed: its destruction is the model library's, which is not called any more once main has ended.
inline boost::shared_ptr<vumodelapi::TableIterator>& ptrFavListTabLelterator =
    *new boost::shared_ptr<vumodelapi::TableIterator>;

#endif
