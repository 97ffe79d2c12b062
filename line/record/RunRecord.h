// Writes a run into the store as it goes on.
#ifndef ZELLINE_RECORD_RUNRECORD_H
#define ZELLINE_RECORD_RUNRECORD_H

#include <map>
#include <string>
#include <vector>

#include "run/RunObserver.h"
#include "store/Store.h"
#include "wire/Error.h"

namespace zelline {

// Where a run takes place, and with what.
struct RunPlace {
    std::string unit;     // serial number; may be empty
    std::string station;  // the PC, unless it was given a name
    std::string slot;     // of the station; empty where it has one only
    std::string port;
    std::string tool;  // the version of this one
};

// A name for a run that no other has, on whichever machine: its time in UTC and a number drawn by chance. Names
// sort by time.
std::string NewRunName();

// One row for the run and one for each step, each written when it is known, so that a tool that is killed leaves
// what was done. A step is written when it is over.
class RunRecord : public RunObserver {
  public:
    // `plan` lives as long as this object, and is as it will run.
    RunRecord(Store& store, const Plan& plan, RunPlace place);

    // What is to be recorded of the circumstances in which the run begins.
    void SetNote(const std::string& note) { m_note = note; }

    // Throws Error with Exit::Store: nothing has been sent then.
    void RunBegins(const PlanResult& planned) override;

    void StepBegins(std::size_t number, const Action& action) override;
    void StepEnded(std::size_t number, const StepResult& result) override;
    void RunEnded(const PlanResult& result) override;

    // What could not be written since the run has begun. It goes on meanwhile.
    const std::vector<Error>& Problems() const { return m_problems; }

  private:
    void Write(const std::function<void()>& work);

    Store& m_store;
    const Plan& m_plan;
    RunPlace m_place;
    std::string m_note;
    std::map<std::size_t, std::string> m_begun;  // when, for steps under way
    std::vector<Error> m_problems;
};

}  // namespace zelline

#endif
