// The serial line between the set's port and the line tool.
#ifndef SIMSET_LINE_SERIALLINE_H
#define SIMSET_LINE_SERIALLINE_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "simset/base/WakeUp.h"
#include "simset/board/line/LineModel.h"
#include "simset/board/line/LineTap.h"
#include "simset/board/line/Terminal.h"

namespace simset {

// What happened on one direction of the line so far.
struct LineCounters {
    std::atomic<std::uint64_t> delivered{0};
    std::atomic<std::uint64_t> dropped{0};
    std::atomic<std::uint64_t> flipped{0};
    std::atomic<std::uint64_t> lost{0};    // nobody had the far end open, or it was not read for too long
    std::atomic<std::uint64_t> broken{0};  // sent while the set's port was not set to the line's framing
};

// What the line's other end is set to, whatever the pace.
constexpr Framing kLineFraming{};

// The serial line between the set's port and the line tool: two terminals and a wire between them, at the
// settings' pace and with their faults. Bytes for an end that nobody has open are lost, as on a wire; only those
// sent before the application opens its port for the first time wait for it.
//
// The set's port has the framing that its program gives it, and bytes of either direction arrive as they would
// with that framing against the line's. The line tool's end has the line's framing, whatever its terminal says: a
// line's adapter takes its settings from the tool, and a tool with wrong ones is not what is tried here.
class SerialLine {
  public:
    // Told once for each direction and settings that bytes went over the set's port ("transmit" or "receive")
    // which was not set to the line's framing, or not raw. On a thread of the line.
    using Misuse = std::function<void(const char* call, const std::string& settings)>;

    // Opens both ends and starts carrying bytes. `tell` is told the rows of the trace, as LineTap has them: what
    // the set sent, and what reached its port; from two threads of the line. Throws std::system_error.
    explicit SerialLine(
        const LineSettings& settings, Misuse misuse = nullptr, LineTap::Tell tell = [](const nlohmann::json&) {});
    ~SerialLine();
    SerialLine(const SerialLine&) = delete;
    SerialLine& operator=(const SerialLine&) = delete;

    const std::string& SetPath() const { return m_set.path; }    // device that becomes the set's port
    const std::string& ToolPath() const { return m_tool.path; }  // device for the line tool

    // A name for the line tool's device that is gone with this process, whatever way it ends.
    std::string ToolLink() const {
        return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(m_tool.slave.Get());
    }

    LineSettings Settings() const;

    // New settings apply to the bytes that follow; the fault sequence starts again. Any thread.
    void Change(const LineSettings& settings);

    // Takes the line off the application's end, or puts it back. Without a line reads at that end return at once
    // with nothing, and what is sent from either end is lost; a program that keeps the port open goes on with it
    // once the line is back. Writing succeeds all the while, and poll() tells nothing. Any thread.
    void Plug(bool plugged);

    // The set lost power: what was on its way to or from it is gone, and its port is as fresh as after power-on.
    void Reset();

    // Settings and counters as one line of JSON.
    std::string Describe() const;

  private:
    struct Direction {
        Direction(const Terminal& source, const Terminal& target, unsigned index)
            : from(source), to(target), number(index) {}

        const Terminal& from;
        const Terminal& to;
        unsigned number;  // 0 towards the set, 1 from the set
        LineCounters counters{};
        std::atomic<int> readers{0};  // how many have the far end open, besides simset itself
        std::atomic<bool> everOpened{false};
        std::atomic<std::int64_t> openedAt{0};  // the first time, in nanoseconds of the steady clock
        WakeUp wake{};
        std::thread thread{};
    };
    class Pump;

    void Watch();
    void OnOpened(Direction& direction);
    void OnClosed(Direction& direction);
    void WakeAll();

    Terminal m_set;
    Terminal m_tool;
    mutable std::mutex m_mutex;
    LineSettings m_settings;
    Misuse m_misuse;
    const LineTap::Tell m_tell;
    std::atomic<unsigned> m_generation{0};  // counts changes, so that the pumps notice them
    std::atomic<unsigned> m_resets{0};
    std::atomic<bool> m_stop{false};
    Direction m_toSet;
    Direction m_fromSet;
    std::atomic<bool> m_plugged{true};
    Descriptor m_watch;
    WakeUp m_watchWake;
    std::thread m_watcher;
};

}  // namespace simset

#endif
