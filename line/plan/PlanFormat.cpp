#include "plan/PlanFormat.h"

#include <algorithm>

#include "wire/Error.h"

namespace zelline {
namespace {

using manual::ChoiceForm;
using manual::Key;
using manual::TextForm;
using manual::WholeForm;

constexpr std::int64_t kMostMs = 86400000;  // of every time and count in a plan

manual::Form PlanTime(std::int64_t least) {
    return WholeForm(least, kMostMs, "milliseconds");
}

std::vector<Key> PlanKeys() {
    return {
        {"name", TextForm(), "The plan's name, in reports and records",
         "that of the inherited plan, or the file's"},
        {"description", TextForm(), "A text for whoever reads the file", ""},
        {"inherit",
         {"the name of a file"},
         "Another plan, beside this one, of which everything is taken over: its steps, teardown and variables "
         "come "
         "first, and a step with the id of one of its steps takes that step's place",
         ""},
        {"vars",
         {"written as [vars]"},
         "Variables, each NAME = VALUE with a text, a number, or true or false; --set outranks them",
         ""},
        {"defaults", {"written as [defaults]"}, "What holds for the steps of this file that do not say it", ""},
        {"step", {"written as [[step]]"}, "A step; they are carried out as they stand", ""},
        {"teardown",
         {"written as [[teardown]]"},
         "A step that is carried out at the end, also after a failure and when the run is stopped",
         ""},
    };
}

std::vector<Key> DefaultKeys() {
    return {
        {"timeout", PlanTime(1), "How long to wait for an answer",
         "--timeout, or the time that the command may take"},
        {"retries", WholeForm(0, kMostMs), "How often to ask again when no answer comes",
         "--retries, or 1, of a file 3, and 0 of a command that must not be repeated"},
        {"pace", PlanTime(0), "Pause behind each chunk of a file", "no pause"},
        {"on-failure", ChoiceForm({"stop", "continue"}), "Whether a failure ends the plan, but for its teardown",
         "stop"},
    };
}

std::vector<Key> StepKeys() {
    std::vector<Key> keys = {
        {"run",
         {"a text or a list of texts"},
         "The verb and its words, as on the command line; in a list each text is one word",
         ""},
        {"id", TextForm(), "The step's name for ${step.ID} and for files that inherit it; stands once", ""},
        {"name", TextForm(), "The step's name for people", "its verb"},
        {"expect",
         {"a table, such as { equals = \"100\" }"},
         "What the answer must be like",
         "it must be success"},
        {"within", PlanTime(1), "The answer must be there by then", ""},
        {"until", PlanTime(1), "How long to ask again while the answer is not the expected one", "once"},
        {"run-if", TextForm(),
         "The condition: A == B, A != B, or a single word or variable, which holds unless it is empty, 0, no or "
         "false; the step is left out when it does not hold",
         ""},
        {"save", TextForm(), "The variable that takes the value, for the steps behind", ""},
        {"wait", PlanTime(0), "Time to wait before the step", "none"},
    };
    for (Key& key : DefaultKeys()) {
        key.standard = "what [defaults] says; else " + key.standard;
        keys.push_back(std::move(key));
    }
    const auto timeout =
        std::find_if(keys.begin(), keys.end(), [](const Key& key) { return key.name == "timeout"; });
    timeout->standard += "; a step for the operator waits as long as it takes";
    return keys;
}

std::vector<Key> ExpectKeys() {
    return {
        {"status", ChoiceForm({StatusWord(Exit::Success), StatusWord(Exit::Failure), StatusWord(Exit::NoAnswer)}),
         "What the set must answer", "success"},
        {"equals", TextForm(), "What the value must be", ""},
        {"matches", TextForm(), "A regular expression that the whole value must match", ""},
        {"min", {"a number"}, "The least that the value may be", ""},
        {"max", {"a number"}, "The most that the value may be", ""},
    };
}

std::vector<Key> IncludeKeys() {
    return {
        {"include",
         {"the name of a file"},
         "A plan beside this one, whose steps stand in this place; its variables and defaults hold for them alone",
         ""},
        {"prefix", TextForm(),
         "What stands before its ids and saved values, with a dot; a file that is included twice needs it", ""},
    };
}

manual::FileFormat MakePlanFormat() {
    return {"zelline-plan",
            "zelline",
            "a plan of steps that zelline works through with a set",
            "A plan is a file in TOML. 'zelline run PLAN.toml' carries it out, and 'zelline validate PLAN.toml'\n"
            "checks it without a set: each mistake is told with its line, and a key that is not told of here is\n"
            "one. Names of files are those of files beside the plan.\n"
            "${NAME} in a text is filled in: a variable, ${env.NAME} of the environment, ${unit}, the state of a\n"
            "step in ${step.ID} (passed, failed, skipped, not run), of all so far in ${step.all}, and\n"
            "${NAME:-text} where there may be none.",
            {{"In the plan", "in a plan", "", PlanKeys()},
             {"In [defaults]", "in 'defaults'", "", DefaultKeys()},
             {"In [[step]] and [[teardown]]", "in a step", "", StepKeys()},
             {"In expect", "in 'expect'", "Several in one table must all hold.", ExpectKeys()},
             {"In a step that includes", "beside 'include'", "", IncludeKeys()}},
            {{"Example",
              "  name = \"Final test\"\n"
              "  [[step]]\n"
              "  id = \"serial\"\n"
              "  run = [\"sn\", \"write\", \"${unit}\"]\n"
              "  [[step]]\n"
              "  run = \"sn read\"\n"
              "  expect = { equals = \"${unit}\" }\n"
              "  run-if = \"${step.serial} == passed\"\n"
              "  [[teardown]]\n"
              "  run = \"led green on\"\n"}}};
}

}  // namespace

const manual::FileFormat& PlanFormat() {
    static const manual::FileFormat kFormat = MakePlanFormat();
    return kFormat;
}

const manual::FileTable& KeysOf(PlanTable table) {
    return PlanFormat().tables.at(static_cast<std::size_t>(table));
}

}  // namespace zelline
