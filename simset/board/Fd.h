#ifndef SIMSET_BOARD_FD_H
#define SIMSET_BOARD_FD_H

#include <unistd.h>

#include <utility>

namespace simset {

/// Owner of one file descriptor; -1 when it owns none.
class Fd {
  public:
    Fd() = default;
    explicit Fd(int fd) : m_fd(fd) {}
    Fd(Fd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        if (this != &other) {
            Reset(std::exchange(other.m_fd, -1));
        }
        return *this;
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() { Reset(); }

    int Get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    int Release() { return std::exchange(m_fd, -1); }
    void Reset(int fd = -1) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = fd;
    }

  private:
    int m_fd = -1;
};

}  // namespace simset

#endif  // SIMSET_BOARD_FD_H
