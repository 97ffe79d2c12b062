#include "report/TerminalOperator.h"

#include <fmt/format.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "wire/Error.h"
#include "wire/Hex.h"

namespace zelline {

void TerminalOperator::Show(const OperatorQuestion& question) {
    const auto given = m_answers.find(question.step);
    m_given = given == m_answers.end() ? std::nullopt : std::optional(given->second);
    if (m_given) {
        return;
    }
    const bool isPress = question.kind == Action::Kind::Press;
    if (!m_reads && !isPress) {
        Fail(Exit::Unusable, "there is nobody to answer the step '{}': write --answer '{}=TEXT'", question.step,
             question.step);
    }
    m_typed.clear();
    m_lineIsOpen = m_reads;
    if (m_reads) {
        ::tcflush(STDIN_FILENO, TCIFLUSH);  // what was typed before the question is no answer to it
    }
    if (!question.note.empty()) {
        m_console.Note(fmt::format("    {}", Printable(question.note)));
    }
    m_console.err << (isPress ? fmt::format(">>> Press {}{}", question.key,
                                            m_reads ? " (or type no if the set does not react): " : "\n")
                              : fmt::format(">>> {}{} ", Printable(question.words),
                                            question.kind == Action::Kind::Confirm ? " (yes/no)" : ""))
                  << std::flush;
}

std::optional<std::string> TerminalOperator::Take() {
    if (m_given || !m_reads) {
        return std::exchange(m_given, std::nullopt);
    }
    pollfd watched = {STDIN_FILENO, POLLIN, 0};
    if (::poll(&watched, 1, 0) <= 0) {
        return std::nullopt;
    }
    std::array<char, 256> bytes{};
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return std::nullopt;
    }
    if (count <= 0) {
        Fail(Exit::NoAnswer, "standard input has ended, so nobody can answer");
    }
    m_typed.append(bytes.data(), static_cast<std::size_t>(count));
    const auto end = m_typed.find('\n');
    m_lineIsOpen = end == std::string::npos;
    return end == std::string::npos ? std::nullopt : std::optional(std::exchange(m_typed, "").substr(0, end));
}

void TerminalOperator::Withdraw() {
    m_given.reset();
    if (std::exchange(m_lineIsOpen, false)) {
        m_console.err << std::endl;
    }
}

}  // namespace zelline
