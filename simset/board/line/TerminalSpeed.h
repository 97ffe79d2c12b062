// The speed of a terminal as a number.
#ifndef SIMSET_LINE_TERMINALSPEED_H
#define SIMSET_LINE_TERMINALSPEED_H

namespace simset {

// Bits per second that a terminal sends with, also those that have no name among the C library's speeds; 0 when it
// is switched off or no terminal.
unsigned SpeedOf(int terminal);

}  // namespace simset

#endif
