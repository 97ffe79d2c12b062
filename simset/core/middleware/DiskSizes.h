// The sizes of the set's partitions and sticks.
#ifndef SIMSET_MIDDLEWARE_DISKSIZES_H
#define SIMSET_MIDDLEWARE_DISKSIZES_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simset/core/state/State.h"

namespace simset {

// Their own sizes, and those that were asked for instead, which are kept in the state. Not thread-safe.
class DiskSizes {
  public:
    static constexpr std::uint64_t kFull = 0;  // no more than it holds

    explicit DiskSizes(State& state);

    static std::vector<std::string> Partitions();

    // Whether it is a partition's path, or one that a stick may have.
    static bool IsDisk(const std::string& path);

    // The size that a text asks for at `path`: bytes, or with K or M behind for 1024 or 1024 times that, "full",
    // "default". Nothing when it is none, or no size that a disk can have.
    static std::optional<std::uint64_t> Parse(const std::string& path, const std::string& text);

    // In bytes, or kFull.
    std::uint64_t Of(const std::string& path) const;

    // Those that differ from their own sizes.
    const std::map<std::string, std::uint64_t>& Changed() const { return m_changed; }

    // Throws StateError.
    void Change(const std::string& path, std::uint64_t size);

  private:
    static std::uint64_t OwnSize(const std::string& path);

    State& m_state;
    std::map<std::string, std::uint64_t> m_changed;
};

}  // namespace simset

#endif
