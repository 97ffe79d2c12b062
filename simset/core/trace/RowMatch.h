// Which rows of the trace are meant: the text that `ctl wait`, `ctl trace --match` and scenarios share.
#ifndef SIMSET_TRACE_ROWMATCH_H
#define SIMSET_TRACE_ROWMATCH_H

#include <string>
#include <vector>

namespace simset {

struct TraceRow;

// Terms separated by blanks, all of which must hold for a row:
//   member=GLOB   the row has this member, and its text (a JSON text as it is, anything else as JSON) matches GLOB
//                 with the shell's wildcards
//   word          the row's line of JSON contains the word
// Double quotes round a GLOB or a word keep its blanks; in them \" is a quote. May be used by any thread.
class RowMatch {
  public:
    // Throws ControlError, with a line that says what is wrong, for a text without terms, a quote that is not
    // closed, something behind a closing quote, an empty word, and a "=" without a member.
    explicit RowMatch(const std::string& text);

    bool Holds(const TraceRow& row) const;

  private:
    struct Term {
        std::string member;  // empty: a word
        std::string text;
    };

    static Term ReadTerm(const std::string& text, std::size_t& at);

    std::vector<Term> m_terms;
};

}  // namespace simset

#endif
