#include "simset/board/scenario/ScenarioFormat.h"

#include <limits>

namespace simset {
namespace {

using manual::Key;
using manual::WholeForm;

constexpr std::int64_t kMostMs = 86'400'000;
constexpr std::int64_t kMostRows = std::numeric_limits<std::int32_t>::max();

std::vector<Key> ScenarioKeys() {
    return {
        {"name", manual::TextForm(), "A text for people", ""},
        {"seed", WholeForm(0, std::numeric_limits<std::int64_t>::max()),
         "Draws for 'chance', and for 'line --flip' and '--drop' where the verb gives no seed of its own", "1"},
        {"when", {"written as [[when]]"}, "What is to be done, and when; there is one or more", ""},
    };
}

std::vector<Key> WhenKeys() {
    return {
        {"match",
         {"a text, such as \"who=model call=set\""},
         "The rows of the trace that count, as 'simset ctl trace --match' takes it",
         "'after' must be there"},
        {"after", WholeForm(0, kMostMs, "milliseconds"),
         "Instead of 'match': the time since simset's first power-on", ""},
        {"do",
         {"a text, or a list of texts"},
         "A verb of 'simset ctl' in each text; double quotes keep blanks in a word, and \\\" in them is a quote; "
         "it "
         "must be there",
         ""},
        {"nth", WholeForm(1, kMostRows), "The first matching row that counts", "1"},
        {"times", WholeForm(0, kMostRows), "How often it is set off; 0: at every row that counts", "1"},
        {"chance", {"a number above 0, at most 1"}, "The probability that a row which counts sets it off", "1"},
        {"delay", WholeForm(0, kMostMs, "milliseconds"), "From the row to the verbs", "0"},
        {"optional", {"true or false"}, "Whether it need not come", "false"},
    };
}

}  // namespace

const manual::FileFormat& ScenarioFormat() {
    static const manual::FileFormat kFormat = {
        "simset-scenario",
        "simset",
        "what is to be done to a simulated set, and when",
        "A scenario is a file in TOML: what is to be done to a simulated set as soon as a row of its trace "
        "matches,\n"
        "or after a time. 'simset run --scenario FILE' carries it out while the set runs, over its reboots. A\n"
        "mistake, also a key that is not told of here, is refused with its line before the set starts. Paths in\n"
        "the verbs that are the PC's begin at the scenario's folder.",
        {{"In the scenario", "in a scenario", "", ScenarioKeys()},
         {"In each [[when]]", "in a [[when]]", "", WhenKeys()}},
        {{"Example",
          "  [[when]]\n"
          "  match = \"who=model call=set key=tovix.sl2.i32.sound.main.volume value=10\"\n"
          "  do = \"model fail tovix.sl2.i32.sound.main.volume operate 5 --times 1\"\n"},
         {"Exit status",
          "simset ends with 8 where it would have ended with 0 when a [[when]] that is not optional was never "
          "set\n"
          "off, or a verb was refused."}}};
    return kFormat;
}

const manual::FileTable& KeysOf(ScenarioTable table) {
    return ScenarioFormat().tables.at(static_cast<std::size_t>(table));
}

}  // namespace simset
