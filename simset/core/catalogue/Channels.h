// The tuners of the simulated set and the channels of its factory preset.
#ifndef SIMSET_CATALOGUE_CHANNELS_H
#define SIMSET_CATALOGUE_CHANNELS_H

#include <nlohmann/json.hpp>

namespace simset {

// One row per list of the set: identity, name. The tuners are the lists "Analog", "Antenna" and "Astra 19.2E".
nlohmann::json FactoryTuners();

// Rows of channels by identity of their tuner: tuner, number, identity, tuning text, kind, name. One channel per
// tuner is a reference of the line: 60 MHz, 666 MHz, and the only satellite channel with symbol rate 27500.
nlohmann::json FactoryChannels();

}  // namespace simset

#endif
