// simset as its command line and its tables of verbs tell of it: what its man page and completions are made from.
#ifndef SIMSET_MAIN_MANUAL_H
#define SIMSET_MAIN_MANUAL_H

#include <vector>

#include "manual/Program.h"
#include "simset/control/Verbs.h"

namespace CLI {
class App;
}

namespace simset {

// `app` has the commands with their options; `verbs` are those of `simset ctl`.
manual::Program Describe(const CLI::App& app, const std::vector<VerbForm>& verbs);

}  // namespace simset

#endif
