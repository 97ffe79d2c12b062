// The man pages of a program and of the files that it reads.
#ifndef ZELFAC_MANUAL_PAGE_H
#define ZELFAC_MANUAL_PAGE_H

#include <string>

#include "manual/FileFormat.h"
#include "manual/Program.h"

namespace manual {

// The page of section 1, in the man macros and in ASCII. It has no date, so that each build makes the same one.
std::string ManPage(const Program& program);

// The page of section 5. `version` is the program's.
std::string ManPage(const FileFormat& format, const std::string& version);

}  // namespace manual

#endif
