// Puts the manager's lines together from the pieces in which they arrive.
#ifndef ZELFAC_AMCLIENT_PENDINGLINE_H
#define ZELFAC_AMCLIENT_PENDINGLINE_H

#include <cstddef>
#include <string_view>

namespace zel {

// A line under construction in a buffer of the owner's. One thread at a time.
//
// A line longer than the buffer holds is reported as overlong when its newline arrives, and only its beginning is
// kept; the line behind it starts afresh. Blank lines are skipped (the manager's own framing begins with a line
// end), and so are zero bytes at the beginning of a line; elsewhere they are bytes of the line.
class PendingLine {
  public:
    PendingLine() = default;
    // `buffer` of `size` bytes (1 or more); the longest line is one byte shorter, for the zero behind it.
    PendingLine(char* buffer, std::size_t size);

    // Takes bytes off the front of `bytes` until a line is complete or the bytes are used up. True when a line is
    // complete: it stands in Line() until the next call.
    bool Take(std::string_view& bytes);

    std::string_view Line() const { return {m_buffer, m_length}; }
    bool IsOverlong() const { return m_overlong; }

  private:
    char* m_buffer = nullptr;
    std::size_t m_size = 0;
    std::size_t m_length = 0;
    bool m_overlong = false;
    bool m_complete = false;
};

}  // namespace zel

#endif
