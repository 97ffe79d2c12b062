// What of the set is saved into the state folder, and when.
#ifndef SIMSET_INSIDE_KEEPER_H
#define SIMSET_INSIDE_KEEPER_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace simset {

// Saves what the set keeps without power into the state folder, and only what changed since the last time. Lives
// inside the set. Not thread-safe.
class Keeper {
  public:
    // `stateFolder` is the descriptor of the state folder and stays the caller's.
    explicit Keeper(int stateFolder) : m_state(stateFolder) {}

    // Takes note of the partitions as they are just now: they equal what the state folder holds.
    void PartitionsAreSaved();

    // Follows a stick from now on; its content equals what the state folder holds.
    void Follow(const std::string& stick);

    // Forgets a stick.
    void Forget(const std::string& stick) { m_sticks.erase(stick); }

    // The sticks that are followed.
    std::vector<std::string> Sticks() const;

    // Saves the partitions and sticks that changed. Throws std::system_error; the state folder then still holds
    // what was saved before.
    void Save();

    // Saves one stick if it changed.
    void SaveStick(const std::string& stick);

    // Where partitions and sticks that changed since they were saved are mounted.
    std::vector<std::string> Unsaved() const { return Changed(false); }

    // Those of Unsaved that have changed since Excuse.
    std::vector<std::string> Written() const { return Changed(true); }

    // What changed until now was not the application's doing.
    void Excuse() { m_excused = Now(); }

  private:
    std::map<std::string, std::uint64_t> Now() const;
    std::vector<std::string> Changed(bool butExcused) const;
    void SavePartitions();

    int m_state;
    std::map<std::string, std::uint64_t> m_partitions;  // by mount point
    std::map<std::string, std::uint64_t> m_sticks;
    std::map<std::string, std::uint64_t> m_excused;  // by mount point
};

}  // namespace simset

#endif
