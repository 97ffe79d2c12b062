// The trace: what the set was asked and answered, in order.
#ifndef SIMSET_STATE_TRACELOG_H
#define SIMSET_STATE_TRACELOG_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

namespace simset {

// Thread-safe. Rows are kept in memory up to a bound, the oldest going first, and appended to a file.
class TraceLog {
  public:
    static constexpr std::size_t kMaxRows = 100000;
    static constexpr std::uintmax_t kMaxFileBytes = 64U
                                                    << 20U;  // a longer file becomes FILE.old at the next start

    // Appends to `file`; a file that cannot be opened or written costs the rows on disk only.
    explicit TraceLog(const std::filesystem::path& file, std::size_t maxRows = kMaxRows);

    // Appends `row` with its number and `milliseconds` since power-on in front of its own members.
    void Append(std::int64_t milliseconds, const nlohmann::json& row);

    // The rows as lines, after one that tells how many older ones were dropped when some were.
    std::string Lines() const;
    // The same, and empties the memory in the same step.
    std::string TakeLines();

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::string LinesLocked() const;

    mutable std::mutex m_mutex;
    std::unique_ptr<std::FILE, CloseFile> m_file;
    std::size_t m_maxRows;
    std::deque<std::string> m_rows;
    std::uint64_t m_next = 1;
    std::uint64_t m_dropped = 0;
};

}  // namespace simset

#endif
