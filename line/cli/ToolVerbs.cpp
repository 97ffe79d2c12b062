#include "cli/ToolVerbs.h"

#include "cli/Help.h"
#include "tools/Tools.h"

namespace zelline {
namespace {

constexpr OptionInfo kListenFor = {
    "--for", "MS", &Options::listenFor, "how long to listen; without it, until Ctrl-C", 1, 86400000};
constexpr OptionInfo kMarkdown = {"--markdown", "", &Options::markdown, "the whole protocol reference"};
constexpr OptionInfo kTables = {"--markdown", "", &Options::markdown, "its tables alone, in Markdown"};
constexpr OptionInfo kLua = {"--lua", "", &Options::lua, "a dissector of the protocol for Wireshark"};
constexpr OptionInfo kDryRun = {"--dry-run", "", &Options::dryRun, "print what would be sent, and send nothing"};
constexpr OptionInfo kOneByOne = {"--one-by-one", "", &Options::oneByOne, "ask each step alone"};
constexpr OptionInfo kReport = {"--report", "FILE", &Options::reports,
                                "write a report; .json, .xml (JUnit), .csv or .html"};
constexpr OptionInfo kSet = {"--set", "NAME=VALUE", &Options::variables, "the value of a plan's variable"};
constexpr OptionInfo kAnswer = {"--answer", "STEP=TEXT", &Options::answers,
                                "the answer to what a step asks the operator, by its id or name"};
constexpr OptionInfo kUnit = {"--unit", "SERIAL", &Options::unit, "the unit's serial number"};
constexpr OptionInfo kLast = {"--last", "N", &Options::last, "how many runs", 1, 1000000};
constexpr OptionInfo kSince = {"--since", "DATE", &Options::since, "from this day on (2026-05-04, UTC)"};
constexpr OptionInfo kLedgerFile = {"--ledger", "FILE", &Options::ledger, "the station's own file beside a server",
                                    0,          0,      "ZELLINE_LEDGER"};
constexpr OptionInfo kStation = {"--station", "NAME", &Options::station,
                                 "the station's name in the record; the machine's unless given"};

}  // namespace

const std::vector<ToolVerb>& ToolVerbs() {
    static const std::vector<ToolVerb> kVerbs = {
        {"listen",
         "",
         {&kListenFor},
         "Show what arrives: ready frames, key presses, answers, noise",
         "Sends nothing. Ends with Ctrl-C, or after --for. A set reports keys only once it is connected.",
         Listen},
        {"ports", "", {}, "List the serial ports of this machine, and who holds them", "", ShowPorts},
        {"run",
         "PLAN.toml",
         {&kUnit, &kStation, &kLedgerFile, &kDryRun, &kOneByOne, &kReport, &kSet, &kAnswer},
         "Work through a station plan",
         "Prints a table of the steps and ends with the status of the worst one. A report's kind follows its\n"
         "name: .json, .xml (JUnit), .csv or .html; {unit}, {run}, {plan}, {date} and {time} in it are\n"
         "filled in, and a file that is there already is kept beside it. --dry-run prints what would be sent and "
         "sends nothing.\n"
         "Steps go out together where that cannot change the verdict; --one-by-one asks each alone, which\n"
         "takes 0.5 s a step longer.\n"
         "  zelline run docs/plans/demo.toml --set sn=AB12 --report result.xml --report result.html\n"
         "Steps with ask, confirm and 'await key' are put to the operator at the terminal; --answer answers\n"
         "them beforehand, and must where there is no terminal or with --json.\n"
         "--unit is the serial number, ${unit} in the plan. With --store, @stock in 'key send TYPE @stock' and\n"
         "'mac write @stock' stands for the unit's own item, and ${stock.TYPE} for its address or CRC-32.",
         RunPlan},
        {"validate",
         "PLAN.toml",
         {&kUnit, &kSet},
         "Check a station plan without a set",
         "Each mistake is told with its file and line. 'zelline help plan' tells what may stand in a plan.",
         ValidatePlan},
        {"replay",
         "FILE",
         {},
         "Send the requests of a trace again and compare the answers",
         "FILE was recorded with --trace, also as a capture. Status 1 when an answer differs.",
         Replay},
        {"stock",
         "add|status|check|export|retire ...",
         {},
         "Keep the stock of keys and addresses",
         "  zelline stock add TYPE FOLDER      take in a folder of key files\n"
         "  zelline stock add mac FIRST LAST   take in a range of addresses\n"
         "  zelline stock status               how many of each type are free, reserved, written, verified, "
         "spent\n"
         "  zelline stock check                hold each item against what was taken in; status 1 for problems\n"
         "  zelline stock export FILE          which unit has what, as .csv or .json, without the keys "
         "themselves\n"
         "  zelline stock retire TYPE NAME     use an item no more; its unit gets another the next time\n"
         "  zelline stock retire ledger NAME   a station's ledger is lost: spend what it had\n"
         "The store is a file or a PostgreSQL database (--store). What it has or had is never taken in twice.",
         WorkOnStock,
         StockForms()},
        {"history",
         "",
         {&kUnit, &kLast},
         "List the runs that were recorded, the latest last",
         "Of one unit with --unit; the last 20 unless --last says otherwise. One that is UNFINISHED is still "
         "under\n"
         "way, or its tool was killed.",
         ShowHistory},
        {"yield",
         "",
         {&kSince},
         "How many units passed, at once and in the end, and which steps failed",
         "By plan, over all runs of the store, or those since a date (--since 2026-05-04, UTC). Runs without a "
         "unit\n"
         "and those that were stopped are left out.",
         ShowYield},
        {"report",
         "RUN",
         {&kReport},
         "Show a recorded run, and make its reports again",
         "RUN is a run's name or the beginning of it, or 'last'.\n"
         "  zelline report last --report {unit}-{run}.html",
         ReportRun},
        {"station",
         "STATION.toml",
         {},
         "Run a station of several slots, with a page for its operator",
         "Prints the page's address and, as it changes, what each slot does. Numbers that are scanned are taken\n"
         "from the page, and from standard input, a line each. Ends with Ctrl-C or SIGTERM: units at work are\n"
         "stopped, and their teardown runs.",
         RunStation},
        {"decode",
         "HEX ...",
         {},
         "Explain frames in words, several in a row, damaged ones too",
         "  zelline decode 79 00 12 72 01 02 00 01 78 FE",
         Decode},
        {"commands",
         "",
         {&kMarkdown, &kLua},
         "List the commands of the protocol",
         "--markdown prints the whole protocol reference, --lua what lets Wireshark read a --trace FILE.pcapng.",
         ShowCommands},
        {"help",
         "plan|station",
         {&kTables},
         "Tell what may stand in the file of a plan or of a station",
         "",
         ShowFormat},
        {"man",
         "[plan|station]",
         {},
         "Print the man page, of the tool or of a file that it reads",
         "  zelline man plan | man -l -",
         ShowManual},
        {"completion",
         "bash|zsh",
         {},
         "Print what makes a shell complete verbs, options and files",
         "An installed zelline brings it along. Otherwise, for this session of bash:\n"
         "  source <(zelline completion bash)",
         ShowCompletion},
    };
    return kVerbs;
}

}  // namespace zelline
