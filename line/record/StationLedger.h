// What a station keeps beside a server that several share, so that it works on while that is away.
#ifndef ZELLINE_RECORD_STATIONLEDGER_H
#define ZELLINE_RECORD_STATIONLEDGER_H

#include <chrono>
#include <set>
#include <string>

#include "store/Store.h"

namespace zelline {

// The station works on its own store, a file: from a block of items that it has on lease from the server, and with
// its own records. Items on lease are given out by this station alone, whatever the server says of them meanwhile.
// What became of them, and the records, are brought up to the server. The file has a name that no other has; a new
// file never takes over what an older one had on lease, and a file that is an older copy of itself is refused.
//
// All members throw Error with Exit::Store when one of the two stores fails; what was not done then is done the
// next time. A process may be killed at any moment of it.
class StationLedger {
  public:
    static constexpr std::size_t kBlock = 20;  // free items of a type that a station is given
    static constexpr std::size_t kLow = 10;    // fewer than that, and it takes more

    static constexpr std::chrono::seconds kLeftAlone{60};  // a server that was waited for in vain

    // Whether the server was last waited for in vain, less than kLeftAlone ago.
    static bool IsAway(Store& own);

    // Remembers that the server was waited for in vain from `begin` on, if that is worth remembering: one that
    // refuses takes no time.
    static void NoteSilence(Store& own, std::chrono::steady_clock::time_point begin);
    // The server has answered since.
    static void NoteAnswer(Store& own);

    // Makes the file known to the server. `station` is the station's name, for people. Throws Error with
    // Exit::Unusable for a file that is an older copy.
    StationLedger(Store& own, Store& server, const std::string& station);

    // Has items of these types at hand: those that the unit has already, wherever it got them, or else free ones.
    void Supply(const std::set<std::string>& types, const std::string& unit);

    // Brings up what has changed since the last time.
    void BringUp();

  private:
    void Claim(const std::string& type, const std::string& unit);
    void Adopt(const std::string& type);
    void AwaitOthers(soci::session& sql);
    void Lease(const std::string& type);
    std::size_t CountFree(const std::string& type);
    void BringItems();
    std::size_t BringRuns();

    Store& m_own;
    Store& m_server;
    std::string m_name;  // of the file
};

}  // namespace zelline

#endif
