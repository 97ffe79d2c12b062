// The keys of a plan's file, for its reader, its page and the tool's help.
#ifndef ZELLINE_PLAN_PLANFORMAT_H
#define ZELLINE_PLAN_PLANFORMAT_H

#include "manual/FileFormat.h"

namespace zelline {

const manual::FileFormat& PlanFormat();

enum class PlanTable { Plan, Defaults, Step, Expect, Include };

const manual::FileTable& KeysOf(PlanTable table);

}  // namespace zelline

#endif
