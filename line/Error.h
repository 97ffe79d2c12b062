// Exit statuses and the one exception type of the line tool.
#ifndef ZELLINE_LINE_ERROR_H
#define ZELLINE_LINE_ERROR_H

#include <stdexcept>
#include <string>

namespace zelline {

// What the process ends with; scripts rely on the numbers.
enum class Exit : int {
    Success = 0,       // the set answered success
    Failure = 1,       // the set answered failure, or its answer is not the expected one
    Unusable = 2,      // arguments or an input file cannot be used; nothing was sent
    NoAnswer = 3,      // no answer in time
    Port = 4,          // the port cannot be opened, is taken, or was lost
    Record = 5,        // a report or trace cannot be written
    Interrupted = 130  // stopped by SIGINT
};

// Carries the exit status that the failure leads to; what() is a sentence for people that says what to do.
class Error : public std::runtime_error {
  public:
    Error(Exit status, const std::string& message) : std::runtime_error(message), m_status(status) {}
    Exit Status() const { return m_status; }

  private:
    Exit m_status;
};

// The worse of two statuses: a lost port outranks an unusable step, that a missing answer, that a failure.
Exit Worse(Exit a, Exit b);

}  // namespace zelline

#endif
