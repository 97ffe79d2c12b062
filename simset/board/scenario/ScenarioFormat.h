// The keys of a scenario's file, for its reader and its page.
#ifndef SIMSET_SCENARIO_SCENARIOFORMAT_H
#define SIMSET_SCENARIO_SCENARIOFORMAT_H

#include "manual/FileFormat.h"

namespace simset {

const manual::FileFormat& ScenarioFormat();

enum class ScenarioTable { Scenario, When };

const manual::FileTable& KeysOf(ScenarioTable table);

}  // namespace simset

#endif
