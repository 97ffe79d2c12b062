// The errors that simset reports in words, and the exit statuses that go with them.
#ifndef SIMSET_BASE_ERRORS_H
#define SIMSET_BASE_ERRORS_H

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace simset {

// Exit statuses of `simset run` that are not the application's own.
constexpr int kExitUsage = 2;         // unusable arguments: state in use, application missing, link taken
constexpr int kExitNoNamespaces = 3;  // the machine does not allow the namespaces
constexpr int kExitState = 4;         // the state folder cannot be read or written (full disk, damaged database)
constexpr int kExitPanel = 5;         // the panel's X server cannot be had
constexpr int kExitInternal = 6;      // the set's surroundings could not be built
constexpr int kExitRuleBroken = 7;    // --strict: all went well, but the application broke a rule
constexpr int kExitScenario = 8;      // all went well, but the scenario did not happen

// A failure that ends `simset run`: a sentence for the user and the exit status that goes with it.
class RunError : public std::runtime_error {
  public:
    RunError(int status, const std::string& text) : std::runtime_error(text), m_status(status) {}
    int Status() const { return m_status; }

  private:
    int m_status;
};

// The state folder cannot be used (unreadable, not ours, disk full). what() says what to do about it.
class StateError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What the user of `simset ctl` asked for cannot be done; what() says what to do.
class ControlError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The current errno with a sentence around it, as an exception.
inline std::system_error SystemError(const std::string& what, int code = errno) {
    return std::system_error(code, std::generic_category(), what);
}

}  // namespace simset

#endif
