// What a line of a configuration file says. No I/O; any thread.
#ifndef ZELFAC_PROVISIONING_CONFIGURATION_CONFIGLINES_H
#define ZELFAC_PROVISIONING_CONFIGURATION_CONFIGLINES_H

namespace zel {

// Whether the line begins with its end, a tab or a blank.
bool IsEmptyLine(const char* line);

// Ends the text at its first line feed, then at its first carriage return.
void CutLineEnd(char* line);

}  // namespace zel

#endif
