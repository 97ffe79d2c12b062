// Exit statuses and the one exception type of the line tool.
#ifndef ZELLINE_WIRE_ERROR_H
#define ZELLINE_WIRE_ERROR_H

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

namespace zelline {

// What the process ends with; scripts rely on the numbers.
enum class Exit : int {
    Success = 0,       // the set answered success
    Failure = 1,       // the set answered failure, or its answer is not the expected one
    Unusable = 2,      // arguments or an input file cannot be used; nothing was sent
    NoAnswer = 3,      // no answer in time
    Port = 4,          // the port cannot be opened, is taken, or was lost
    Record = 5,        // a report, trace or record cannot be written
    Store = 6,         // the stock is empty or the store cannot be reached
    Interrupted = 130  // stopped by SIGINT, SIGTERM or SIGHUP
};

// Each with its word in JSON and reports, from the mildest to the worst: a lost port outranks an unusable step,
// that an empty stock, that a missing answer, that a failure.
constexpr std::array<std::pair<Exit, const char*>, 8> kExits = {{{Exit::Success, "success"},
                                                                 {Exit::Record, "record"},
                                                                 {Exit::Failure, "failure"},
                                                                 {Exit::NoAnswer, "no answer"},
                                                                 {Exit::Store, "store"},
                                                                 {Exit::Unusable, "unusable"},
                                                                 {Exit::Port, "port"},
                                                                 {Exit::Interrupted, "interrupted"}}};

// The place of `status` in kExits.
constexpr std::size_t RankOf(Exit status) {
    std::size_t rank = 0;
    while (kExits[rank].first != status) {
        ++rank;
    }
    return rank;
}

constexpr Exit Worse(Exit a, Exit b) {
    return RankOf(a) < RankOf(b) ? b : a;
}

constexpr const char* StatusWord(Exit status) {
    return kExits[RankOf(status)].second;
}

// Carries the exit status that the failure leads to; what() is a sentence for people that says what to do.
class Error : public std::runtime_error {
  public:
    Error(Exit status, const std::string& message) : std::runtime_error(message), m_status(status) {}
    Exit Status() const { return m_status; }

  private:
    Exit m_status;
};

// Throws an Error with `status` and the text that is formatted as fmt::format does.
template <typename... Arguments>
[[noreturn]] void Fail(Exit status, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    throw Error(status, fmt::format(text, std::forward<Arguments>(arguments)...));
}

}  // namespace zelline

#endif
