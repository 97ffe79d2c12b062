// What a station shows of itself at any moment, for a page and for scripts.
#ifndef ZELLINE_STATION_BOARD_H
#define ZELLINE_STATION_BOARD_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "record/Runs.h"
#include "stock/Stock.h"
#include "verbs/Verbs.h"
#include "wire/Json.h"

namespace zelline {

// The kind of a failure where the operator, and not the set, gave no answer in time.
constexpr char kNobodyAnswered[] = "operator";
// What else an operator is told by a text of its own: the set has restarted, the answer is not that of a good set,
// and the set does not react to a key.
constexpr char kRestartReason[] = "restart";
constexpr char kAnswerReason[] = "answer";
constexpr char kNoReactionReason[] = "no reaction";

enum class SlotPhase {
    Idle,          // waits for a unit
    AwaitingPort,  // has a unit, and its port is not there or taken
    AwaitingSet,   // has a unit, and its set does not answer
    Running,
    Over  // shows the verdict, and waits for the next unit
};

// What the run in a slot asks the operator.
struct SlotQuestion {
    std::uint64_t number = 0;  // of the questions of its slot: another one each time that one is put
    Action::Kind kind = Action::Kind::Question;
    std::string words;
    std::string key;    // that is to be pressed
    std::string note;   // why it is put again
    std::string doubt;  // the same, as DoubtWord has it
    std::string said;   // the answer that was none
};

struct SlotState {
    std::string name;
    SlotPhase phase = SlotPhase::Idle;
    std::string place;  // of the port, for people
    std::string port;   // the path; empty while the port is not there
    std::string unit;   // the last one when it is over
    std::string run;    // its name
    std::string step;   // that runs
    std::size_t done = 0;
    std::size_t steps = 0;
    std::optional<int> percent;  // of a file that is being sent
    std::string verdict;         // as Verdict has it; empty until it is over
    std::optional<SlotQuestion> question;
    std::string reason;  // kind of failure: a status word, or one of those above
    std::string failed;  // the step that failed; empty when none had begun
    std::string words;   // what is known of the failure, or why it waits
    std::chrono::steady_clock::time_point begun;
    std::optional<Millis> elapsed;  // when it is over
};

// What the store says of the line; nothing where there is no store.
struct LineState {
    bool known = false;
    std::vector<StockCount> stock;
    std::vector<PlanYield> yield;  // since `shift`
    std::string shift;             // UTC
    std::string problem;           // why the store cannot be asked
    bool goesOn = false;  // all the same: the figures are those of the station's own file, beside the server
};

// The state of all, with a number that grows with each change, so that whoever follows misses nothing that still
// holds, and what has changed twice since is told once. Any thread may call.
class Board {
  public:
    Board(std::string station, const std::vector<SlotState>& slots);

    void Change(std::size_t slot, const std::function<void(SlotState& state)>& change);
    void Change(const LineState& line);
    // A serial number that waits for its slot to be named; empty for none.
    void Ask(const std::string& unit);

    SlotState At(std::size_t slot) const;

    struct News {
        std::uint64_t last = 0;  // to be handed in the next time
        std::vector<Json> objects;
    };

    // What has changed since `since`, 0 for everything; waits up to `time` for it.
    News Await(std::uint64_t since, Millis time) const;

  private:
    template <typename T>
    struct Told {
        T state;
        std::uint64_t number = 0;
    };

    void Count(std::uint64_t& number);

    const std::string m_station;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::uint64_t m_last = 0;
    std::vector<Told<SlotState>> m_slots;
    Told<LineState> m_line;
    Told<std::string> m_asked;
};

const char* PhaseWord(SlotPhase phase);

}  // namespace zelline

#endif
