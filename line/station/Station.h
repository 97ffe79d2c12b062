// A station at work: several slots, one scanner, and what is said of it all.
#ifndef ZELLINE_STATION_STATION_H
#define ZELLINE_STATION_STATION_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "station/Board.h"
#include "station/StationFile.h"
#include "station/StationSlot.h"

namespace zelline {

// What became of something that was scanned.
struct ScanReply {
    enum class Kind {
        Begun,          // the unit is in the slot
        WhichSlot,      // the unit waits for its slot to be named
        WhichUnit,      // the slot waits for its unit
        NoUnit,         // neither a serial number nor a slot
        Busy,           // the slot, or every slot, has a unit already
        Twice,          // the unit is in the slot already
        Answered,       // it answers the slot's question
        WhichAnswer,    // the slot's question waits for its answer
        WhichQuestion,  // several slots ask: the one that it is for is to be named first
    };
    Kind kind;
    std::string slot;  // where there is one
    std::string unit;
};

const char* ReplyWord(ScanReply::Kind kind);

// Any thread may call its members.
class Station {
  public:
    // `file` has no mistakes; `tool` is this tool's version.
    Station(StationFile file, PortOpener open, const std::string& tool);
    Station(const Station&) = delete;
    Station& operator=(const Station&) = delete;
    ~Station();

    // Takes what the scanner read or the operator typed: a serial number, or the name of a slot, in either order.
    // A number alone goes to the slot that was named before it, or else to the only one that is free. Behind the
    // name of a slot that asks, anything is the answer; without a name, what is no serial number goes to the only
    // slot that asks, and so does a number where no other unit can be meant.
    ScanReply Scan(const std::string& text);

    // Forgets a number or a slot that waits for the other.
    void Forget();

    // Answers the question `number` in the slot of that name. False when it is not put any more.
    bool AnswerQuestion(const std::string& slot, std::uint64_t number, const std::string& text);

    // Stops the unit in the slot of that name; said again, its teardown. False when there is none.
    bool StopUnit(const std::string& slot);

    // Takes no more units and stops those at work; said again, their teardown too.
    void End();

    // Whether all have ended within `time`.
    bool AwaitEnd(Millis time) const;

    const StationFile& File() const { return m_file; }
    const Board& Shown() const { return *m_board; }

  private:
    std::optional<ScanReply> AsAnswer(const std::string& word);
    ScanReply Begin(std::size_t slot, std::string unit);
    void AskTheStore();
    LineState LookAtStore() const;

    const StationFile m_file;
    const PortOpener m_open;
    const std::regex m_form;  // of a serial number
    std::unique_ptr<Board> m_board;
    std::mutex m_scanning;
    std::string m_unit;                   // that waits for its slot
    std::optional<std::size_t> m_chosen;  // the slot that waits for its unit, or asks
    bool m_choseQuestion = false;         // for what it asks, and not for a unit
    std::mutex m_storeMutex;
    std::condition_variable m_storeChanged;
    bool m_storeIsOld = true;
    bool m_ending = false;
    SlotParts m_parts;
    std::vector<std::unique_ptr<StationSlot>> m_slots;
    std::thread m_storeThread;
};

// When the shift that runs at `now` began, in UTC as records have it; `shifts` are local times of day, in order.
std::string ShiftBegin(const std::vector<std::string>& shifts, std::time_t now);

}  // namespace zelline

#endif
