// The operator of a station as the run in one slot sees him: questions go to the board, answers come from
// anywhere.
#ifndef ZELLINE_STATION_SLOTOPERATOR_H
#define ZELLINE_STATION_SLOTOPERATOR_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "run/Operator.h"
#include "station/Board.h"

namespace zelline {

class SlotOperator : public Operator {
  public:
    SlotOperator(Board& board, std::size_t slot) : m_board(board), m_slot(slot) {}

    void Show(const OperatorQuestion& question) override;
    std::optional<std::string> Take() override;
    void Withdraw() override;

    // Whether a question is put. Any thread may call.
    bool Asks() const;

    // Answers the question of that number, as the board has it, or with nothing whichever is put. False when it is
    // not put any more. Any thread may call.
    bool Answer(std::optional<std::uint64_t> number, const std::string& text);

  private:
    Board& m_board;
    const std::size_t m_slot;
    mutable std::mutex m_mutex;
    std::uint64_t m_number = 0;  // of the last question
    bool m_asks = false;
    std::optional<std::string> m_answer;
};

}  // namespace zelline

#endif
