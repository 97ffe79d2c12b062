#include "station/SlotOperator.h"

#include <utility>

namespace zelline {

void SlotOperator::Show(const OperatorQuestion& question) {
    SlotQuestion shown;
    {
        const std::lock_guard lock(m_mutex);
        shown.number = ++m_number;
        m_asks = true;
        m_answer.reset();
    }
    shown.kind = question.kind;
    shown.words = question.words;
    shown.key = question.key;
    shown.note = question.note;
    shown.doubt = DoubtWord(question.doubt);
    shown.said = question.said;
    m_board.Change(m_slot, [&](SlotState& state) { state.question = shown; });
}

std::optional<std::string> SlotOperator::Take() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_answer, std::nullopt);
}

void SlotOperator::Withdraw() {
    {
        const std::lock_guard lock(m_mutex);
        m_asks = false;
        m_answer.reset();
    }
    m_board.Change(m_slot, [](SlotState& state) { state.question.reset(); });
}

bool SlotOperator::Asks() const {
    const std::lock_guard lock(m_mutex);
    return m_asks;
}

bool SlotOperator::Answer(std::optional<std::uint64_t> number, const std::string& text) {
    const std::lock_guard lock(m_mutex);
    if (!m_asks || m_answer || number.value_or(m_number) != m_number) {
        return false;
    }
    m_answer = text;
    return true;
}

}  // namespace zelline
