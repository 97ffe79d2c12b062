// The steps of the start that need no screen.
#ifndef ZELFAC_TEST_ADAPTER_STARTUP_H
#define ZELFAC_TEST_ADAPTER_STARTUP_H

#include <boost/shared_ptr.hpp>

#include "UartManager/UartManager.h"
#include "test_adapter/ApplicationTest.h"

namespace zel {

// From the registration with the application manager to the selected run mode. Creates the application object and
// leaves it in `application`, which lives as long as the process. False when there is no application manager; any
// other failure is printed or ignored. Main thread.
bool Register(UartManager& manager, boost::shared_ptr<ApplicationTest>& application);

// Switches the serial console on for the next start and does the run mode's work; in factory mode the serial link
// runs when it returns. Main thread.
void BeginWork(UartManager& manager);

}  // namespace zel

#endif
