// The ctl verbs that read the trace, and wait for its rows.
#ifndef SIMSET_MIDDLEWARE_TRACEVERBS_H
#define SIMSET_MIDDLEWARE_TRACEVERBS_H

#include <string>
#include <vector>

#include "simset/control/Verbs.h"
#include "simset/core/trace/TraceLog.h"

namespace simset {

// Any thread, without the middleware's lock: some of them wait.
class TraceVerbs {
  public:
    // `trace` must outlive this.
    explicit TraceVerbs(TraceLog& trace) : m_trace(trace) {}

    static std::vector<VerbForm> Forms() { return FormsOf(Verbs()); }
    // Whether the verb is one of these.
    static bool Have(const Words& words);

    // The text to print last; `trace --follow` prints by the caller's way before. Throws ControlError.
    std::string Run(const Words& words, const Caller& caller) { return RunVerb(Verbs(), *this, words, caller); }

  private:
    static const std::vector<Verb<TraceVerbs>>& Verbs();

    std::string Trace(const Arguments& arguments);
    std::string Wait(const Arguments& arguments);

    TraceLog& m_trace;
};

}  // namespace simset

#endif
