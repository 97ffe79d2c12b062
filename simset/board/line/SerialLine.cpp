#include "simset/board/line/SerialLine.h"

#include <poll.h>
#include <sys/inotify.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <nlohmann/json.hpp>

#include "simset/base/Errors.h"

namespace simset {
namespace {

using Nanos = LineClock::Nanos;

constexpr Nanos kTick = std::chrono::milliseconds(1);   // bytes of one tick are handed over together
constexpr Nanos kAhead = std::chrono::milliseconds(5);  // read ahead, so that a late wake-up leaves no gap
constexpr std::size_t kUnpacedChunk = 4096;
constexpr Nanos kSetUpTime = std::chrono::milliseconds(500);  // what a program gets to set up the port it opened
constexpr Nanos kSetUpCheck = std::chrono::milliseconds(2);
constexpr std::size_t kMostWaiting = 8192;  // ticks of bytes for a port that was not opened yet
constexpr int kHungUpCheckMs = 20;          // a program that opens the port anew sets its own waits

Nanos Now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace

// Carries the bytes of one direction until the line ends.
class SerialLine::Pump {
  public:
    Pump(SerialLine& line, Direction& direction)
        : m_line(line),
          m_direction(direction),
          m_settings(line.Settings()),
          m_generation(line.m_generation),
          m_resets(line.m_resets),
          m_clock(m_settings.baud),
          m_faults(m_settings, direction.number),
          m_tap(direction.number == 0, line.m_tell) {}

    void Run() {
        while (!m_line.m_stop) {
            TakeChanges();
            if (const auto silent = m_tap.SilentAt(); silent && Now() >= *silent) {
                m_tap.TakeSilence(Now());
            }
            Deliver();
            Wait();
            ReadMore();
        }
    }

  private:
    struct Chunk {
        Nanos arrives;
        std::string bytes;
        bool framed = false;  // the set's port has done what it does to them
    };

    void TakeChanges() {
        if (const unsigned resets = m_line.m_resets; resets != m_resets) {
            m_resets = resets;
            m_onWire.clear();
            m_told.clear();
        }
        if (const unsigned generation = m_line.m_generation; generation != m_generation) {
            m_generation = generation;
            m_settings = m_line.Settings();
            m_clock = LineClock(m_settings.baud);
            m_faults = FaultInjector(m_settings, m_direction.number);
            m_faultsBefore = {m_direction.counters.dropped, m_direction.counters.flipped};
        }
    }

    bool WireHasRoom() const {
        if (m_settings.baud == 0) {
            return m_onWire.empty() || m_settings.delayMs > 0;
        }
        // A little ahead keeps the wire busy; reading further would let the sender run ahead of the wire.
        return m_clock.FreeAt() <= Now() + kAhead;
    }

    void ReadMore() {
        if (!m_readable || !WireHasRoom()) {
            return;
        }
        std::array<char, kUnpacedChunk> buffer{};
        const std::size_t wanted =
            m_settings.baud == 0 ? buffer.size() : std::min(buffer.size(), m_clock.BytesIn(kTick));
        const ssize_t got = ::read(m_direction.from.master.Get(), buffer.data(), wanted);
        if (got <= 0) {
            m_moreWaits = false;
            return;
        }
        std::string bytes(buffer.data(), static_cast<std::size_t>(got));
        if (m_direction.number == 1) {
            m_tap.Take(bytes.data(), bytes.size(), Now());
        }
        Nanos arrives = m_settings.baud == 0 ? Now() : m_clock.Schedule(Now(), bytes.size(), m_moreWaits);
        m_moreWaits = bytes.size() == wanted;
        arrives += std::chrono::milliseconds(m_settings.delayMs);
        if (m_direction.number == 1) {
            Break(bytes, m_line.m_set.Settings());
        }
        m_faults.Apply(bytes);
        m_direction.counters.dropped = m_faultsBefore[0] + m_faults.Dropped();
        m_direction.counters.flipped = m_faultsBefore[1] + m_faults.Flipped();
        if (m_held && m_onWire.size() >= kMostWaiting) {
            m_direction.counters.lost += bytes.size();
            return;
        }
        m_onWire.push_back({arrives, std::move(bytes)});
    }

    bool SomeoneListens() const {
        return m_line.m_plugged &&
               (m_direction.readers > 0 || (m_direction.number == 0 && !m_direction.everOpened));
    }

