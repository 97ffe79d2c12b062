// Completion of a program's command line in shells.
#ifndef ZELFAC_MANUAL_COMPLETION_H
#define ZELFAC_MANUAL_COMPLETION_H

#include <string>

#include "manual/Program.h"

namespace manual {

// Scripts that complete commands, options, the words of forms, and files. A form is offered as long as what was
// typed is the beginning of it.
std::string BashCompletion(const Program& program);
std::string ZshCompletion(const Program& program);

}  // namespace manual

#endif
