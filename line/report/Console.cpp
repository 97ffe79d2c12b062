#include "report/Console.h"

#include <fmt/format.h>

#include <algorithm>

namespace zelline {
namespace {

constexpr std::size_t kBar = 30;  // characters of the bar; the whole line stays under 80
constexpr Millis kRedraw{50};
constexpr Millis kRateKnown{200};  // from then on the rate means something

}  // namespace

void Console::Result(const Json& object, const std::string& words) const {
    out << (json ? JsonLine(object) : words) << std::endl;
}

void Console::Note(const std::string& words) const {
    err << words << std::endl;
}

void Console::Fail(const Error& error) const {
    if (json) {
        out << JsonLine({{"v", 1},
                         {"type", "error"},
                         {"outcome", StatusWord(error.Status())},
                         {"exit", static_cast<int>(error.Status())},
                         {"words", error.what()}})
            << std::endl;
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
    m_sending = false;
    Draw(transfer > 1 ? fmt::format("transfer {}", transfer) : "asking the set");
}

void TerminalProgress::Advance(std::size_t bytesDone) {
    const Millis now = m_clock.Now();
    if (!m_sending) {
        m_sending = true;
        m_start = now;
    } else if (bytesDone < m_bytes && now - m_shown < kRedraw) {
        return;
    }
    m_shown = now;
    const double part = m_bytes == 0 ? 1.0 : static_cast<double>(bytesDone) / static_cast<double>(m_bytes);
    const auto filled = static_cast<std::size_t>(part * static_cast<double>(kBar));
    std::string line = fmt::format("[{:<{}}] {:3.0f} %  {}/{} bytes", std::string(filled, '#'), kBar, part * 100,
                                   bytesDone, m_bytes);
    if (bytesDone > 0 && now - m_start >= kRateKnown) {
        const double rate = static_cast<double>(bytesDone) * 1000.0 / static_cast<double>((now - m_start).count());
        line += fmt::format("  {:.0f} B/s  {:.0f} s left", rate, static_cast<double>(m_bytes - bytesDone) / rate);
    }
    Draw(m_transfer > 1 ? fmt::format("{}  transfer {}", line, m_transfer) : line);
}

void TerminalProgress::Phase(const std::string& words) {
    Draw(fmt::format("{} bytes sent, {}", m_bytes, words));
}

void TerminalProgress::Waiting(Millis elapsed) {
    Draw(fmt::format("waiting for {} s", elapsed.count() / 1000));
}

void TerminalProgress::End() {
    if (m_drawn) {
        m_console.err << "\r\033[K" << std::flush;
        m_drawn = false;
    }
}

}  // namespace zelline
