#include "Help.h"

#include <fmt/format.h>

#include "Verbs.h"

namespace zelline {
namespace {

constexpr std::string_view kOptions =
    "Options, before or behind the verb\n"
    "  --port PATH         the serial port; without it the environment's ZELLINE_PORT\n"
    "  --timeout MS        how long to wait for an answer; each command has a fitting one of its own\n"
    "  --retries N         how often to try again without an answer (usually 1, for files 3)\n"
    "  --json              JSON Lines on standard output, for scripts\n"
    "  --trace FILE        record every frame both ways; bytes of key files are left out\n"
    "  --trace-key-bytes   write the bytes of key files into the trace too, in clear\n"
    "  --no-connect        do not put a connect in front of the first command\n"
    "  --pace MS           key and config: pause behind each chunk (0: all in one burst)\n"
    "  -h, --help          this page, or a verb's\n"
    "  --version           the tool's version\n";

constexpr std::string_view kExits =
    "Exit status\n"
    "  0  the set answered success          3  no answer in time\n"
    "  1  it answered failure: a bad unit   4  the port cannot be opened, is taken or was lost\n"
    "  2  unusable arguments or file        5  a report or trace cannot be written\n";

void Row(std::string& page, std::string_view name, std::string_view help) {
    page += fmt::format("  {:<11} {}\n", name, help);
}

std::string VerbPage(std::string_view name, std::string_view arguments, std::string_view help,
                     std::string_view more) {
    std::string page = fmt::format("{}.\n\n", help);
    std::string_view rest = arguments.empty() ? name : arguments;
    while (!rest.empty()) {
        const auto end = rest.find('\n');
        page += fmt::format("  zelline [options] {}\n", rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    }
    if (!more.empty()) {
        page += fmt::format("\n{}\n", more);
    }
    return page + "\n" + std::string(kOptions) + "\n" + std::string(kExits);
}

}  // namespace

const std::vector<ToolVerb>& ToolVerbs() {
    static const std::vector<ToolVerb> kVerbs = {
        {"listen", "listen [--for MS]", "Show what arrives: ready frames, key presses, answers, noise",
         "Sends nothing. Ends with Ctrl-C, or after --for. A set reports keys only once it is connected."},
        {"ports", "", "List the serial ports of this machine, and who holds them", ""},
        {"run", "run PLAN.toml [--dry-run] [--report FILE]... [--set NAME=VALUE]...",
         "Work through a station plan",
         "Prints a table of the steps and ends with the status of the worst one. A report's kind follows its\n"
         "name: .json, .xml (JUnit), .csv or .html. --dry-run prints what would be sent and sends nothing.\n"
         "  zelline run docs/plans/demo.toml --set sn=AB12 --report result.xml --report result.html"},
        {"validate", "validate PLAN.toml [--set NAME=VALUE]...", "Check a station plan without a set",
         "Each mistake is told with its file and line."},
        {"replay", "replay FILE", "Send the requests of a trace again and compare the answers",
         "FILE was recorded with --trace. Status 1 when an answer differs."},
        {"decode", "decode HEX", "Explain frames in words, several in a row, damaged ones too",
         "  zelline decode 79 00 12 72 01 02 00 01 78 FE"},
        {"commands", "commands [--markdown]", "List the commands of the protocol",
         "--markdown prints the whole protocol reference."},
    };
    return kVerbs;
}

std::string HelpPage() {
    std::string page =
        "zelline: the line end of a television's factory serial protocol.\n\n"
        "  zelline [options] VERB ...\n"
        "  zelline VERB --help        more about one verb\n\n"
        "Ask the set\n";
    for (const VerbInfo& verb : Verbs()) {
        Row(page, verb.name, verb.help);
    }
    page += "\nAround it\n";
    for (const ToolVerb& verb : ToolVerbs()) {
        Row(page, verb.name, verb.help);
    }
    return page + "\n" + std::string(kOptions) + "\n" + std::string(kExits) +
           "\nA first try\n"
           "  export ZELLINE_PORT=/dev/ttyUSB0\n"
           "  zelline listen             is there a set?\n"
           "  zelline version            ask it something\n"
           "  zelline run plan.toml      a whole station\n";
}

std::string HelpPage(std::string_view name) {
    for (const VerbInfo& verb : Verbs()) {
        if (verb.name == name) {
            return VerbPage(verb.name, verb.arguments, verb.help, verb.more);
        }
    }
    for (const ToolVerb& verb : ToolVerbs()) {
        if (verb.name == name) {
            return VerbPage(verb.name, verb.arguments, verb.help, verb.more);
        }
    }
    return HelpPage();
}

}  // namespace zelline
