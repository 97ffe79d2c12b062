# Writes the source file with the revision of SOURCE to FILE, when it is another one than the file has.
set(revision "")
if(GIT)
  execute_process(COMMAND ${GIT} describe --always --dirty --exclude=* WORKING_DIRECTORY ${SOURCE}
                  OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT revision)
  set(revision "unknown")
endif()
file(CONFIGURE OUTPUT ${FILE} CONTENT [[
#include "provisioning/configuration/Revision.h"

const char* const zel::kRevision = "@revision@";
]] @ONLY)
