// The trace: what the set was asked and answered, in order.
#ifndef SIMSET_TRACE_TRACELOG_H
#define SIMSET_TRACE_TRACELOG_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simset/base/Descriptor.h"

namespace simset {

struct TraceRow {
    std::uint64_t seq = 0;
    std::string line;  // one JSON object, without a line end
};

// How much of the trace is kept.
struct TraceBounds {
    std::size_t rows = 100000;              // in memory
    std::size_t bytes = 16U << 20U;         // of these rows
    std::uintmax_t fileBytes = 64U << 20U;  // a longer file becomes FILE.old
};

// Thread-safe. Rows are kept in memory up to a bound, the oldest going first, and appended to a file. Their
// numbers go up by one with each row, over the life of the file; what the file does not have is said in it:
//   {"who":"trace","call":"torn","text":…}               the last row of the run before was not written whole
//   {"who":"trace","call":"lost","first":N,"count":N}    these could not be written (full disk)
class TraceLog {
  public:
    // Appends to `file`. `problem`, when there is one, is told in one line that rows cannot be written, once until
    // they can be again; it must not call the trace.
    explicit TraceLog(const std::filesystem::path& file, const TraceBounds& bounds = {},
                      std::function<void(const std::string& line)> problem = {});
    ~TraceLog();
    TraceLog(const TraceLog&) = delete;
    TraceLog& operator=(const TraceLog&) = delete;

    // Appends `row` with its number and `milliseconds` since power-on in front of its own members. Returns the
    // number.
    std::uint64_t Append(std::int64_t milliseconds, const nlohmann::json& row);

    // The rows in memory with a number above `since`, in order. When there is none, waits for the next, up to
    // `timeout` (a day at most); returns nothing when none came or the trace was closed meanwhile. A caller that
    // comes back with the number of the last row that it got misses none, but for those that memory had no room
    // for: the first number then tells how many.
    std::vector<TraceRow> Await(std::uint64_t since, std::chrono::milliseconds timeout) const;

    // Takes the rows that the file has into memory, as far as there is room, and clears those before the last
    // run's: that begins when the power goes on, but for a reboot. No other thread may use the object meanwhile.
    void Recall();

    // Number of the last row, 0 when there was never one.
    std::uint64_t Last() const;

    // Number of the last row before this object's first, which the file may have.
    std::uint64_t Before() const { return m_before; }

    // Number of the last row that was cleared; Before() when none was.
    std::uint64_t Cleared() const;
    // What there is up to number `last` is cleared. Await knows it all the same.
    void Clear(std::uint64_t last);

    // Nobody waits any more: Await returns at once from now on.
    void Close();
    bool Closed() const;

  private:
    // What the file ends with.
    struct End {
        std::uint64_t last = 0;  // number of the last whole row; 0 when there is none
        std::string torn;        // what follows it
    };

    static End ReadEnd(int file, std::uintmax_t size);
    void OpenFile();
    TraceRow Numbered(std::int64_t milliseconds, const nlohmann::json& row) const;
    void Keep(TraceRow row);
    bool Write(const TraceRow& row);
    void TellLost(std::int64_t milliseconds);

    const std::filesystem::path m_path;
    const TraceBounds m_bounds;
    const std::function<void(const std::string& line)> m_problem;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    Descriptor m_file;
    std::deque<TraceRow> m_rows;
    std::size_t m_bytes = 0;  // of m_rows
    std::uint64_t m_last = 0;
    std::uint64_t m_before = 0;
    std::uint64_t m_cleared = 0;
    std::uint64_t m_firstLost = 0;  // 0: the file has all
    bool m_closed = false;
};

}  // namespace simset

#endif
