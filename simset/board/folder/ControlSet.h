// `simset ctl` from its user's side: to the simset that runs on a state folder, or, when none does, to the folder.
#ifndef SIMSET_FOLDER_CONTROLSET_H
#define SIMSET_FOLDER_CONTROLSET_H

#include <functional>
#include <string>
#include <vector>

#include "simset/control/Verbs.h"

namespace simset {

// Carries a verb of `forms`, which are all that there are, out on the set in the folder `state`, whether it is on
// or off; one that is just being switched on or off is waited for, ten seconds at most. A set that is off keeps
// what is changed for the next time it is on; a verb that changes the set makes a folder without one a factory-new
// set, and says so by `note`. What is printed goes to the caller. Throws std::exception with one line for the
// user, also for a verb that wants a set that is on when it is off.
void ControlSet(const std::string& state, const std::vector<VerbForm>& forms, const Words& words,
                const Caller& caller, const std::function<void(const std::string& line)>& note);

}  // namespace simset

#endif
