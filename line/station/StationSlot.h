// One place for a unit: its port, and the thread that works on the unit.
#ifndef ZELLINE_STATION_STATIONSLOT_H
#define ZELLINE_STATION_STATIONSLOT_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "plan/Plan.h"
#include "station/Board.h"
#include "station/SlotOperator.h"
#include "station/StationFile.h"

namespace zelline {

// What all slots of a station work with. It outlives them.
struct SlotParts {
    const StationFile& station;
    Board& board;
    const PortOpener& open;
    std::string tool;                 // its version
    std::function<void()> onRunOver;  // called on the slot's thread after each run
};

// Between units it watches whether its port is there. A unit's run begins when its port is there and its set
// answers; a port that is lost during a run fails the unit, and the slot waits for the port from then on.
class StationSlot {
  public:
    // The slot `number` of the station, counted from 0.
    StationSlot(const SlotParts& parts, std::size_t number);
    StationSlot(const StationSlot&) = delete;
    StationSlot& operator=(const StationSlot&) = delete;
    // Stops the run, and waits until its teardown is done.
    ~StationSlot();

    // Has the unit worked on. False, and nothing is changed, while another one is. Any thread may call.
    bool Take(const std::string& unit);

    // The unit that is being worked on; empty when there is none. Any thread may call.
    std::string Unit() const;

    // Whom its run asks.
    SlotOperator& Person() { return m_person; }

    // Stops the run of the unit; said again, its teardown. False when none is being worked on. Any thread may
    // call.
    bool StopUnit();

    // Takes no more units, and stops the run as StopUnit does. Any thread may call.
    void End();

    // Whether its thread has nothing more to do, within `time`. Any thread may call.
    bool AwaitEnd(Millis time) const;

  private:
    void Work();
    using Ending = std::function<void(SlotState& state)>;  // puts the verdict onto the board

    Ending Run(const std::string& unit, const Stop& stop);
    std::unique_ptr<Transport> AwaitPort(const Stop& stop);
    bool IsSetThere(Transport& line);
    Plan LoadUnitPlan(const std::string& unit) const;
    Ending RunOn(Transport& line, Plan& plan, const std::string& path);
    void WatchPort();
    void Change(const std::function<void(SlotState& state)>& change) { m_parts.board.Change(m_number, change); }

    const SlotParts& m_parts;
    const std::size_t m_number;
    const SlotPlace& m_place;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::string m_unit;
    std::shared_ptr<Stop> m_stop;  // of the unit's run
    bool m_ending = false;
    bool m_ended = false;
    std::string m_path;  // of the port, as found last
    SlotOperator m_person;
    std::thread m_thread;
};

}  // namespace zelline

#endif
