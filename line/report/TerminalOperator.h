// The operator at the terminal: asked on standard error, answered on standard input.
#ifndef ZELLINE_REPORT_TERMINALOPERATOR_H
#define ZELLINE_REPORT_TERMINALOPERATOR_H

#include <map>
#include <string>

#include "report/Console.h"
#include "run/Operator.h"

namespace zelline {

class TerminalOperator : public Operator {
  public:
    // `answers` are given beforehand, by the step's id or name; `reads` says whether standard input is a terminal
    // at which others can be answered.
    TerminalOperator(const Console& console, std::map<std::string, std::string> answers, bool reads)
        : m_console(console), m_answers(std::move(answers)), m_reads(reads) {}

    void Show(const OperatorQuestion& question) override;
    std::optional<std::string> Take() override;
    void Withdraw() override;

  private:
    const Console& m_console;
    const std::map<std::string, std::string> m_answers;
    const bool m_reads;
    std::optional<std::string> m_given;  // the answer to the question that is put
    std::string m_typed;
    bool m_lineIsOpen = false;  // the question's, which Enter ends
};

}  // namespace zelline

#endif
