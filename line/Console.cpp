#include "Console.h"

#include <fmt/format.h>

#include <algorithm>

namespace zelline {
namespace {

constexpr std::size_t kBar = 30;  // characters of the bar; the whole line stays under 80
constexpr Millis kRedraw{50};

}  // namespace

void Console::Result(const Json& object, const std::string& words) const {
    out << (json ? object.dump(-1, ' ', true, Json::error_handler_t::replace) : words) << std::endl;
}

void Console::Note(const std::string& words) const {
    err << words << std::endl;
}

void Console::Fail(const Error& error) const {
    if (json) {
        out << ErrorJson(error).dump(-1, ' ', true, Json::error_handler_t::replace) << std::endl;
    }
    err << "zelline: " << error.what() << std::endl;
}

void TerminalProgress::Draw(const std::string& line) {
    if (m_console.errIsTerminal) {
        m_console.err << "\r\033[K" << line << std::flush;
        m_drawn = true;
    }
}

void TerminalProgress::Begin(std::size_t bytes, int transfer) {
    m_bytes = bytes;
    m_transfer = transfer;
    m_start = m_clock.Now();
    Draw(transfer > 1 ? fmt::format("transfer {}", transfer) : "asking the set");
}

void TerminalProgress::Advance(std::size_t bytesDone) {
    if (bytesDone < m_bytes && m_clock.Now() - m_shown < kRedraw) {
        return;
    }
    m_shown = m_clock.Now();
    const double part = m_bytes == 0 ? 1.0 : static_cast<double>(bytesDone) / static_cast<double>(m_bytes);
    const auto filled = static_cast<std::size_t>(part * static_cast<double>(kBar));
    const double seconds = std::max(static_cast<double>((m_clock.Now() - m_start).count()) / 1000.0, 0.001);
    const double rate = static_cast<double>(bytesDone) / seconds;
    const double left = rate > 0 ? static_cast<double>(m_bytes - bytesDone) / rate : 0;
    Draw(fmt::format("[{:<{}}] {:3.0f} %  {}/{} bytes  {:.0f} B/s  {:.0f} s left{}", std::string(filled, '#'),
                     kBar, part * 100, bytesDone, m_bytes, rate, left,
                     m_transfer > 1 ? fmt::format("  transfer {}", m_transfer) : std::string()));
}

void TerminalProgress::Phase(const std::string& words) {
    Draw(fmt::format("{} bytes sent, {}", m_bytes, words));
}

void TerminalProgress::End() {
    if (m_drawn) {
        m_console.err << "\r\033[K" << std::flush;
        m_drawn = false;
    }
}

}  // namespace zelline
