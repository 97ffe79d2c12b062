#ifndef SIMSET_BOARD_ERRORS_H
#define SIMSET_BOARD_ERRORS_H

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace simset {

/// Exit statuses of `simset run` that are not the application's own.
constexpr int kExitUsage = 2;         ///< unusable arguments: state in use, application missing, link taken
constexpr int kExitNoNamespaces = 3;  ///< the machine does not allow the namespaces
constexpr int kExitState = 4;         ///< the state folder cannot be read or written (full disk, damaged database)
constexpr int kExitPanel = 5;         ///< the panel's X server cannot be had
constexpr int kExitInternal = 6;      ///< the set's surroundings could not be built

/// A failure that ends `simset run`: a sentence for the user and the exit status that goes with it.
class RunError : public std::runtime_error {
  public:
    RunError(int status, const std::string& text) : std::runtime_error(text), m_status(status) {}
    int Status() const { return m_status; }

  private:
    int m_status;
};

/// The current errno with a sentence around it, as an exception.
inline std::system_error SystemError(const std::string& what, int code = errno) {
    return std::system_error(code, std::generic_category(), what);
}

}  // namespace simset

#endif  // SIMSET_BOARD_ERRORS_H