    // The set's port changes what goes over it with other settings than the line's.
    void Break(std::string& bytes, const PortSettings& port) {
        const bool toSet = m_direction.number == 0;
        if (port.framing != kLineFraming) {
            m_direction.counters.broken += bytes.size();
            bytes = toSet ? Received(bytes, kLineFraming, port.framing, Receiver::Port)
                          : Received(bytes, port.framing, kLineFraming, Receiver::Adapter);
        }
        if (port.framing == kLineFraming && port.raw) {
            m_told.clear();
        } else if (std::string settings = simset::Describe(port); m_line.m_misuse && settings != m_told) {
            m_line.m_misuse(toSet ? "receive" : "transmit", settings);
            m_told = std::move(settings);
        }
    }

    // Whether what has arrived for the set's port waits: it was not opened yet, or just now, and nobody has set it
    // up.
    bool WaitsForSetUp() const {
        if (m_direction.number != 0 || !m_line.m_plugged) {
            return false;
        }
        if (!m_direction.everOpened) {
            return true;
        }
        return Now() - Nanos(m_direction.openedAt) < kSetUpTime && !m_line.m_set.Settings().raw;
    }

    void Deliver() {
        m_blocked = false;
        m_held = !m_onWire.empty() && WaitsForSetUp();
        if (m_held) {
            return;
        }
        while (!m_onWire.empty() && m_onWire.front().arrives <= Now()) {
            std::string& bytes = m_onWire.front().bytes;
            if (!SomeoneListens()) {
                m_direction.counters.lost += bytes.size();
                m_onWire.pop_front();
                continue;
            }
            if (m_direction.number == 0 && !m_onWire.front().framed) {
                Break(bytes, m_line.m_set.Settings());
                m_onWire.front().framed = true;
            }
            const ssize_t put =
                bytes.empty() ? 0 : ::write(m_direction.to.master.Get(), bytes.data(), bytes.size());
            const std::size_t done = put > 0 ? static_cast<std::size_t>(put) : 0;
            m_direction.counters.delivered += done;
            if (m_direction.number == 0) {
                m_tap.Take(bytes.data(), done, Now());
            }
            if (done < bytes.size()) {
                if (m_settings.baud == 0) {
                    bytes.erase(0, done);
                    m_blocked = true;
                    return;
                }
                m_direction.counters.lost += bytes.size() - done;
            }
            m_onWire.pop_front();
        }
    }

