// A way out to the application manager that never makes the application wait.
#ifndef ZELFAC_AMCLIENT_MANAGERSTREAM_H
#define ZELFAC_AMCLIENT_MANAGERSTREAM_H

#include <array>
#include <cstddef>
#include <string_view>

namespace zel {

// One of the real standard streams, with what its reader has not taken yet. Not locked: the owner holds
// g_sendcmd_mutex around every call. Trivially destructible on purpose: threads may still use it while the process
// ends.
class ManagerStream {
  public:
    // What may wait while the manager does not read: the log of a long station run. What does not fit is lost.
    static constexpr std::size_t kBacklogLimit = std::size_t{1} << 20;

    // Writes to `descriptor` from now on (the owner's; -1 none); what waited is forgotten.
    void Attach(int descriptor);

    // Writes `text` behind what waits, as far as the stream takes it at once, and syncs it; the rest waits. False
    // when the text does not fit whole or nobody will ever read it: then nothing of it is kept. Once the manager
    // has caught up, a line tells it how many bytes it has missed.
    bool Write(std::string_view text);

    // Writes what waits as far as the stream takes it at once. Only a pipe whose reader is gone is given up; any
    // other failure leaves what waits for the next try.
    void Flush();

    bool HasBacklog() const { return m_begin != m_end; }
    // Whether the last try failed although the stream said that it is writable: the next one needs a pause.
    bool IsStalled() const { return m_stalled; }
    int Descriptor() const { return m_descriptor; }

  private:
    void Append(std::string_view text);
    void AppendLossNotice();
    bool IsWritable() const;

    static constexpr std::size_t kNoticeRoom = 64;

    int m_descriptor = -1;
    bool m_stalled = false;
    std::size_t m_lost = 0;  // bytes that did not fit since the last notice
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::array<char, kBacklogLimit + kNoticeRoom> m_bytes;
};

}  // namespace zel

#endif
