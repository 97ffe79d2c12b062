// What the process is for: found out once, at start-up.
#ifndef ZELFAC_TEST_ADAPTER_RUNMODESELECTION_H
#define ZELFAC_TEST_ADAPTER_RUNMODESELECTION_H

#include "UartManager/UartManager.h"

// Sets the run mode by the flash variable "ZelFacMode": "1" factory, "2" aging, "3" USB update, anything else
// none. "2" becomes USB update when a stick carries what that works on; the variable is then "0", so that the next
// start is a normal one. Prints the process list on the way. Main thread.
void SelectRunMode(UartManager& manager);

#endif
