#include "amclient/PendingLine.h"

#include <algorithm>
#include <cstring>

namespace zel {
namespace {

constexpr std::string_view kEmpty("\0\n", 2);  // before the first byte of a line

}  // namespace

PendingLine::PendingLine(char* buffer, std::size_t size) : m_buffer(buffer), m_size(size) {}

bool PendingLine::Take(std::string_view& bytes) {
    if (m_complete) {
        std::memset(m_buffer, 0, m_length);
        m_length = 0;
        m_overlong = false;
        m_complete = false;
    }
    if (m_length == 0) {
        bytes.remove_prefix(std::min(bytes.find_first_not_of(kEmpty), bytes.size()));
    }
    const std::size_t newline = bytes.find('\n');
    m_complete = newline != std::string_view::npos;
    const std::string_view piece = bytes.substr(0, newline);
    const std::size_t kept = std::min(piece.size(), m_size - 1 - m_length);
    std::memcpy(m_buffer + m_length, piece.data(), kept);
    m_length += kept;
    m_overlong = m_overlong || kept < piece.size();
    bytes.remove_prefix(m_complete ? newline + 1 : bytes.size());
    return m_complete;
}

}  // namespace zel
