// Where the tool speaks: results on one stream, words for people on the other.
#ifndef ZELLINE_REPORT_CONSOLE_H
#define ZELLINE_REPORT_CONSOLE_H

#include <ostream>
#include <string>

#include "port/Transport.h"
#include "verbs/Perform.h"
#include "wire/Error.h"

namespace zelline {

struct Console {
    std::ostream& out;  // results; with --json JSON Lines and nothing else
    std::ostream& err;  // notes, errors, progress
    bool errIsTerminal = false;
    bool json = false;

    // A result line: the object with --json, else the words.
    void Result(const Json& object, const std::string& words) const;
    // A line for people.
    void Note(const std::string& words) const;
    // A failure: on `err` for people, and with --json also as an object on `out`.
    void Fail(const Error& error) const;
};

// A bar on a terminal: how much of the file has left, how fast, how long still.
class TerminalProgress : public UploadProgress {
  public:
    // `clock` tells the time; draws nothing unless the console's `err` is a terminal.
    TerminalProgress(const Console& console, const Transport& clock) : m_console(console), m_clock(clock) {}

    void Begin(std::size_t bytes, int transfer) override;
    void Advance(std::size_t bytesDone) override;
    void Phase(const std::string& words) override;
    void Waiting(Millis elapsed) override;
    void End() override;

  private:
    void Draw(const std::string& line);

    const Console& m_console;
    const Transport& m_clock;
    std::size_t m_bytes = 0;
    int m_transfer = 1;
    bool m_sending = false;
    Millis m_start{0};  // of the first byte
    Millis m_shown{0};  // when Advance drew last
    bool m_drawn = false;
};

}  // namespace zelline

#endif
