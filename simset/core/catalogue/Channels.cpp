#include "simset/core/catalogue/Channels.h"

#include <fmt/format.h>

#include <string>

namespace simset {

namespace {

using nlohmann::json;

constexpr char kAnalog[] = "5d0c6a10-0001-4e4b-9602-a0a10c000001";
constexpr char kAntenna[] = "5d0c6a10-0002-4e4b-9602-a0a10c000002";
constexpr char kSatellite[] = "5d0c6a10-0005-4e4b-9602-a0a10c000005";

constexpr int kAnalogChannels = 12;
constexpr int kAntennaMultiplexes = 26;
constexpr int kServicesPerMultiplex = 2;
constexpr int kTransponders = 60;
constexpr int kReferenceTransponder = 41;

std::string Identity(int list, int number) {
    return fmt::format("c4a77e1e-{:04d}-4e4b-9602-{:012d}", list, number);
}

json Row(const char* tuner, int number, const std::string& identity, const std::string& tuning, const char* kind,
         const std::string& name) {
    return json::array({tuner, std::to_string(number), identity, tuning, kind, name});
}

json AnalogChannels() {
    json rows = json::array();
    for (int i = 1; i <= kAnalogChannels; ++i) {
        // 60 MHz first, then one channel every 8 MHz from 175.25 MHz.
        const int kilohertz = i == 1 ? 60000 : 175250 + 8000 * (i - 2);
        rows.push_back(Row(kAnalog, i, Identity(1, i), fmt::format("frequency={};system=PAL-BG", kilohertz), "ATV",
                           fmt::format("ATV {:02d}", i)));
    }
    return rows;
}

json AntennaChannels() {
    json rows = json::array();
    int number = 0;
    for (int multiplex = 0; multiplex < kAntennaMultiplexes; ++multiplex) {
        // The UHF raster: 474 MHz and every 8 MHz on; 666 MHz is one of them.
        const int kilohertz = 474000 + 8000 * multiplex;
        const int services = kilohertz == 666000 ? 1 : kServicesPerMultiplex;
        for (int service = 0; service < services; ++service) {
            ++number;
            rows.push_back(
                Row(kAntenna, number, Identity(2, number),
                    fmt::format("frequency={};bandwidth=8;system=DVB-T2;service={}", kilohertz, service + 1),
                    "DTV", fmt::format("DTV {:03d}", number)));
        }
    }
    return rows;
}

json SatelliteChannels() {
    json rows = json::array();
    for (int i = 1; i <= kTransponders; ++i) {
        const int megahertz = 10744 + 33 * (i - 1);
        const int rate = i == kReferenceTransponder ? 27500 : (i % 2 == 0 ? 22000 : 23500);
        rows.push_back(Row(kSatellite, i, Identity(5, i),
                           fmt::format("frequency={};polarity={};symbolrate={};system=DVB-S2", megahertz,
                                       i % 2 == 0 ? 'V' : 'H', rate),
                           "DTV", fmt::format("SAT {:03d}", i)));
    }
    return rows;
}

}  // namespace

json FactoryTuners() {
    return json::array({
        json::array({kAnalog, "Analog"}),
        json::array({kAntenna, "Antenna"}),
        json::array({"5d0c6a10-0003-4e4b-9602-a0a10c000003", "Cable"}),
        json::array({"5d0c6a10-0004-4e4b-9602-a0a10c000004", "Analogue archive"}),
        json::array({kSatellite, "Astra 19.2E"}),
        json::array({"5d0c6a10-0006-4e4b-9602-a0a10c000006", "Hotbird 13.0E"}),
        json::array({"5d0c6a10-0007-4e4b-9602-a0a10c000007", "Favourites 1"}),
    });
}

json FactoryChannels() {
    return {{kAnalog, AnalogChannels()}, {kAntenna, AntennaChannels()}, {kSatellite, SatelliteChannels()}};
}

}  // namespace simset
