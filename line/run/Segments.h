// Cuts a plan into bursts: the steps that are asked together.
#ifndef ZELLINE_RUN_SEGMENTS_H
#define ZELLINE_RUN_SEGMENTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "plan/Plan.h"

namespace zelline {

// What a burst has at most, everything around its requests included: the buffers of a real port are not known.
constexpr std::size_t kMostBurstBytes = 1024;

struct SegmentStep {
    std::size_t number;  // in the plan, from 0
    Action action;
};

struct Segment {
    // The steps that go out together, in order; fewer than two for a step that goes out alone, or is not asked.
    // Steps between them that are not among them are skipped, for their condition does not hold.
    std::vector<SegmentStep> steps;
    std::size_t end = 0;  // the number of the first step behind it
    std::string reason;   // why that one is not in it; empty at the plan's end
};

// The segment that begins with the step `begin` of the plan, with the values that are known when it is reached.
//
// A step that is asked together with others may be asked again when its answer is lost, late and out of its place,
// and when it is asked, nothing is known yet of what came of those in front of it. So
// - nothing stands behind a step that is not to be repeated (the catalogue's word, or the plan's with
//   `retries = 0`), one that stops the run when it fails, since what is behind that must not have been carried
//   out, and one that is asked `until` its answer fits;
// - a step whose words or condition need a value or a state of one of the others begins a segment, as does one
//   that waits, and one that changes what another has read as it was before all of them;
// - alone go files, what the operator is asked, what is taken from the stock, what ends a unit's test or the link
//   (`result`, `finish`, `leave`), what the set does not answer or is expected not to, and a step with a limit of
//   its own: `within`, or a time for the answer that is shorter than the command's.
Segment NextSegment(const Plan& plan, std::size_t begin, const Values& values, const Settings& settings);

}  // namespace zelline

#endif
