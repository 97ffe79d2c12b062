// The man page of a program.
#ifndef ZELFAC_MANUAL_PAGE_H
#define ZELFAC_MANUAL_PAGE_H

#include <string>

#include "manual/Program.h"

namespace manual {

// The page of section 1, in the man macros and in ASCII. It has no date, so that each build makes the same one.
std::string ManPage(const Program& program);

}  // namespace manual

#endif
