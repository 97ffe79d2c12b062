// Owner of a file descriptor, and pipes made of two.
#ifndef SIMSET_BASE_DESCRIPTOR_H
#define SIMSET_BASE_DESCRIPTOR_H

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "simset/base/Errors.h"

namespace simset {

// Owns one file descriptor; -1 when it owns none.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Reset(); }

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

// The end to read from and the end to write to.
using Pipe = std::array<Descriptor, 2>;

// Throws std::system_error.
inline Pipe MakePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw SystemError("pipe");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

}  // namespace simset

#endif
