#include "port/Stop.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "wire/Error.h"

namespace zelline {

Stop::Stop() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        Fail(Exit::Unusable, "no pipe can be made: {}", std::strerror(errno));
    }
    m_read = ends[0];
    m_write = ends[1];
}

Stop::~Stop() {
    ::close(m_read);
    ::close(m_write);
}

void Stop::Raise() const {
    const int reason = errno;  // a signal handler leaves it as it was
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(m_write, &byte, 1);
    errno = reason;
}

bool Stop::Await(Millis time) const {
    const auto end = std::chrono::steady_clock::now() + time;
    for (;;) {
        const auto left = std::chrono::ceil<Millis>(end - std::chrono::steady_clock::now());
        pollfd watched = {m_read, POLLIN, 0};
        const int ready = ::poll(&watched, 1, static_cast<int>(std::max(left, Millis(0)).count()));
        char byte = 0;
        if (ready > 0 && ::read(m_read, &byte, 1) == 1) {
            return true;
        }
        if (ready == 0) {
            return false;
        }
    }
}

}  // namespace zelline
