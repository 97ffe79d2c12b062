#include "amclient/ManagerStream.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace zel {
namespace {

// A pipe that is writable takes this much without blocking, however full it is.
constexpr std::size_t kPiece = 512;

}  // namespace

void ManagerStream::Attach(int descriptor) {
    m_descriptor = descriptor;
    m_stalled = false;
    m_lost = 0;
    m_begin = 0;
    m_end = 0;
}

bool ManagerStream::Write(std::string_view text) {
    if (m_descriptor < 0) {
        return false;
    }
    if (text.size() > kBacklogLimit - (m_end - m_begin)) {
        m_lost += text.size();
        return false;
    }
    Append(text);
    Flush();
    return m_descriptor >= 0;
}

void ManagerStream::Flush() {
    bool wrote = false;
    m_stalled = false;
    while (HasBacklog() && IsWritable()) {
        // O_NONBLOCK would reach everybody who shares the open stream with us, so each piece is announced by poll.
        const ssize_t written = write(m_descriptor, m_bytes.data() + m_begin, std::min(kPiece, m_end - m_begin));
        if (written >= 0) {
            m_begin += static_cast<std::size_t>(written);
            wrote = true;
        } else if (errno == EPIPE) {
            Attach(-1);  // the manager has closed its end
            return;
        } else if (errno != EINTR) {
            m_stalled = true;  // no space, for example: it may be there again later
            break;
        }
        if (!HasBacklog()) {
            // From the start again: pages beyond are touched only while the manager lags.
            m_begin = 0;
            m_end = 0;
            AppendLossNotice();
        }
    }
    if (wrote) {
        fsync(m_descriptor);
    }
}

void ManagerStream::Append(std::string_view text) {
    if (text.size() > m_bytes.size() - m_end) {
        std::memmove(m_bytes.data(), m_bytes.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    std::memcpy(m_bytes.data() + m_end, text.data(), text.size());
    m_end += text.size();
}

void ManagerStream::AppendLossNotice() {
    if (m_lost == 0) {
        return;
    }
    char notice[kNoticeRoom];
    std::snprintf(notice, sizeof notice, "\n[AM_CLIENT] %zu bytes lost\n", m_lost);
    m_lost = 0;
    Append(notice);
}

bool ManagerStream::IsWritable() const {
    pollfd stream{m_descriptor, POLLOUT, 0};
    return poll(&stream, 1, 0) > 0;
}

}  // namespace zel
