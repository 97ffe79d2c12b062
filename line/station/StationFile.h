// The file that says what a station is: its slots, its plan, what is scanned, its store and its page.
#ifndef ZELLINE_STATION_STATIONFILE_H
#define ZELLINE_STATION_STATIONFILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "plan/Plan.h"
#include "port/PortPlace.h"

namespace zelline {

struct SlotPlace {
    std::string name;
    PortPlace port;
    std::string plan;  // file
};

// Where the operator's page is; without a host there is none.
struct PagePlace {
    bool IsLoopback() const;

    std::string host;        // an IP address
    std::uint16_t port = 0;  // 0: a free one
    std::string token;       // empty only where the host is this machine's own
    std::string language;
};

struct StationFile {
    std::string name;
    std::string scan;                  // regular expression that a whole serial number matches
    std::string store;                 // as Store takes it; empty for none
    std::string ledger;                // the station's own file beside a server; empty where there is none
    std::vector<std::string> reports;  // patterns, as RunReports takes them
    std::vector<std::string> shifts;   // when one begins: local time, "06:00"; by time
    Variables variables;
    std::vector<SlotPlace> slots;
    PagePlace page;
};

// Reads the file. Relative names in it are those of files beside it. Every mistake is added to `problems`; the
// station may run only when there is none.
StationFile LoadStation(const std::string& path, std::vector<PlanProblem>& problems);

}  // namespace zelline

#endif