    void Wait() {
        std::optional<Nanos> until;
        if (m_held && m_direction.everOpened) {
            until = Now() + kSetUpCheck;
        } else if (!m_onWire.empty() && !m_blocked && !m_held) {
            until = m_onWire.front().arrives;
        }
        const bool room = WireHasRoom();
        if (!room && m_settings.baud != 0) {
            const Nanos roomAt = m_clock.FreeAt() - kAhead;
            until = until ? std::min(*until, roomAt) : roomAt;
        }
        if (const auto silent = m_tap.SilentAt()) {
            until = until ? std::min(*until, *silent) : *silent;
        }
        std::array<pollfd, 3> polls{m_direction.wake.Poll(),
                                    pollfd{room ? m_direction.from.master.Get() : -1, POLLIN, 0},
                                    pollfd{m_blocked ? m_direction.to.master.Get() : -1, POLLOUT, 0}};
        if (room && m_moreWaits && ::poll(&polls[1], 1, 0) == 0) {
            m_moreWaits = false;  // the burst is over; the next byte begins a new one
        }
        timespec time{};
        if (until) {
            const Nanos left = std::max(*until - Now(), Nanos(0));
            time.tv_sec = static_cast<time_t>(left.count() / 1'000'000'000);
            time.tv_nsec = static_cast<long>(left.count() % 1'000'000'000);
        }
        ::ppoll(polls.data(), polls.size(), until ? &time : nullptr, nullptr);
        m_readable = polls[1].revents != 0;
        if (polls[0].revents != 0) {
            m_direction.wake.Clear();
        }
    }

    SerialLine& m_line;
    Direction& m_direction;
    LineSettings m_settings;
    unsigned m_generation;
    unsigned m_resets;
    LineClock m_clock;
    FaultInjector m_faults;
    LineTap m_tap;
    std::array<std::uint64_t, 2> m_faultsBefore{};
    std::deque<Chunk> m_onWire;
    bool m_readable = false;
    bool m_moreWaits = false;  // the last read left bytes behind, as far as one can tell
    bool m_blocked = false;
    bool m_held = false;  // bytes wait until the set's port is set up
    std::string m_told;   // the wrong settings that were told last
};

SerialLine::SerialLine(const LineSettings& settings, Misuse misuse, LineTap::Tell tell)
    : m_set(Terminal::Open()),
      m_tool(Terminal::Open()),
      m_settings(settings),
      m_misuse(std::move(misuse)),
      m_tell(std::move(tell)),
      m_toSet{m_tool, m_set, 0},
      m_fromSet{m_set, m_tool, 1},
      m_watch(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    constexpr unsigned kWatched = IN_OPEN | IN_CLOSE;
    if (!m_watch || ::inotify_add_watch(m_watch.Get(), m_set.path.c_str(), kWatched) < 0 ||
        ::inotify_add_watch(m_watch.Get(), m_tool.path.c_str(), kWatched) < 0) {
        throw SystemError("watch of the terminals");
    }
    m_set.MakeFresh();
    m_watcher = std::thread([this] { Watch(); });
    for (Direction* direction : {&m_toSet, &m_fromSet}) {
        direction->thread = std::thread([this, direction] { Pump(*this, *direction).Run(); });
    }
}

SerialLine::~SerialLine() {
    m_stop = true;
    m_watchWake.Signal();
    WakeAll();
    m_watcher.join();
    m_toSet.thread.join();
    m_fromSet.thread.join();
}

LineSettings SerialLine::Settings() const {
    const std::lock_guard lock(m_mutex);
    return m_settings;
}

void SerialLine::Change(const LineSettings& settings) {
    {
        const std::lock_guard lock(m_mutex);
        m_settings = settings;
    }
    ++m_generation;
    WakeAll();
}

void SerialLine::Plug(bool plugged) {
    {
        const std::lock_guard lock(m_mutex);
        m_plugged = plugged;
        plugged ? m_set.PickUp() : m_set.HangUp();
    }
    m_watchWake.Signal();
    WakeAll();
}

void SerialLine::Reset() {
    ++m_resets;
    m_toSet.everOpened = false;
    ::tcflush(m_set.slave.Get(), TCIOFLUSH);
    {
        const std::lock_guard lock(m_mutex);
        m_set.MakeFresh();
    }
    WakeAll();
}

void SerialLine::WakeAll() {
    m_toSet.wake.Signal();
    m_fromSet.wake.Signal();
}

void SerialLine::OnOpened(Direction& direction) {
    ++direction.readers;
    if (!direction.everOpened) {
        direction.openedAt = Now().count();
        direction.everOpened = true;
        direction.wake.Signal();
    }
}

void SerialLine::OnClosed(Direction& direction) {
    if (direction.readers > 1) {
        --direction.readers;
        return;
    }
    // The kernel reports two openings in a row as one; before bytes are thrown away the users are counted.
    direction.readers = direction.to.CountUsers();
    if (direction.readers == 0) {
        if (direction.number == 1) {
            direction.to.MakeRaw();  // a port of the set's keeps its settings, the tool's begins anew
        }
        // What the last reader left behind is gone with it.
        ::tcflush(direction.to.slave.Get(), TCIFLUSH);
        WakeAll();
    }
}

void SerialLine::Watch() {
    // Watch descriptors count up from 1 in the order in which they were added.
    constexpr int kSetWatch = 1;
    alignas(inotify_event) std::array<char, 4096> buffer{};
    while (!m_stop) {
        std::array<pollfd, 2> polls{pollfd{m_watch.Get(), POLLIN, 0}, m_watchWake.Poll()};
        ::poll(polls.data(), polls.size(), m_plugged ? -1 : kHungUpCheckMs);
        m_watchWake.Clear();
        if (const std::lock_guard lock(m_mutex); !m_plugged) {
            m_set.HangUp();
        }
        const ssize_t size = ::read(m_watch.Get(), buffer.data(), buffer.size());
        for (std::size_t at = 0; size > 0 && at < static_cast<std::size_t>(size);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            Direction& direction = event.wd == kSetWatch ? m_toSet : m_fromSet;
            if ((event.mask & IN_OPEN) != 0) {
                OnOpened(direction);
            } else if ((event.mask & IN_CLOSE) != 0) {
                OnClosed(direction);
            }
            at += sizeof event + event.len;
        }
    }
}

std::string SerialLine::Describe() const {
    const LineSettings settings = Settings();
    const auto counters = [](const LineCounters& of) {
        return nlohmann::ordered_json{{"delivered", of.delivered.load()},
                                      {"dropped", of.dropped.load()},
                                      {"flipped", of.flipped.load()},
                                      {"lost", of.lost.load()},
                                      {"broken", of.broken.load()}};
    };
    return nlohmann::ordered_json{{"baud", settings.baud},
                                  {"drop", settings.drop},
                                  {"flip", settings.flip},
                                  {"delayMs", settings.delayMs},
                                  {"seed", settings.seed},
                                  {"plugged", m_plugged.load()},
                                  {"setOpen", m_toSet.readers > 0},
                                  {"toolOpen", m_fromSet.readers > 0},
                                  {"port", simset::Describe(m_set.Settings())},
                                  {"toSet", counters(m_toSet.counters)},
                                  {"fromSet", counters(m_fromSet.counters)}}
        .dump();
}

}  // namespace simset
