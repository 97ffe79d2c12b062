// The step at which the set's power fails: whoever reaches it gets no answer any more.
#ifndef SIMSET_STATE_CUTPOINT_H
#define SIMSET_STATE_CUTPOINT_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>

namespace simset {

// Steps are what can change something that outlives the power: shell commands, mounts, writes and syncs. A write
// is done when its step is counted; a command has not begun and a sync has saved nothing yet. Thread-safe.
class CutPoint {
  public:
    // Whether what a trace row tells is a step.
    static bool IsStep(const nlohmann::json& row);

    // The power fails at the `steps`th step from now; 0: not at all.
    void Arm(std::uint64_t steps);

    // Counts a step, while the power is on.
    void Step();

    bool IsFailing() const;

    // Whether the power is failing; true once only for each point.
    bool TakeReached();

    // While the power is failing: waits until it is off. Otherwise returns at once.
    void HoldWhileFailing();

    void PowerIsOn();

    // The power is off: lets everyone go, and forgets the point.
    void PowerIsOff();

  private:
    mutable std::mutex m_mutex;
    std::condition_variable m_off;
    std::uint64_t m_left = 0;
    bool m_on = true;
    bool m_failing = false;
    bool m_told = false;
};

}  // namespace simset

#endif
