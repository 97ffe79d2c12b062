# The time that everything packed bears: that of the revision, so that the same revision makes the same bytes.
set(epoch "$ENV{SOURCE_DATE_EPOCH}")
if(epoch STREQUAL "")
  execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${CPACK_ZELFAC_SOURCE} OUTPUT_VARIABLE epoch
                  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT epoch MATCHES "^[0-9]+$")
  message(FATAL_ERROR "SOURCE_DATE_EPOCH has to be set where there is no git revision")
endif()
set(ENV{SOURCE_DATE_EPOCH} ${epoch})
execute_process(COMMAND git describe --always --dirty --exclude=* WORKING_DIRECTORY ${CPACK_ZELFAC_SOURCE}
                OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
